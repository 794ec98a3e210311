#!/usr/bin/env bash
# Compiles the code of the documents. Usage: check_fragments.sh BUILD INCLUDE_FOLDER[:FOLDER…] DOCUMENT…
#
# Every fenced block of C++, C and CMake says above it what it is:
#   <!-- fragment: file -->     a whole source file
#   <!-- fragment: part -->     C++ that stands below the includes of a host
#   <!-- fragment: project -->  a whole CMakeLists.txt of a host named host.cpp, built against what BUILD installs
# Compilers are those of the environment (CXX, CC), or g++ and gcc.
set -euo pipefail
build=$1
IFS=: read -ra folders <<<"$2"
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Splits the documents: one file a block, named after its place, its kind and its language.
awk -v work="$work" '
    FNR == 1 { kind = ""; out = "" }
    match($0, /^<!-- fragment: [a-z]+ -->$/) { kind = $3; next }
    /^```(cpp|c|cmake)$/ {
        name = FILENAME; gsub(/.*\//, "", name)
        out = work "/" name "-" FNR "." (kind == "" ? "unmarked" : kind) "." substr($0, 4)
        printf "" > out
        if (kind == "part")
            print "#include <kqplayer/convenience.h>\n#include <kqplayer/kqplayer.h>\n" > out
        if (substr($0, 4) != "cmake")
            printf "#line %d \"%s\"\n", FNR + 1, FILENAME > out
        next
    }
    /^```/ { if (out != "") close(out); out = ""; kind = ""; next }
    out != "" { print > out }
' "$@"

# build_project FILE: as a host's author would.
build_project() {
    local folder=$1.folder
    mkdir "$folder"
    cmake --install "$build" --prefix "$folder/prefix" >/dev/null
    echo 'int main() {}' >"$folder/host.cpp"
    cp "$1" "$folder/CMakeLists.txt"
    cmake -S "$folder" -B "$folder/build" -DCMAKE_PREFIX_PATH="$folder/prefix" >/dev/null &&
        cmake --build "$folder/build" >/dev/null
}

flags=(-fsyntax-only -Wall -Wextra -Wpedantic -Werror "${folders[@]/#/-I}")
failed=0
count=0
shopt -s nullglob
for file in "$work"/*; do
    count=$((count + 1))
    case $file in
    *.file.cpp | *.part.cpp) "${CXX:-g++}" -std=c++17 "${flags[@]}" -x c++ "$file" || failed=1 ;;
    *.file.c) "${CC:-gcc}" -std=c11 "${flags[@]}" -x c "$file" || failed=1 ;;
    *.project.cmake) build_project "$file" || failed=1 ;;
    *)
        echo "$(basename "$file"): the block does not say what kind of fragment it is" >&2
        failed=1
        ;;
    esac
done
echo "$count fragments"
# A rule that finds nothing would find no fault either.
((failed == 0 && count >= 8))
