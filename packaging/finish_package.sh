#!/usr/bin/env bash
# Finishes a package that cpack has made: finish_package.sh FILE.deb SYMBOLS
# Libraries get the trigger and the symbols file that Debian's policy asks for, in place of scripts that call ldconfig.
# SYMBOLS lists what they export; a package whose libraries export anything else is refused.
set -euo pipefail
deb=$1 symbols=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mapfile -t libraries < <(dpkg-deb --fsys-tarfile "$deb" | tar -t | grep -E '/lib[^/]*\.so\.[0-9.]*$' || true)
((${#libraries[@]})) || exit 0

dpkg-deb -R "$deb" "$work/root"
rm -f "$work/root/DEBIAN/postinst" "$work/root/DEBIAN/postrm"
echo "activate-noawait ldconfig" >"$work/root/DEBIAN/triggers"
# dpkg-gensymbols wants the control file of a source package.
mkdir "$work/debian"
package=$(dpkg-deb -f "$deb" Package)
printf 'Source: kqplayer\n\nPackage: %s\nArchitecture: any\n' "$package" >"$work/debian/control"
arguments=()
for library in "${libraries[@]}"; do
    [[ -L $work/root/$library ]] || arguments+=("-e$work/root/$library")
done
(cd "$work" && dpkg-gensymbols -q -c4 -p"$package" -v"$(dpkg-deb -f "$deb" Version)" -I"$symbols" -Proot \
    -Oroot/DEBIAN/symbols "${arguments[@]}")
chmod 644 "$work/root/DEBIAN/symbols" "$work/root/DEBIAN/triggers"
dpkg-deb --root-owner-group -Zxz -b "$work/root" "$work/finished.deb" >/dev/null
mv "$work/finished.deb" "$deb"
