#!/usr/bin/env bash
# Makes what the fuzzers begin with, out of FFmpeg's generators: MakeSeeds.sh FOLDER. A folder that holds it is left alone.
set -euo pipefail
folder=$1
stamp=$(cksum <"$0")
[[ $(cat "$folder/made" 2>/dev/null) != "$stamp" ]] || exit 0
rm -rf "$folder"
mkdir -p "$folder"/{streams,records,view,conversions}
cd "$folder"

# seed NAME FORMAT HOW OPTIONS…: a file behind the eight bytes that say how it is opened (Streams.cpp).
seed() {
    local name=$1 format=$2 how=$3
    ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=96x64:rate=25:duration=0.32 -f lavfi -i sine=sample_rate=16000:duration=0.32 \
        "${@:4}" -threads 1 -f "$format" file
    { printf '%b' "$how" && cat file; } >"streams/$name"
    rm file
}
seed h264 mp4 '\x00\x00\x24\x30\x21\x00\x28\x22' -c:v libx264 -pix_fmt yuv420p -c:a aac
seed hevc10 matroska '\x20\x00\x00\x20\x30\x24\x22\x28' -c:v libx265 -x265-params log-level=error:pools=none:frame-threads=1 -pix_fmt yuv420p10le -c:a flac
seed timeline mp4 '\x20\x01\x01\x20\x00\x05\x28\x24' -c:v libx264 -pix_fmt yuv420p -c:a aac -movflags frag_keyframe+empty_moov
seed backwards matroska '\x20\x00\x01\x21\x01\x05\x28\x24' -c:v mjpeg -pix_fmt yuvj422p -c:a pcm_s16le
seed mpeg2 mpegts '\x44\x00\x24\x28\x22\x00\x30\x22' -c:v mpeg2video -c:a mp2
seed mpeg4 avi '\x08\x03\x24\x28\x22\x00\x30\x22' -c:v mpeg4 -c:a ac3
seed theora ogg '\x10\x05\x24\x28\x22\x00\x30\x22' -c:v libtheora -c:a libvorbis
seed vp9 webm '\x60\x04\x00\x28\x22\x00\x30\x22' -c:v libvpx-vp9 -deadline realtime -c:a libopus
seed still gif '\x04\x06\x24\x28\x22\x00\x30\x22' -c:v gif -an
seed rgb nut '\x00\x07\x24\x28\x22\x00\x30\x22' -s 16x8 -c:v rawvideo -pix_fmt rgb24 -c:a pcm_s16le
seed sound wav '\x01\x00\x24\x28\x22\x00\x30\x22' -vn -c:a pcm_s24le -ac 6 -ar 8000
seed flac flac '\x21\x00\x24\x28\x22\x00\x30\x22' -vn -c:a flac

# The others need no files: numbers that reach every request.
for kind in records view conversions; do
    for i in 1 2 3 4 5 6; do
        ffmpeg -nostdin -v error -f lavfi -i "aevalsrc=random($i):sample_rate=8000:duration=0.06" -f u8 "$kind/noise$i"
    done
done
echo "$stamp" >made
