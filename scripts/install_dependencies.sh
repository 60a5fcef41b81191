#!/usr/bin/env bash
# Installs the missing Debian packages of the named groups, and reports what it installs.
# usage: scripts/install_dependencies.sh GROUP...
set -euo pipefail

packages_of() {
  case "$1" in
    build) echo cmake g++ ninja-build libboost-program-options-dev libboost-filesystem-dev \
                libboost-system-dev libexpat1-dev nlohmann-json3-dev ;;
    tests) echo libgtest-dev libgmock-dev libbenchmark-dev python3 ;;
    media) echo ffmpeg mediainfo python3 python3-srt python3-webvtt ;;
    players) echo gstreamer1.0-libav gstreamer1.0-plugins-bad gstreamer1.0-plugins-base \
                  gstreamer1.0-plugins-good gstreamer1.0-plugins-ugly gstreamer1.0-tools ;;
    batch) echo parallel ;;
    browser) echo chromium ;;
    npm) echo nodejs npm ;;
    package) echo dpkg-dev pandoc gzip ;;
    package-tests) echo debootstrap ffmpeg lintian ;;
    docs) echo doxygen graphviz ;;
    format) echo clang-format-14 git ;;
    tidy) echo clang-tidy-14 cppcheck ;;
    fuzz) echo clang libclang-rt-14-dev ;;
    libcxx) echo clang libc++-14-dev libc++abi-14-dev googletest libboost1.74-tools-dev dpkg-dev ;;
    i386) echo debootstrap ;;
    coverage) echo gcovr ;;
    valgrind) echo valgrind ;;
    bench) echo strace time ;;
    *) echo "install_dependencies.sh: no group '$1'" >&2; return 1 ;;
  esac
}

is_installed() {
  [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

wanted=()
for group in "$@"; do
  names=$(packages_of "$group")
  for package in $names; do
    wanted+=("$package")
  done
done

missing=()
for package in "${wanted[@]}"; do
  is_installed "$package" || missing+=("$package")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "== packages: all ${#wanted[@]} are installed"
  exit 0
fi

echo "== packages: installing ${missing[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get update &&
       "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
         apt-get install --yes --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
  cat "$log" >&2
  echo "install_dependencies.sh: apt-get failed" >&2
  exit 1
fi
