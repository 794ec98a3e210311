#!/usr/bin/env bash
# The clips that the players for toolkits are tried with: make_clips.sh FOLDER
# Picture n, of 100, has the luma 16 + 2 n, so that a look at the screen tells its number.
set -euo pipefail
mkdir -p "$1"
cd "$1"
pictures="color=size=320x180:rate=10:duration=10,format=yuv420p,geq=lum=16+2*N:cb=128:cr=128"
ffmpeg -v error -y -f lavfi -i "$pictures" -c:v libx264 -qp 1 -g 20 silent.mp4
ffmpeg -v error -y -i silent.mp4 -f lavfi -i sine=duration=10 -c:v copy both.mp4
ffmpeg -v error -y -f lavfi -i sine=duration=10 sound.m4a
