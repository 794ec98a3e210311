#!/usr/bin/env bash
# Every public header has to compile alone, without a warning: headers.sh INCLUDE-FOLDER…
# The compilers' flags come from CXXFLAGS and CFLAGS.
set -euo pipefail
warnings="-Wall -Wextra -Wpedantic -Werror -fsyntax-only"
includes=""
commands=""
for folder in "$@"; do
    includes+=" -I $folder"
done
for path in "${@/%//kqplayer/*.h}"; do
    for header in $path; do
        for compiler in g++ clang++; do
            for standard in 17 20; do
                commands+="echo '#include <kqplayer/${header##*/}>' | $compiler ${CXXFLAGS:-} -std=c++$standard \
                    $warnings $includes -x c++ -"$'\n'
            done
        done
    done
done
for compiler in gcc clang; do
    commands+="echo '#include <kqplayer/kqplayer_c.h>' | $compiler ${CFLAGS:-} -std=c11 $warnings $includes -x c -"$'\n'
done
printf '%s' "$commands" | tr '\n' '\0' | xargs -0 -n 1 -P 2 bash -c
