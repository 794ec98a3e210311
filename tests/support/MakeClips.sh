#!/bin/sh
# Makes the clips that the tests of the streams play, with the ffmpeg command line tool.
# Usage: MakeClips.sh FOLDER. A folder that holds them already is left alone.
set -eu

folder=$1
stamp=$(cksum <"$0")
if [ "$(cat "$folder/made" 2>/dev/null || true)" = "$stamp" ]; then
    exit 0
fi
command -v ffmpeg >/dev/null || { echo "the tests of the streams need the ffmpeg command line tool" >&2; exit 1; }
mkdir -p "$folder"
cd "$folder"
rm -f made

make_clip() { # options… output
    ffmpeg -nostdin -hide_banner -loglevel error -y "$@"
}

pictures='testsrc2=size=160x120:rate=25:duration=4'
short='testsrc2=size=96x64:rate=25:duration=2'
tone='sine=frequency=440:sample_rate=44100:duration=4'
sound='-c:a aac -aac_pns 0'
# One thread: what an encoder makes depends on how many it has.
x264='-c:v libx264 -threads 1 -preset veryfast -pix_fmt yuv420p'

make_clip -f lavfi -i "$pictures" -f lavfi -i "$tone" $x264 -x264-params bframes=3:b-adapt=0:keyint=250:scenecut=0 \
    $sound bframes.mp4
make_clip -i bframes.mp4 -c copy matroska.mkv
make_clip -i bframes.mp4 -c copy flash.flv
make_clip -ss 0.7 -i bframes.mp4 -c copy editlist.mp4
make_clip -i bframes.mp4 -c:v copy -bsf:v h264_mp4toannexb -an plain.h264
make_clip -i bframes.mp4 -c copy -metadata:s:v rotate=90 -an rotated.mp4
make_clip -f lavfi -i "$pictures" $x264 -x264-params open-gop=1:bframes=3:b-adapt=0:keyint=24:scenecut=0 opengop.mp4
make_clip -i opengop.mp4 -c copy -output_ts_offset 3600 opengop.ts
make_clip -f lavfi -i "$short" -c:v libx265 -preset ultrafast -x265-params log-level=error:pools=none:frame-threads=1:open-gop=1:keyint=12 \
    -pix_fmt yuv420p hevc.mp4
make_clip -f lavfi -i "$pictures" -f lavfi -i "$tone" -c:v mpeg2video -threads 1 -g 12 -bf 2 -c:a mp2 -b:a 128k program.mpg
make_clip -f lavfi -i "$short" -f lavfi -i "$tone" -c:v mpeg4 -threads 1 -g 30 -bf 0 -shortest -c:a ac3 -b:a 128k packets.avi
make_clip -f lavfi -i "$short" -f lavfi -i "$tone" -c:v libtheora -g 20 -shortest -c:a libvorbis theora.ogg
make_clip -f lavfi -i "$short" -f lavfi -i "$tone" -c:v libvpx-vp9 -threads 1 -deadline realtime -cpu-used 8 -g 20 -c:a libopus \
    -shortest vp9.webm
make_clip -f lavfi -i "$pictures" -vf "select='not(mod(n,3))+not(mod(n,7))'" -vsync vfr $x264 \
    -x264-params keyint=250:bframes=2 vfr.mkv
make_clip -i bframes.mp4 -itsoffset 1 -i bframes.mp4 -map 0:v -map 1:a -c copy latesound.mkv
make_clip -f lavfi -i "$pictures" -f lavfi -i 'sine=sample_rate=48000:duration=2' $x264 -c:a flac shortsound.mkv

make_clip -f lavfi -i 'sine=frequency=440:duration=1' -f lavfi -i 'sine=frequency=880:duration=1' -map 0 -map 1 \
    -metadata:s:a:1 language=fra -c:a flac twosounds.mkv

# White and a tone for 80 ms each second.
make_clip -f lavfi -i "color=black:size=64x48:rate=25:duration=8,drawbox=color=white:thickness=fill:enable='lt(mod(t,1),0.08)'" \
    -f lavfi -i "aevalsrc='0.6*sin(2*PI*1000*t)*lt(mod(t,1),0.08)':sample_rate=48000:duration=8" $x264 \
    -x264-params bframes=2:keyint=250:scenecut=0 -c:a flac beeps.mkv

