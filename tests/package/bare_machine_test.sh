#!/usr/bin/env bash
# The two commands of the README on a bare Debian 12 machine: a fresh root, a clone of HEAD, nothing
# else. The transcript goes to standard output. Needs root, debootstrap and the network.
# usage: tests/package/bare_machine_test.sh WORK_FOLDER
set -euo pipefail
mkdir -p "$1"
work=$(realpath "$1")
root=$work/root
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

if [ "$(id -u)" -ne 0 ] || ! command -v debootstrap >/dev/null; then
  echo "skipped: a fresh root needs debootstrap, and to be root"
  exit 77
fi

clean_up() {
  umount --lazy "$root/dev/pts" "$root/proc" 2>/dev/null || true
  rm -rf --one-file-system "$root"
}
run() {
  echo "\$ $*"
  chroot "$root" env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    HOME=/root LC_ALL=C.UTF-8 sh -c "cd /root/quarrypack 2>/dev/null || cd /root; $*"
}

clean_up
trap clean_up EXIT
debootstrap --variant=minbase bookworm "$root" >"$work/debootstrap.log" 2>&1
mount -t proc proc "$root/proc"
mount -t devpts -o newinstance,ptmxmode=0666 devpts "$root/dev/pts"
ln -sf pts/ptmx "$root/dev/ptmx"
git bundle create "$root/root/quarrypack.bundle" HEAD >"$work/bundle.log" 2>&1

run 'grep PRETTY_NAME /etc/os-release; dpkg-query -l | grep -c ^ii'
run 'apt-get update -qq && apt-get install -y -qq --no-install-recommends git >/dev/null 2>&1'
run 'git clone -q quarrypack.bundle quarrypack'
run './scripts/demo.sh'
run './scripts/test.sh'
