# shellcheck shell=sh
# For the scripts that make clips.

# clip NAME OPTION…: runs ffmpeg unless the clip is there already, and leaves whole files only.
clip() {
    name=$1
    shift
    [ -f "$name" ] && return
    ffmpeg -v error -nostdin -y "$@" "new-$name"
    mv "new-$name" "$name"
}
