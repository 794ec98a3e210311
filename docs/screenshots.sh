#!/bin/sh
# Makes the pictures of docs/compare.md anew, from clips that it generates, on an X server of its own.
# Needs ffmpeg, Xvfb and script (util-linux).
# Usage: screenshots.sh [KQPLAY [FOLDER]]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
kqplay=$(realpath "${1:-$here/../build/release/bin/kqplay}")
out=$(realpath "${2:-$here}")
work=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill "$server"; rm -rf "$work"' EXIT
cd "$work"
export ALSOFT_DRIVERS=null SDL_VIDEODRIVER=x11

run() { ffmpeg -v error -nostdin -y "$@"; }
run -f lavfi -i mandelbrot=size=480x270:rate=25:start_scale=0.6:end_scale=0.01 -t 8 -pix_fmt yuv420p -c:v libx264 -crf 12 original.mp4
run -i original.mp4 -c:v libx264 -crf 44 encoded.mp4
run -i original.mp4 -vf "drawbox=200:100:60:60:enable='between(t,2,3)+between(t,5,5.4)'" -c:v libx264 -qp 0 changed.mp4
run -i original.mp4 -c:v libx264 -qp 0 copy.mp4

# Shows kqplay in a window that fills the screen, types keys, and takes a picture of it.
# Usage: shot NAME SIZE KEYS OPTION...  A comma among the keys is a pause of a second.
shot() {
    name=$1 size=$2 keys=$3
    shift 3
    mkfifo display keyboard
    Xvfb -displayfd 3 -screen 0 "${size}x24" -nolisten tcp 3>display 2>/dev/null &
    server=$!
    read -r number <display
    DISPLAY=:$number script -qec "'$kqplay' --audio null $*" /dev/null <keyboard >/dev/null &
    exec 4>keyboard
    sleep 3
    while [ -n "$keys" ]; do
        rest=${keys#?}
        key=${keys%"$rest"}
        if [ "$key" = , ]; then sleep 1; else printf %s "$key" >&4; fi
        keys=$rest
    done
    sleep 2
    run -f x11grab -draw_mouse 0 -video_size "$size" -i ":$number" -frames:v 1 shot.png
    # Few colours make a small file.
    run -i shot.png -vf "split[a][b];[a]palettegen=max_colors=96:reserve_transparent=0[p];[b][p]paletteuse=dither=none" \
        -frames:v 1 "$out/$name.png"
    printf q >&4
    sleep 1
    exec 4>&-
    kill "$server"
    wait "$server" || true
    server=
    rm display keyboard shot.png
}

shot compare-wipe 480x278 " " --layout wipe --info short --compare encoded.mp4 original.mp4
shot compare-difference 480x278 " ddd" --layout difference --compare encoded.mp4 original.mp4
shot compare-zoom 480x278 " 4" --layout wipe --compare encoded.mp4 original.mp4
shot compare-scope 480x278 " " --scope waveform original.mp4
shot compare-timeline 480x278 " n,,," --layout flip --compare changed.mp4 original.mp4
