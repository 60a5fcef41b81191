#!/usr/bin/env bash
# Builds the Debian package and the source tarball, into out/.
# usage: scripts/package.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/package
scripts/install_dependencies.sh build package

echo "== build: release, in $build"
mkdir -p "$build" out
log=$build/package.log
if ! { cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
         -DQUARRYPACK_DEBIAN=ON &&
       cmake --build "$build" --parallel "$(nproc)"; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "package.sh: the build failed" >&2
  exit 1
fi

echo "== packages"
for config in CPackConfig CPackSourceConfig; do
  if ! cpack --config "$build/$config.cmake" -B "$PWD/$build/packages" >"$log" 2>&1; then
    cat "$log" >&2
    echo "package.sh: cpack failed" >&2
    exit 1
  fi
done
cp "$build"/packages/*.deb "$build"/packages/*-source.tar.xz out/
ls -l out/
