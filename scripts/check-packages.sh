#!/usr/bin/env bash
# Builds the Debian packages, checks them with lintian, installs them into a minimal Debian system, and tests the
# README's examples, completion, the manual page and the Python module there.
#   scripts/check-packages.sh [ROOT]     a folder for that system, kept afterwards; default: one that is removed
# Needs root, lintian and mmdebstrap (or debootstrap), and Debian's archive.
set -euo pipefail
cd "$(dirname "$0")/.."

[ "$(id -u)" -eq 0 ] || {
    echo "check-packages.sh installs a system into a folder, which takes root."
    exit 2
}
scripts/install-packages.sh lintian mmdebstrap
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=true CCACHE_IGNOREOPTIONS="-fmacro-prefix-map=*"
echo "== packages"
cmake --preset package -DCMAKE_CXX_COMPILER_LAUNCHER=ccache > /tmp/orvexa-configure-package.log || {
    cat /tmp/orvexa-configure-package.log
    exit 1
}
cmake --build --preset package
rm -f build/package/*.deb
(cd build/package && cpack > cpack.log) || {
    cat build/package/cpack.log
    exit 1
}
packages=(build/package/*.deb)
[ ${#packages[@]} -eq 4 ] || {
    echo "There are ${#packages[@]} packages instead of 4: ${packages[*]}"
    exit 1
}
ls -l "${packages[@]}"
echo "== lintian"
lintian --fail-on error "${packages[@]}"

root=$(realpath -m "${1:-$(mktemp -d)}")
finish() {
    for folder in dev/pts dev proc; do ! mountpoint -q "$root/$folder" || umount "$root/$folder"; done
    [ -n "${1:-}" ] || rm -rf --one-file-system "$root"
}
trap 'finish "${1:-}"' EXIT
echo "== a system in $root"
[ -e "$root/etc/debian_version" ] || mmdebstrap --mode=root --variant=minbase --include=ca-certificates bookworm "$root"
mkdir -p "$root/packages" "$root/clone"
rm -f "$root"/packages/*
cp "${packages[@]}" "$root/packages"
cp -r README.md samples docs Tests "$root/clone"
cp /etc/resolv.conf "$root/etc/resolv.conf"
mount -t proc proc "$root/proc"
mount --bind /dev "$root/dev"
mount --bind /dev/pts "$root/dev/pts"
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/root DEBIAN_FRONTEND=noninteractive "$@"; }
# Minimal systems exclude manual pages.
rm -f "$root/etc/dpkg/dpkg.cfg.d/docker"
inside apt-get update -q
inside bash -c 'apt-get install -y -q --no-install-recommends ./packages/*.deb bash-completion man-db python3-pil'
echo "== the README's examples"
inside bash /clone/Tests/Cli/run-readme.sh /usr/bin/kalvatri /clone
echo "== man, completion, Python"
inside man kalvatri | grep -q 'kalvatri apply -i IN'
inside bash -c 'mkdir -p /tmp/shell && cp /usr/share/bash-completion/completions/kalvatri /tmp/shell/kalvatri.bash &&
    python3 /clone/Tests/Package/ShellTests.py /tmp/shell Completion.test_bash'
inside bash -c 'cd /clone && mkdir -p /tmp/python && python3 /clone/Tests/Python/ModuleTests.py /usr/bin/kalvatri /clone \
    Module.test_bytes_are_those_of_apply Module.test_the_document_can_be_pasted'
inside bash -c 'test -e /usr/lib/*/libOrvexaHost.so && test -e /usr/lib/*/cmake/OrvexaHost/OrvexaHostConfig.cmake'
echo "== and away again"
inside apt-get remove -y -q kalvatri liborvexahost1 > /dev/null
[ ! -e "$root/usr/bin/kalvatri" ]
echo "The packages work."
