#!/usr/bin/env bash
# Builds the product and its unit tests, with warnings as errors, for another C++ library or another
# word size, and runs them. Everything lands in build/.
# usage: scripts/portability.sh libcxx|i386
#   libcxx   clang and libc++; Boost and GoogleTest are built for that library from Debian's sources
#   i386     a 32-bit Debian in a folder of its own, with the compiler of Debian; needs root. The last
#            commit is built
# LIBCXX_LIBRARIES=FOLDER has Boost and GoogleTest for libc++ already, and I386_ROOT=FOLDER a 32-bit Debian
# with what the build and its tests need. CMAKE_CXX_COMPILER_LAUNCHER=ccache works for both.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
project=$PWD

# Tests that need other programs, such as players; they say nothing about a compiler.
with_other_programs='package|browser|batch|media|docs'

# Fetches the sources of a Debian package into the current folder, without touching the machine's own
# lists of packages.
fetch_source() {
  local lists=$PWD/apt
  mkdir -p "$lists/state/lists/partial" "$lists/parts"
  cat >"$lists/parts/src.sources" <<END
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
END
  local options=(-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$lists/parts"
    -o Dir::State::lists="$lists/state/lists")
  apt-get "${options[@]}" update -qq
  apt-get "${options[@]}" source --download-only "$1"
}

build_boost() {
  mkdir -p build/boost
  cd build/boost
  echo "== fetch the sources of Boost"
  fetch_source boost1.74 >fetch.log 2>&1
  rm -rf source
  mkdir source
  tar xf boost1.74_*.orig.tar.xz --directory source --strip-components 1
  cd source
  echo 'using clang : : clang++ : <cxxflags>-stdlib=libc++ <linkflags>-stdlib=libc++ ;' >user.jam
  echo "== build Boost"
  b2 -j "$(nproc)" --user-config=user.jam --with-program_options --with-filesystem --with-system \
    toolset=clang cxxflags=-fPIC link=static variant=release --layout=system \
    install --prefix="$1" >../build.log
  cd "$project"
}

build_googletest() {
  echo "== build GoogleTest"
  cmake -S /usr/src/googletest -B build/googletest -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-stdlib=libc++ \
    -DCMAKE_INSTALL_PREFIX="$1" >build/googletest.log
  cmake --build build/googletest --target install >>build/googletest.log
}

with_libcxx() {
  scripts/install_dependencies.sh build tests libcxx
  local prefix=${LIBCXX_LIBRARIES:-$project/build/libcxx-libraries}
  [ -d "$prefix/lib/cmake/GTest" ] || { build_boost "$prefix"; build_googletest "$prefix"; }
  cmake --preset libcxx -DCMAKE_PREFIX_PATH="$prefix"
  cmake --build build/libcxx --parallel "$(nproc)"
  ctest --preset libcxx --parallel "$(nproc)"
}

# Prints the folder of a 32-bit Debian, which it makes if there is none.
i386_root() {
  local root=${I386_ROOT:-$project/build/i386-root}
  if [ -z "${I386_ROOT:-}" ] && [ ! -e "$root/complete" ]; then
    echo "== a 32-bit Debian in $root" >&2
    debootstrap --arch=i386 --variant=minbase --include="cmake,g++,ninja-build,python3,$(
      )libboost-program-options-dev,libboost-filesystem-dev,libboost-system-dev,libexpat1-dev,$(
      )nlohmann-json3-dev,libgtest-dev,libgmock-dev" bookworm "$root" >build/debootstrap.log
    touch "$root/complete"
  fi
  echo "$root"
}

with_32_bits() {
  [ "$(id -u)" -eq 0 ] || { echo "portability.sh: i386 needs root, for chroot" >&2; exit 1; }
  scripts/install_dependencies.sh i386
  mkdir -p build
  local root
  root=$(i386_root)
  # A copy of the sources: no folder of the machine is mounted, so none can be lost with this one.
  # They have the time of the commit, which can be before that of objects of an earlier run.
  rm -rf "$root/src" "$root/build"
  mkdir -p "$root/src"
  git archive HEAD | tar x --directory "$root/src"
  # The tests look at processes and open terminals. Both mounts end with the command.
  in_root() {
    unshare --mount --pid --fork --kill-child sh -ec '
      mount -t proc proc "$0/proc"
      mount -t devpts -o newinstance,ptmxmode=666 devpts "$0/dev/pts"
      exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        CMAKE_CXX_COMPILER_LAUNCHER="$1" linux32 sh -ec "cd /src; $2"' \
      "$root" "${CMAKE_CXX_COMPILER_LAUNCHER:-}" "$*"
  }
  in_root "cmake --preset dev -B /build"
  in_root "cmake --build /build --parallel $(nproc)"
  in_root "ctest --test-dir /build --output-on-failure --parallel $(nproc) --label-exclude '$with_other_programs'"
}

case "${1:-}" in
  libcxx) with_libcxx ;;
  i386) with_32_bits ;;
  *)
    echo "usage: scripts/portability.sh libcxx|i386" >&2
    exit 1 ;;
esac
