# shellcheck shell=bash
# shellcheck disable=SC2034  # the lists are for whoever sources this
# What ./play and ./test share: they are run in the project's folder, and source this file.

# Messages name the command that the user typed.
say() { printf '%s: %s\n' "${0##*/}" "$*"; }
die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

build_packages=(
    g++ cmake ninja-build pkg-config ccache libgtest-dev libbenchmark-dev
    libopenal-dev libhwy-dev libpng-dev libjpeg62-turbo-dev zlib1g-dev
    libxcb1-dev libxcb-shm0-dev libxcb-render0-dev libxcb-present-dev libx11-dev libsdl2-dev
    libwayland-dev wayland-protocols
    libfreetype-dev libfontconfig-dev fonts-dejavu-core
    libavformat-dev libavcodec-dev libavfilter-dev libavutil-dev libswscale-dev libswresample-dev
    libcli11-dev
    python3-dev pybind11-dev python3-numpy
)
play_packages=(ffmpeg libdecor-0-plugin-1-cairo)
test_packages=(ffmpeg xvfb xauth xdotool weston openbox libyuv-dev clang dpkg-dev file lintian appstream python3-tk)
# What the examples for toolkits are built with and run on.
toolkit_packages=(qt6-base-dev qt6-wayland libgtk-4-dev libsdl2-dev)
lint_packages=(clang-format clang-tidy shellcheck doxygen)
i386_packages=(
    g++-multilib libgtest-dev:i386 libbenchmark-dev:i386 libopenal-dev:i386 libhwy-dev:i386
    libxcb1-dev:i386 libxcb-shm0-dev:i386 libxcb-render0-dev:i386 libxcb-present-dev:i386
    libwayland-dev:i386
)
arm64_packages=(
    clang lld qemu-user libc6-dev-arm64-cross libstdc++-12-dev-arm64-cross
    libgtest-dev:arm64 libopenal-dev:arm64 libhwy-dev:arm64
    libxcb1-dev:arm64 libxcb-shm0-dev:arm64 libxcb-render0-dev:arm64 libxcb-present-dev:arm64
)
fuzz_packages=(clang lld ffmpeg)

# missing_packages NAME…: prints those that are not installed.
missing_packages() {
    local package
    for package in "$@"; do
        [[ $(dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | sort -u) == installed ]] ||
            printf '%s\n' "$package"
    done
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "neither root nor sudo" >&2
        return 1
    fi
}

# install_packages NAME…: installs what is missing. Prints the reason and returns 1 when that fails.
install_packages() {
    local missing log=build/setup.log
    mapfile -t missing < <(missing_packages "$@")
    ((${#missing[@]})) || return 0
    command -v apt-get >/dev/null || {
        echo "no apt-get here to install ${missing[*]}"
        return 1
    }
    say "installing ${missing[*]}" >&2
    mkdir -p build
    # One index that cannot be had says nothing about the packages: the rest may have them all.
    as_root apt-get update -q >"$log" 2>&1 </dev/null || true
    if as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
        "${missing[@]}" >>"$log" 2>&1 </dev/null; then
        return 0
    fi
    printf 'cannot install %s (%s)\n' "${missing[*]}" "$(grep -E '^E: |^neither' "$log" | tail -n 1 || true)"
    return 1
}

# require_packages NAME…: as install_packages, or the end.
require_packages() {
    local reason
    reason=$(install_packages "$@") || die "$reason"
}

# run_logged LOG COMMAND…: runs a command, and shows the end of its output only when it fails.
run_logged() {
    local log=$1
    shift
    "$@" >"$log" 2>&1 && return
    tail -n 30 "$log" >&2
    say "all of this output is in $log" >&2
    return 1
}

# build PRESET [TARGET]: configures once, then builds what has changed.
build() {
    local preset=$1 log=build/$1-build.log
    mkdir -p build
    say "building $preset"
    if [[ ! -f build/$preset/build.ninja ]]; then
        run_logged "$log" cmake --preset "$preset" || return 1
    fi
    run_logged "$log" cmake --build --preset "$preset" ${2:+--target "$2"}
}
