#!/bin/sh
# Makes the clips that kqplay's tests play. Usage: make_clips.sh FOLDER
set -eu
# shellcheck source=tests/support/clip.sh
. "$(dirname "$0")/../../support/clip.sh"
mkdir -p "$1"
cd "$1"
picture() { echo "testsrc2=size=$1:rate=$2"; }
h264="-c:v libx264 -threads 1 -preset fast -bf 2 -pix_fmt yuv420p"

# shellcheck disable=SC2086  # $h264 is a list
{
    clip plain.mp4 -f lavfi -i "$(picture 160x120 25)" -f lavfi -i sine=frequency=440:sample_rate=48000 \
        -t 2 $h264 -c:a aac -ac 2
    clip silent.mp4 -f lavfi -i "$(picture 176x144 30)" -t 1 $h264
    clip one.mp4 -f lavfi -i "$(picture 64x48 25)" -frames:v 1 $h264
    clip long.mp4 -f lavfi -i "$(picture 96x64 25)" -f lavfi -i sine=frequency=440:sample_rate=48000 \
        -t 60 $h264 -c:a aac -ac 2
}
clip odd-1x1.mkv -f lavfi -i "$(picture 16x16 25)" -vf crop=1:1:8:8:exact=1,format=yuv420p -t 0.4 -c:v ffv1
clip odd-3x5.mkv -f lavfi -i "$(picture 16x16 25)" -vf crop=3:5:8:8:exact=1,format=yuv420p -t 0.4 -c:v ffv1
# What pictures may say of themselves.
clip hdr.mkv -f lavfi -i "$(picture 160x120 25)" -t 1 -pix_fmt yuv420p10 -c:v libx265 -preset ultrafast -x265-params \
    log-level=error:pools=none:frame-threads=1:colorprim=bt2020:colormatrix=bt2020nc:transfer=smpte2084:max-cll=400,200
noisy="$(picture 160x120 25),noise=alls=40:allf=t:all_seed=5"
x264="-c:v libx264 -threads 1 -preset fast"
# shellcheck disable=SC2086  # $x264 is a list
{
    clip bt709.mkv -f lavfi -i "$noisy" -t 1 $x264 -pix_fmt yuv420p -colorspace bt709
    clip bt709-422.mkv -f lavfi -i "$noisy" -t 1 $x264 -pix_fmt yuv422p -colorspace bt709
    clip bt709-full.mkv -f lavfi -i "$noisy" -t 1 $x264 -pix_fmt yuv420p -colorspace bt709 -color_range pc
}
clip bt2020.mkv -f lavfi -i "$noisy" -t 1 -pix_fmt yuv420p10 -c:v libx265 -preset ultrafast -x265-params \
    log-level=error:pools=none:frame-threads=1:colorprim=bt2020:colormatrix=bt2020nc
clip bt2020-444.mkv -f lavfi -i "$noisy" -t 1 -pix_fmt yuv444p10 -colorspace bt2020nc -c:v ffv1
clip full.avi -f lavfi -i "$noisy" -t 1 -pix_fmt yuvj420p -c:v mjpeg -q:v 3
clip tone.wav -f lavfi -i sine=frequency=440:sample_rate=48000 -t 1 -ac 2 -c:a pcm_s16le
clip surround.mkv -f lavfi -i sine=frequency=440:sample_rate=48000 -f lavfi -i "$(picture 64x48 25)" -t 0.8 \
    -ac 6 -c:a pcm_s16le -c:v ffv1 -pix_fmt yuv422p10le
for colour in red blue; do
    clip "$colour.mkv" -f lavfi -i "color=$colour:size=160x120:rate=25,format=yuv420p" -t 1.6 -c:v ffv1
done
clip small-red.mkv -f lavfi -i "color=red:size=32x32:rate=10,format=yuv420p" -t 1.6 -c:v ffv1
clip moving.mkv -f lavfi -i "color=gray:size=12x9:rate=25,noise=alls=100:allf=t+u:all_seed=3,tmix=frames=5,scale=96:72:flags=bilinear" \
    -t 4 -pix_fmt yuv420p -c:v ffv1
clip picture.png -f lavfi -i "$(picture 64x48 25)" -frames:v 1

# Two that are longer than they say: by the header, and by the estimate that the loud begin leads to.
[ -f short.mkv ] || {
    ffmpeg -v error -nostdin -y -f lavfi -i "$(picture 64x48 25)" -t 2 -c:v ffv1 new-short.mkv
    LC_ALL=C sed 's/00:00:02\.000000000/00:00:01.000000000/' new-short.mkv >short.mkv
    rm new-short.mkv
}
clip short.mp3 -f lavfi -i anoisesrc=sample_rate=44100:duration=1:seed=1 -f lavfi \
    -i sine=frequency=440:sample_rate=44100:duration=2 -filter_complex concat=n=2:v=0:a=1 -ac 2 -q:a 2 -write_xing 0

[ -f truncated.mp4 ] || head -c 3000 plain.mp4 >truncated.mp4
: >empty.mp4
echo "These are words, not a film." >words.mp4
mkdir -p folder.mp4
