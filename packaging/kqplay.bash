# shellcheck shell=bash
# Completes kqplay's options, which it names itself, and files.
_kqplay() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} options
    COMPREPLY=()
    case $previous in
    --audio)
        mapfile -t COMPREPLY < <(compgen -W "auto null wav:" -- "$current")
        return
        ;;
    --layout)
        mapfile -t COMPREPLY < <(compgen -W "side stack wipe flip difference" -- "$current")
        return
        ;;
    --align)
        mapfile -t COMPREPLY < <(compgen -W "picture sound" -- "$current")
        return
        ;;
    --info)
        mapfile -t COMPREPLY < <(compgen -W "short full" -- "$current")
        return
        ;;
    --scope)
        mapfile -t COMPREPLY < <(compgen -W "waveform vectorscope histogram" -- "$current")
        return
        ;;
    --offset | --start | --length | --frame | --speed | --loop-count | --volume | --audio-track | --views | --filter | --capture-at | --min-psnr | --min-ssim | --count | --seed) return ;;
    esac
    if [[ $current == -* ]]; then
        options=$("$1" --help 2>/dev/null | grep -o -- '^ *-[a-z-][^ ]*' | tr ',' '\n')
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
}
complete -o filenames -F _kqplay kqplay
