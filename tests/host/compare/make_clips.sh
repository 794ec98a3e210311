#!/bin/sh
# Makes a film, altered copies that are shifted against it, and films that are none. Usage: make_clips.sh FOLDER
set -eu
# shellcheck source=tests/support/clip.sh
. "$(dirname "$0")/../../support/clip.sh"
mkdir -p "$1"
cd "$1"
# film NAME SEED: 32 s in which something always moves, and sounds, as it did not before
film() {
    clip "$1" -f lavfi -i "color=gray:size=12x9:rate=25,noise=alls=100:allf=t+u:all_seed=$2,tmix=frames=5,scale=96:72:flags=bilinear" \
        -f lavfi -i "anoisesrc=color=brown:sample_rate=44100:seed=$2,tremolo=f=3:d=0.9" -t 32 \
        -c:v libx264 -threads 1 -preset veryfast -g 50 -pix_fmt yuv420p -c:a aac -ac 2
}
film film.mp4 3
film unrelated.mp4 4
clip still.mp4 -f lavfi -i "color=gray:size=96x72:rate=25" -f lavfi -i sine=frequency=440:sample_rate=44100 -t 32 \
    -c:v libx264 -threads 1 -pix_fmt yuv420p -c:a aac

# copy FRAMES ALTERATION ENCODER EXTENSION: has everything so many pictures later, behind grey and silence, or earlier
copy() {
    video=$2
    if [ "$1" -lt 0 ]; then
        seconds=$(awk "BEGIN { print -($1) / 25 }")
        video="trim=start_frame=$((-$1)),setpts=PTS-STARTPTS,$video"
        audio="atrim=start=$seconds,asetpts=PTS-STARTPTS"
    else
        video="tpad=start=$1:color=gray,$video"
        audio="adelay=$(($1 * 40)):all=1"
    fi
    # shellcheck disable=SC2086  # $3 is a list
    clip "copy$1.$4" -i film.mp4 -vf "$video" -af "$audio,volume=0.6" $3
}
# shellcheck disable=SC2016
set -- "scale=48:36" "-c:v mpeg4 -threads 1 -q:v 12 -c:a libmp3lame -b:a 48k -ac 1" mkv \
    "eq=brightness=0.12:contrast=0.8" "-c:v libx264 -threads 1 -preset ultrafast -crf 34 -c:a aac -b:a 48k" mp4 \
    "scale=160:120,eq=gamma=1.4" "-c:v mpeg2video -threads 1 -q:v 8 -c:a mp2 -b:a 64k -ar 48000" ts \
    "crop=iw*0.94:ih*0.94" "-c:v libx264 -threads 1 -preset ultrafast -crf 30 -c:a libopus -b:a 32k -ar 48000" mkv
for frames in -250 -211 -180 -133 -97 -60 -31 -12 -3 -1 1 2 7 25 49 88 120 177 203 250; do
    copy "$frames" "$1" "$2" "$3"
    first=$1 second=$2 third=$3
    shift 3
    set -- "$@" "$first" "$second" "$third"
done
clip faster.mkv -i film.mp4 -vf fps=30 -c:v mpeg4 -threads 1 -q:v 6 -an
