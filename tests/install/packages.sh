#!/usr/bin/env bash
# Makes the Debian packages and unpacks them into one tree: packages.sh BUILD LIBDIR
set -euo pipefail
build=$1 libdir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
    echo "packages: $*" >&2
    exit 1
}

cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/debs" >log 2>&1 || { cat log >&2 && fail "cpack failed"; }

# field PACKAGE NAME: of its control file.
field() { dpkg-deb -f debs/"$1"_*.deb "$2"; }

# What each package holds is its own, and its files are all there.
declare -A holds=(
    [libkqplayer1]="$libdir/libKQPlayer.so.1 $libdir/libKQ_Log.so.1 $libdir/PlayerView.so"
    [libkqplayer-dev]="include/kqplayer/kqplayer.h include/kqplayer/media_file.h $libdir/libKQPlayer.so
        $libdir/libKQStreams.a $libdir/cmake/KQPlayer/KQPlayerConfig.cmake $libdir/pkgconfig/kqplayer.pc
        share/doc/kqplayer/examples/minimal_host.cpp share/doc/kqplayer/guide.md
        share/doc/kqplayer/troubleshooting.md include/kqplayer/media_file_c.h"
    [kqplay]="bin/kqplay share/applications/kqplay.desktop share/icons/hicolor/scalable/apps/kqplay.svg
        share/man/man1/kqplay.1.gz share/bash-completion/completions/kqplay"
    [python3-kqplayer]="lib/python3/dist-packages/kqplayer/__init__.py lib/python3/dist-packages/kqplayer/py.typed"
)
for package in "${!holds[@]}"; do
    dpkg-deb -x debs/"$package"_*.deb "$package"
    for file in ${holds[$package]}; do
        [[ -e $package/usr/$file || -L $package/usr/$file ]] || fail "$package lacks $file"
    done
    cp -an "$package/." root
done
[[ $(find "${!holds[@]}" ! -type d | wc -l) == $(find root ! -type d | wc -l) ]] ||
    fail "two packages hold the same file"
[[ $(field libkqplayer1 Depends) == *libopenal1* ]] || fail "the runtime needs no OpenAL: $(field libkqplayer1 Depends)"
[[ $(field kqplay Depends) == *"libkqplayer1 (= "*libavformat* ]] || fail "kqplay needs: $(field kqplay Depends)"
[[ $(field libkqplayer-dev Depends) == *"libkqplayer1 (= "* ]] || fail "the development package lacks its library"
dpkg-deb -I debs/libkqplayer1_*.deb shlibs | grep '^libKQPlayer 1 libkqplayer1' >/dev/null || fail "no shlibs file"

# Debian's own checks. There is no copyright file as long as no licence is chosen, and the maintainer is the builder's to name.
lintian --fail-on error,warning --suppress-tags no-copyright-file,bogus-mail-host,bogus-mail-host-in-debian-changelog --allow-root debs/*.deb >&2 ||
    fail "lintian has something to say"
appstreamcli validate --no-net root/usr/share/metainfo/org.kqplayer.kqplay.metainfo.xml >&2 || fail "the metainfo is wrong"
! dpkg-deb -I debs/libkqplayer1_*.deb | grep -E 'postinst|postrm' >&2 || fail "the runtime calls ldconfig itself"
dpkg-deb -I debs/libkqplayer1_*.deb symbols | grep '^ DllGetClassObject@Base 1' >/dev/null || fail "no symbols file"

# Hardened: the linker's tables are read-only before anything runs, and code watches its stack and its buffers.
for file in root/usr/bin/kqplay "root/usr/$libdir"/{lib*.so.*.*,PlayerView.so} root/usr/lib/python3/dist-packages/kqplayer/*.so; do
    readelf -dlW "$file" >elf
    grep -q BIND_NOW elf && grep -q GNU_RELRO elf || fail "${file#root/} is not bound at once"
    ! grep -E 'GNU_STACK.* RWE|TEXTREL' elf >&2 || fail "${file#root/} runs data"
    [[ $file != *libKQ_Com* ]] || continue # it calls nothing
    nm -D "$file" >symbols
    grep -q __stack_chk_fail symbols || fail "${file#root/} does not watch its stack"
    grep -q '_chk@GLIBC' symbols || fail "${file#root/} is not fortified"
done
readelf -h root/usr/bin/kqplay >elf
grep -q 'Position-Independent Executable' elf || fail "kqplay has fixed addresses"

# Installed, replaced by a later version, removed and purged in a root of their own, nothing is lost and nothing left.
mkdir -p system/var/lib/dpkg/{info,updates,triggers} later old
touch system/var/lib/dpkg/{status,available}
in_system() { dpkg --root=system --force-depends --force-not-root --log=/dev/null "$@" >dpkg.log 2>&1 || { cat dpkg.log >&2 && fail "dpkg $*"; }; }
files() { find system/usr ! -type d 2>/dev/null | sort; }
for deb in debs/*.deb; do
    dpkg-deb -R "$deb" old/control
    sed -i -E 's/^Version: .*/Version: 99/; s/(kqplayer[0-9]* \(= )[0-9.]+/\199/' old/control/DEBIAN/control
    dpkg-deb --root-owner-group -b old/control later >/dev/null
    rm -r old/control
done
in_system -i debs/*.deb
files >before
in_system -i later/*.deb
files | diff before - >&2 || fail "an upgrade loses or adds files"
[[ $(dpkg-query --admindir=system/var/lib/dpkg -W -f '${Version}\n' | sort -u) == 99 ]] || fail "the upgrade went wrong"
in_system -r python3-kqplayer kqplay libkqplayer-dev libkqplayer1
in_system -P python3-kqplayer kqplay libkqplayer-dev libkqplayer1
[[ -z $(files) ]] || fail "a removal leaves files: $(files)"

# The program runs, and manual page and completion know each of its options.
PYTHONPATH=root/usr/lib/python3/dist-packages /usr/bin/python3 -c 'import kqplayer' ||
    fail "the Python package cannot be imported"
root/usr/bin/kqplay --version | grep '^kqplay [1-9]' >/dev/null || fail "kqplay does not run"
page=$(zcat root/usr/share/man/man1/kqplay.1.gz | sed 's/\\-/-/g')
mapfile -t options < <(root/usr/bin/kqplay --help | sed -n 's/^ *\(-.,\)\?\(--[a-z-]*\).*/\2/p')
((${#options[@]} > 15)) || fail "kqplay --help shows only ${#options[@]} options"
# shellcheck disable=SC1091
source root/usr/share/bash-completion/completions/kqplay
for option in "${options[@]}"; do
    grep -qE -- "$option( |$)" <<<"$page" || fail "the manual page does not tell of $option"
    COMP_WORDS=(root/usr/bin/kqplay "${option%?}") COMP_CWORD=1
    _kqplay root/usr/bin/kqplay
    [[ " ${COMPREPLY[*]} " == *" $option "* ]] || fail "$option is not completed: ${COMPREPLY[*]}"
done
