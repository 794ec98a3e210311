#!/usr/bin/env bash
# Installs a build, moves what was installed, builds the examples against it as a host's author would, runs
# them, and breaks the tree in the ways in which trees break: installed_tree.sh BUILD LIBDIR [CMAKE-OPTION…]
set -euo pipefail
build=$1 libdir=$2
options=("${@:3}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/moved prefix"
examples="$prefix/share/doc/kqplayer/examples"
package="$prefix/$libdir/cmake/KQPlayer"
cd "$work"
unset DISPLAY WAYLAND_DISPLAY

fail() {
    echo "installed_tree: $*" >&2
    exit 1
}

# expect STATUS PATTERN COMMAND…: its exit status, and a line of its output.
expect() {
    local status=$1 pattern=$2 got=0
    shift 2
    "$@" >output 2>&1 || got=$?
    if ((got != status)) || ! grep -qE -- "$pattern" output; then
        cat output >&2
        fail "$* gave $got instead of $status, or no line like '$pattern'"
    fi
    # OpenAL's line about a device that nobody has closed.
    ! grep -a 'not closed' output || fail "$* left something open"
}

# What was built for another processor runs in its emulator.
run() { ${EMULATOR:+"$EMULATOR"} "$@"; }

cmake --install "$build" --prefix "$work/prefix" >/dev/null
mv prefix "$prefix"
if [[ -e $prefix/$libdir/libKQStreams.a ]]; then streams=1; else streams=0; fi

# --- the examples, built by CMake and one of them by pkg-config

expect 0 'Build files have been written' cmake -S "$examples" -B examples -G Ninja \
    -DCMAKE_PREFIX_PATH="$prefix" "${options[@]}"
expect 0 'Linking CXX executable own_stream' cmake --build examples -j 2

ln -s "$prefix" linked # pkg-config's line is for paths without spaces
export PKG_CONFIG_PATH=$work/linked/$libdir/pkgconfig
if ((streams)); then example=minimal_host module=kqplayer-streams; else example=own_stream module=kqplayer; fi
# shellcheck disable=SC2046,SC2086  # words of the command line
$CXX ${CXXFLAGS:-} -std=c++17 -Wall -Wextra -Wpedantic -Werror "linked/share/doc/kqplayer/examples/$example.cpp" \
    -o by_pkg_config $(pkg-config --cflags --libs $module) -Wl,-rpath,"$(pkg-config --variable=libdir kqplayer)"

# --- they do what they say

ffmpeg -v error -f lavfi -i testsrc=size=641x360 -frames:v 1 -pix_fmt bgr24 picture.bmp
expect 0 '^c_host: played to the end' run examples/c_host
expect 0 '^played 1.0 seconds' run examples/own_stream --headless 1
expect 0 '^641x360, changed by [0-4]\.' run examples/convert picture.bmp converted.bmp
[[ $(ffprobe -v error -show_entries stream=codec_name,width,height -of csv=p=0 converted.bmp) == bmp,641,360 ]] ||
    fail "convert wrote no picture of the right size"
expect 1 '^convert: output: not a 24-bit BMP' run examples/convert output converted.bmp
expect 2 '^usage: ' run examples/convert
if ((streams)); then
    # The C example, built by a C compiler alone.
    # shellcheck disable=SC2046,SC2086
    $CC ${CFLAGS:-} -std=c11 -Wall -Wextra -Wpedantic -Werror linked/share/doc/kqplayer/examples/c_player.c \
        -o c_by_pkg_config $(pkg-config --cflags --libs kqplayer-streams) -Wl,-rpath,"$work/linked/$libdir"
    # Picture n has the luma 16 + 4 n.
    ffmpeg -v error -f lavfi -i "color=size=64x36:rate=25:duration=2,format=yuv420p,geq=lum=16+4*N:cb=128:cr=128" \
        -f lavfi -i sine=duration=2 -c:v libx264 -qp 1 clip.mp4
    expect 0 '^played (1\.9|2\.[0-9])' run examples/minimal_host --headless clip.mp4
    expect 0 '^played (1\.9|2\.[0-9])' run ./by_pkg_config clip.mp4 # without a display
    for program in examples/c_player ./c_by_pkg_config; do
        expect 0 '^.*played (1\.9|2\.[0-9])' run "$program" --headless clip.mp4 "c-ü.png"
        [[ $(ffprobe -v error -show_entries stream=codec_name,width,height -of csv=p=0 "c-ü.png") == png,64,36 ]] ||
            fail "$program captured no picture of the right size"
        rm "c-ü.png"
        expect 1 'c_player: not played or captured' run "$program" --headless clip.mp4 no/such/folder.png
    done
    expect 1 '^c_player: missing.mp4: No such file' run examples/c_player --headless missing.mp4
    expect 1 '^minimal_host: missing.mp4: No such file' run examples/minimal_host missing.mp4
    expect 0 '^before: 64x36, after: 36x64' run examples/multi_view --headless clip.mp4 transpose
    expect 1 'filter "nosuch"' run examples/multi_view --headless clip.mp4 nosuch
    expect 0 '' run examples/thumbnailer clip.mp4 1.3 thumbnail.png
    [[ $(ffprobe -v error -show_entries stream=codec_name,width,height -of csv=p=0 thumbnail.png) == png,64,36 ]] ||
        fail "the thumbnail is no PNG of the right size"
    # The picture of 1.3 seconds is number 32, whose luma of 144 is a grey of 149; its neighbours' are 144 and 153.
    grey=$(ffmpeg -v error -i thumbnail.png -vf format=gray -f rawvideo - | od -An -tu1 -N 1)
    ((grey >= 147 && grey <= 151)) || fail "the thumbnail shows another picture: $grey"
    expect 1 '^thumbnailer: cannot write' run examples/thumbnailer clip.mp4 1.3 no/such/folder.png
    expect 0 '^played +0:0[12]' "$prefix/bin/kqplay" --headless --audio null clip.mp4
else
    expect 0 '^played 1.0 seconds' run ./by_pkg_config 1 # without a display
fi

# --- what goes wrong says what to do

# find_it PACKAGE-FOLDER [LINE [ARGUMENTS]]: what find_package says.
find_it() {
    printf '%s\nset(KQPlayer_DIR "%s")\nfind_package(KQPlayer 1.0 REQUIRED %s)\n' "${2:-}" "$1" "${3:-}" >find.cmake
    cmake -P find.cmake 2>&1 | tr -s '\n ' ' '
    return "${PIPESTATUS[0]}"
}
[[ $("$CXX" ${CXXFLAGS:+$CXXFLAGS} -dM -E -x c++ - </dev/null) == *"__SIZEOF_POINTER__ 4"* ]] && other=8 || other=4
expect 1 'while this project is built for .. bits: install' find_it "$package" "set(CMAKE_SIZEOF_VOID_P $other)"
expect 1 'no component Sound: there are Player and Streams' find_it "$package" "" "COMPONENTS Sound"
mkdir -p elsewhere/lib stale/kqplayer
cp -r "$package" elsewhere/lib/
expect 1 'headers are not in .* install the whole prefix again' find_it "$work/elsewhere/lib/KQPlayer"

cp "$prefix/include/kqplayer/version.h" version.h
# An old header lies in front of the package's.
sed 's/\(#define KQPLAYER_VERSION_MINOR\) .*/\1 99/' "$prefix/include/kqplayer/version.h" >stale/kqplayer/version.h
# shellcheck disable=SC2046,SC2086
expect 1 'earlier in the include path. Remove it' $CXX ${CXXFLAGS:-} -std=c++17 -fsyntax-only -I stale \
    $(pkg-config --cflags kqplayer) -include kqplayer/version.h -x c++ /dev/null
# shellcheck disable=SC2046
expect 1 'of the other data model' "$CXX" -D__SIZEOF_POINTER__="$other" -fsyntax-only \
    $(pkg-config --cflags kqplayer) -include kqplayer/version.h -x c++ -w /dev/null
cp stale/kqplayer/version.h "$prefix/include/kqplayer/version.h"
expect 1 'are those of 1.99.0. Remove that folder and install' find_it "$package"
cp version.h "$prefix/include/kqplayer/version.h"

# The view library is missing, at load time and at configure time.
rm "$prefix/$libdir/PlayerView.so"
expect 1 'The view library .* is missing' find_it "$package"
expect 1 'No view can be made: .*PlayerView.so.* is installed beside libKQPlayer.so' run examples/own_stream
expect 1 '^own_stream: no view: PlayerView.so is missing' run examples/own_stream
