#!/usr/bin/env bash
# Makes what the fuzzers begin with, out of FFmpeg's generators: MakeSeeds.sh FOLDER. A folder that holds it is left alone.
set -euo pipefail
folder=$1
stamp=$(cksum <"$0")
[[ $(cat "$folder/made" 2>/dev/null) != "$stamp" ]] || exit 0
rm -rf "$folder"
mkdir -p "$folder/view"
cd "$folder"

# Numbers that reach every request.
for i in 1 2 3 4 5 6; do
    ffmpeg -nostdin -v error -f lavfi -i "aevalsrc=random($i):sample_rate=8000:duration=0.06" -f u8 "view/noise$i"
done
echo "$stamp" >made