make_clip -f lavfi -i 'testsrc2=size=96x64:rate=5:duration=52' $x264 \
    -x264-params bframes=3:b-adapt=0:keyint=250:scenecut=0 longgop.mp4

# Packets that do not say when their pictures begin, that show none, or whose pictures lack what they depend on.
make_clip -f lavfi -i "$short" -c:v mpeg4 -threads 1 -g 30 -bf 2 untimed.avi
make_clip -i bframes.mp4 -c copy -an undelayed.avi
make_clip -f lavfi -i "$short" -c:v mpeg2video -threads 1 -g 12 -bf 2 plain.m2v
make_clip -f lavfi -i "$short" -c:v libvpx -threads 1 -auto-alt-ref 1 -lag-in-frames 16 -g 40 -b:v 200k hidden.webm
make_clip -ss 1.2 -i opengop.mp4 -c copy baseless.mkv
make_clip -ss 1.2 -i opengop.ts -c copy leading.mkv

make_clip -f lavfi -i "$short" -pix_fmt yuv422p10 -c:v ffv1 deep422.mkv
make_clip -f lavfi -i 'color=white:size=96x64:rate=25:duration=1' -pix_fmt yuvj420p -c:v mjpeg fullrange.avi
make_clip -f lavfi -i 'color=red:size=1x1:rate=5:duration=1,format=gbrp' -c:v ffv1 one.mkv
make_clip -f lavfi -i 'color=blue:size=3x5:rate=5:duration=1,format=yuv444p' -c:v ffv1 odd.mkv
make_matrix() { # matrix for the scaler, for the file, size and one more, format, output
    make_clip -f lavfi -i "color=blue:size=$3:rate=5:duration=1,format=gbrp,scale=out_color_matrix=$1,format=$4,crop=iw-1:ih-1:0:0:exact=1" \
        -colorspace "$2" -c:v ffv1 "$5"
}
make_matrix bt709 bt709 97x65 yuv420p bt709.mkv
make_matrix bt2020 bt2020nc 97x65 yuv422p10 bt2020.mkv
make_matrix smpte240m smpte240m 8x6 yuv420p smpte240m.mkv
make_matrix bt709 unknown 1281x17 yuv420p wide.mkv
make_matrix bt601 unknown 1279x17 yuv420p narrow.mkv

# What the decoders give as they decode it: layouts, ranges and matrices, at an odd size.
odd='testsrc2=size=97x65:rate=10:duration=0.5'
make_clip -f lavfi -i "$odd" $x264 -pix_fmt yuv422p10 -colorspace bt709 h264-422-10.mkv
make_clip -f lavfi -i "$odd" $x264 -pix_fmt yuv444p -colorspace bt709 -color_range pc h264-444-full.mp4
make_clip -f lavfi -i "$odd" $x264 -pix_fmt yuv444p10 upright.mp4
make_clip -i upright.mp4 -c copy -metadata:s:v rotate=90 rotated-444-10.mp4
make_clip -f lavfi -i "$odd" $x264 -pix_fmt yuv422p upright.mp4
make_clip -i upright.mp4 -c copy -metadata:s:v rotate=270 rotated-422.mp4
rm upright.mp4
make_clip -f lavfi -i "$odd" -c:v libaom-av1 -cpu-used 8 -usage realtime -threads 1 -pix_fmt yuv420p10 av1-10.mkv
make_clip -f lavfi -i "$odd" -c:v prores_ks -pix_fmt yuv422p10 prores.mov
make_clip -f lavfi -i 'testsrc2=size=1920x1080:rate=25:duration=0.04' -c:v dnxhd -threads 1 -b:v 36M -pix_fmt yuv422p dnxhd.mov
make_clip -f lavfi -i "$odd" -c:v mpeg2video -threads 1 -pix_fmt yuv422p -r 25 mpeg2-422.ts
make_clip -f lavfi -i "$odd" -c:v mjpeg -pix_fmt yuvj422p mjpeg-422.avi
make_clip -f lavfi -i "$odd" -c:v rawvideo -pix_fmt nv12 nv12.nut
hdr_clip() { # transfer, further parameters, output
    make_clip -f lavfi -i "$odd" -c:v libx265 -preset ultrafast -pix_fmt yuv420p10 -x265-params \
        "log-level=error:pools=none:frame-threads=1:colorprim=bt2020:colormatrix=bt2020nc:transfer=$1$2" "$3"
}
hdr_clip smpte2084 ':master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,1):max-cll=400,200' hdr.mp4
hdr_clip smpte2084 '' hdr-plain.mp4
hdr_clip arib-std-b67 '' hlg.mp4
# And what there is no kind of frame for, in one colour.
for format in yuv420p12 yuv422p16 yuv411p yuv410p yuv440p yuva420p yuva444p10 gbrp10 gray gray10; do
    make_clip -f lavfi -i "color=orange:size=34x20:rate=5:duration=0.4,format=$format" -c:v ffv1 "rest-$format.mkv"
