#!/usr/bin/env bash
# Setting up where an index of apt-get cannot be had, and the words of ./play. Usage: setup.sh SOURCES
set -euo pipefail
sources=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
mkdir bin

fake() {
    printf '#!/bin/sh\n%s\n' "$2" >"bin/$1"
    chmod +x "bin/$1"
}
fake dpkg-query 'exit 1'
fake sudo '"$@"'

# expect STATUS TEXT INSTALL: what install_packages gives when the update fails and the install does INSTALL.
expect() {
    local status=0 said
    fake apt-get "case \$1 in
        update) echo 'E: Failed to fetch an index'; exit 100 ;;
        install) $3 ;;
        esac"
    said=$(PATH=$folder/bin:$PATH bash -c 'source "$0/cmake/setup.sh"; install_packages nothing-like-it 2>/dev/null' \
        "$sources") || status=$?
    if [[ $status != "$1" || $said != "$2" ]]; then
        echo "install_packages: status $status, \"$said\"; expected $1, \"$2\"" >&2
        exit 1
    fi
}
expect 0 "" "exit 0"
expect 1 "cannot install nothing-like-it (E: Unable to locate package)" \
    "echo 'E: Unable to locate package'; exit 100"

[[ $("$sources/play" --help) == "Usage: ./play "* ]] || {
    echo "./play --help does not tell how it is used" >&2
    exit 1
}
status=0
"$sources/play" --nosuch 2>/dev/null || status=$?
[[ $status == 2 ]] || {
    echo "./play --nosuch: status $status" >&2
    exit 1
}
