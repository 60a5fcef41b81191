#!/usr/bin/env bash
# Builds the API reference from the public headers: build/docs/html/index.html. A warning is a failure.
# usage: scripts/docs.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/install_dependencies.sh docs
mkdir -p build/docs
PROJECT_NUMBER=$(sed -nE 's/^project\(quarrypack VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
export PROJECT_NUMBER
doxygen Doxyfile
echo "== API reference of version $PROJECT_NUMBER: build/docs/html/index.html"