done
for format in yuyv422 nv21 monow; do
    make_clip -f lavfi -i "color=orange:size=34x20:rate=5:duration=0.4,format=$format" -c:v rawvideo "rest-$format.nut"
done
make_clip -f lavfi -i 'color=orange:size=34x20:rate=5:duration=0.4,format=rgb24,format=xyz12le' -c:v rawvideo rest-xyz12.nut
for format in yuv420p yuv444p10; do
    make_clip -f lavfi -i "color=orange:size=34x20:rate=5:duration=0.4,format=$format,colorspace=ispace=smpte170m:iall=bt709:all=bt709:space=ycgco" \
        -colorspace ycgco -c:v ffv1 "ycgco-$format.mkv"
done
make_clip -f lavfi -i 'color=orange:size=34x20:rate=5:duration=0.4,format=yuv420p' -colorspace ictcp -color_trc linear -c:v ffv1 unknown.mkv
for format in rgb24 rgba gray; do
    make_clip -f lavfi -i 'color=white:size=31x17:rate=1:duration=1,format=rgb24' -frames:v 1 -pix_fmt $format still-$format.png
done
make_clip -i still-rgb24.png -vf 'split[a][b];[a]palettegen[p];[b][p]paletteuse' -pix_fmt pal8 still-pal8.png
make_clip -f lavfi -i 'color=white:size=32x16:rate=1:duration=1' -frames:v 1 -pix_fmt yuvj444p still.jpg
make_clip -f lavfi -i "$short" -vf setsar=4/3 $x264 anamorphic.mp4
make_clip -f lavfi -i 'color=red:size=64x48:rate=25:duration=1' -pix_fmt yuv420p -f mpegts -c:v mpeg2video -threads 1 part1.ts
make_clip -f lavfi -i 'color=red:size=96x80:rate=25:duration=1' -pix_fmt yuv420p -f mpegts -output_ts_offset 1 \
    -colorspace bt709 -c:v mpeg2video -threads 1 part2.ts
cat part1.ts part2.ts >changing.ts
make_clip -f lavfi -i 'color=red:size=64x48:rate=25:duration=1' -pix_fmt yuv422p -f mpegts -output_ts_offset 1 \
    -c:v mpeg2video -threads 1 part2.ts
cat part1.ts part2.ts >relayout.ts
rm part1.ts part2.ts

for layout in mono stereo quad 5.1 6.1 7.1 3.0 5.0; do
    make_clip -f lavfi -i "anoisesrc=sample_rate=48000:duration=1:seed=7,aformat=channel_layouts=$layout" \
        -c:a pcm_s16le sound-$layout.wav
done
# One tone for each channel, so that the order of channels can be told.
make_clip -f lavfi -i "aevalsrc='0.1|0.2|0.3|0.4|0.5|0.6':channel_layout=5.1:sample_rate=48000:duration=1" \
    -c:a flac order.flac
make_clip -f lavfi -i 'sine=frequency=440:sample_rate=48000:duration=4' -c:a libvorbis tone.ogg
make_clip -f lavfi -i 'anoisesrc=sample_rate=44100:duration=4:seed=3' -c:a flac noise.flac
make_clip -f lavfi -i "$tone" -f lavfi -i "$short" -map 0 -map 1 -frames:v 1 -c:v png -disposition:v attached_pic \
    -c:a libmp3lame cover.mp3

echo "$stamp" >made
