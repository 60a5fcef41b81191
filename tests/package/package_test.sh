#!/usr/bin/env bash
# Installs the Debian package into a fresh Debian 12 root and uses it there as its users do. Needs
# root, debootstrap, ffmpeg, lintian and the network (scripts/install_dependencies.sh package-tests).
# usage: tests/package/package_test.sh PACKAGE.deb WORK_FOLDER
set -euo pipefail
package=$(realpath "$1")
mkdir -p "$2"
work=$(realpath "$2")
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
root=$work/root

if [ "$(id -u)" -ne 0 ]; then
  echo "skipped: a fresh root is made by root only"
  exit 77
fi
for tool in debootstrap ffmpeg lintian; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done

step() { echo "== $1"; }
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
             TERM=xterm DEBIAN_FRONTEND=noninteractive "$@"; }
expect() { grep -qF -- "$2" <<<"$1" || { echo "package_test.sh: no '$2' in: $1" >&2; exit 1; }; }
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }; }
clean_up() {
  umount "$root/dev/pts" "$root/proc" 2>/dev/null || true
  rm -rf --one-file-system "$root"
}

step "it is as Debian wants it"
quietly lintian --allow-root --fail-on error,warning "$package"

step "a fresh root"
clean_up
trap clean_up EXIT
quietly debootstrap --variant=minbase bookworm "$root"
echo "deb http://deb.debian.org/debian-security bookworm-security main" \
  >>"$root/etc/apt/sources.list"
mount -t proc proc "$root/proc"
quietly inside apt-get update

step "it installs with the packages that it names, and no other"
cp "$package" "$root/quarrypack.deb"
quietly inside apt-get install --yes --no-install-recommends /quarrypack.deb
missing=$(inside sh -c 'ldd /usr/bin/quarrypack | grep "not found"' || true)
[ -z "$missing" ] || { echo "package_test.sh: $missing" >&2; exit 1; }

step "it runs"
version=$(dpkg-deb -f "$package" Version)
expect "$(inside quarrypack --help)" "quarrypack version $version - "
movie=$work/clip.mov
ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=size=64x48:rate=30:duration=3 \
  -i "$here/../../demo/captions.scc" -map 0:v -map 1:s -c:v libx264 -c:s copy \
  -video_track_timescale 30000 -movie_timescale 30000 \
  -bsf:s setts=time_base=1/30000:ts='1000*ceil(TS/1000)':duration=1000 "$movie"
mkdir -p "$root/movies/more"
cp "$movie" "$root/movies/clip.mov"
cp "$movie" "$root/movies/more/clip.mov"
quietly inside quarrypack --input-file /movies/clip.mov --output-file /movies/clip.mp4
units=$(LC_ALL=C grep -aoc GA94 "$root/movies/clip.mp4" || true)
[ "$units" -gt 0 ] || { echo "package_test.sh: no captions in the result" >&2; exit 1; }

expect "$(inside quarrypack-captions --version)" "quarrypack-captions $version"
expect "$(inside quarrypack-captions --format vtt /movies/clip.mp4)" WEBVTT
expect "$(inside quarrypack-check --version)" "quarrypack-check $version"
expect "$(inside quarrypack-check --json /movies/clip.mp4 | head -1)" '"source":"pictures"'

step "its batch runs, with the package that it recommends"
quietly inside apt-get install --yes --no-install-recommends parallel
expect "$(inside sh -c 'cd /tmp && quarrypack-batch --output-dir /out /movies' 2>/dev/null)" \
  "2 converted, 0 failed, 0 open"
cmp "$root/movies/clip.mp4" "$root/out/more/clip.mp4"

step "its manual pages open"
quietly inside apt-get install --yes --no-install-recommends man-db
expect "$(inside man quarrypack)" "put the captions of a QuickTime movie into its pictures"
expect "$(inside man quarrypack)" "quarrypack $version"
expect "$(inside man quarrypack-batch)" "quarrypack-batch"
expect "$(inside man quarrypack-captions)" "read the captions of a movie"
expect "$(inside man quarrypack-check)" "check the captions of a movie before delivery"
[ -z "$(inside sh -c 'man --warnings quarrypack quarrypack-batch quarrypack-captions \
  quarrypack-check 2>&1 >/dev/null')" ]

