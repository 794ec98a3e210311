#!/usr/bin/env bash
# Compares the symbols that the libraries in a folder export with a list: exported_symbols.sh FOLDER LIST
# The list is the same for both data models.
# A change of the binary interface has to be a change of the list. To write it anew: … FOLDER LIST --update
set -euo pipefail
folder=$1 list=$2

exported() {
    local library
    for library in libKQPlayer.so libKQ_Com.so libKQ_ImageProc.so libKQ_Log.so PlayerView.so; do
        nm -D --defined-only --format=posix "$folder/$library" | awk -v library="$library" '{ print library, $1 }'
    done | LC_ALL=C sort
}

if [[ ${3:-} == --update ]]; then
    exported >"$list"
elif ! diff --label "the committed list" --label "what is exported" -u "$list" <(exported) | c++filt; then
    echo "The exported symbols have changed. Should they have? Then: $0 $folder $list --update" >&2
    exit 1
fi