step "its documents lead to each other"
broken=$(inside sh -c 'cd /usr/share/doc/quarrypack && for page in *.md doc/*.md; do
  grep -oE "\]\([^)#]+" "$page" | cut -c 3- | while read -r target; do
    [ -e "$(dirname "$page")/$target" ] || echo "$page: $target"
  done
done')
[ -z "$broken" ] || { echo "package_test.sh: no such page: $broken" >&2; exit 1; }
expect "$(inside zcat /usr/share/doc/quarrypack/changelog.gz)" "quarrypack ($version)"
example=/usr/share/doc/quarrypack/examples/quarrypack_config.xml
expect "$(inside quarrypack --conf-file "$example" 2>&1 || true)" "File not found"
cp "$movie" "$root/${example%/*}/clip.mov"
quietly inside sh -c "cd /tmp && quarrypack --conf-file $example"
cmp "$root/tmp/clip.mp4" "$root/movies/clip.mp4"
rm "$root/${example%/*}/clip.mov"

step "its completions complete"
quietly inside apt-get install --yes --no-install-recommends bash-completion fish zsh
expect "$(inside bash -c '. /usr/share/bash-completion/bash_completion; _completion_loader quarrypack
  COMP_WORDS=(quarrypack --in) COMP_CWORD=1; _quarrypack; echo "${COMPREPLY[@]}"')" --input-file
expect "$(inside bash -c '. /usr/share/bash-completion/bash_completion; _completion_loader quarrypack
  COMP_WORDS=(quarrypack --input-file = /mov) COMP_CWORD=3; _quarrypack; echo "${COMPREPLY[@]}"')" \
  /movies
expect "$(inside bash -c '. /usr/share/bash-completion/bash_completion
  _completion_loader quarrypack-batch
  COMP_WORDS=(quarrypack-batch --res) COMP_CWORD=1; _quarrypack_batch; echo "${COMPREPLY[@]}"')" \
  --resume
expect "$(inside bash -c '. /usr/share/bash-completion/bash_completion
  _completion_loader quarrypack-captions
  COMP_WORDS=(quarrypack-captions --format v) COMP_CWORD=2; _quarrypack_captions
  echo "${COMPREPLY[@]}"')" vtt
expect "$(inside bash -c '. /usr/share/bash-completion/bash_completion
  _completion_loader quarrypack-check
  COMP_WORDS=(quarrypack-check --fail-on w) COMP_CWORD=2; _quarrypack_check
  echo "${COMPREPLY[@]}"')" warning
expect "$(inside fish -c 'complete -C "quarrypack --in"')" --input-file
expect "$(inside fish -c 'complete -C "quarrypack-check --fail-on e"')" error
expect "$(inside fish -c 'complete -C "quarrypack-captions --channel CC"')" CC3
expect "$(inside fish -c 'complete -C "quarrypack --input-file=/mov"')" /movies/
expect "$(inside fish -c 'complete -C "quarrypack-batch --res"')" --resume
cat >"$root/complete.zsh" <<'ZSH'
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell "autoload -U compinit; compinit -u -D; PS1=; print rea''dy"
zpty -r -m shell ignored '*ready*'
zpty -w -n shell $'quarrypack --inp\t/mov\t'
sleep 2
while zpty -r -t shell part; do text+=$part; done
print -r -- "$text"
zpty -d shell
ZSH
# The root gets its own terminals.
mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
ln -sf pts/ptmx "$root/dev/ptmx"
completed=$(inside timeout 20 zsh -f /complete.zsh || true)
umount --lazy "$root/dev/pts"
# Without escape sequences and characters that a backspace removes.
expect "$(sed -E 's/\x1b\[[0-9;?]*[A-Za-z]//g; s/.\x08//g' <<<"$completed")" --input-file=/movies/

step "a program builds with it, by find_package and by pkg-config"
quietly inside apt-get install --yes --no-install-recommends cmake g++ ninja-build pkg-config \
  libboost-filesystem-dev
cp -r "$here/../../examples" "$root/examples"
quietly inside cmake -S /examples -B /by_cmake -G Ninja
quietly inside cmake --build /by_cmake
quietly inside sh -c \
  'g++ -o /by_pkg_config /examples/list_samples.cpp $(pkg-config --cflags --libs quarrypack)'
[ "$(inside pkg-config --modversion quarrypack)" = "$version" ]
samples=$(inside /by_cmake/list_samples /movies/clip.mp4)
[ "$(wc -l <<<"$samples")" -eq 90 ] || { echo "package_test.sh: not 90 samples" >&2; exit 1; }
[ "$(inside /by_pkg_config /movies/clip.mp4)" = "$samples" ]

step "it goes without a trace"
quietly inside apt-get remove --yes quarrypack
left=$(find "$root/usr" "$root/etc" -name '*quarrypack*')
[ -z "$left" ] || { echo "package_test.sh: files left over: $left" >&2; exit 1; }
echo "== the package is good: $(basename "$package")"
