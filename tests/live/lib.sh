# shellcheck shell=bash
# What scripts/ and the programs in this folder share; sourced, not run. Enters the project's root
# folder.

cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." || exit

mkdir -p build # everything that the commands make is there, logs too

# Same sorting, file names and messages on every machine.
export LC_ALL=C.UTF-8

# configure_preset PRESET: with ccache at hand a second clone builds faster.
configure_preset() {
    if command -v ccache >/dev/null; then
        # Used only when a build folder is created: an existing one is not rebuilt for it.
        export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
        # ccache needs these for precompiled headers (the tests').
        export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS-pch_defines,time_macros}
    fi
    local log=build/configure-$1.log
    cmake --preset "$1" >"$log" 2>&1 || { cat "$log" >&2; return 1; }
}

# build_preset PRESET [OPTION...]: configures and builds one preset; options go to "cmake --build".
build_preset() {
    configure_preset "$1" || return
    cmake --build --preset "$@"
}

# What was built through sudo is given to the owner of the sources, who could not build there otherwise. Except the
# throw-away machines: their files have owners of their own.
give_build_folder_back() {
    if [[ $EUID -eq 0 && -n ${SUDO_UID-} && -d build ]]; then
        find build -path 'build/try-*/*' -prune -o -exec chown --no-dereference --reference=. {} +
    fi
}

# --- Processes on loopback ---------------------------------------------------------------------

# A port on which nothing is listening now. Whoever binds it must be prepared to find it taken.
free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# wait_for_port PORT PID: until something listens there; fails if the process ends first, or after a minute.
wait_for_port() {
    local end=$((SECONDS + 60))
    until (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; do
        kill -0 "$2" 2>/dev/null && ((SECONDS < end)) || return 1
        sleep 0.05
    done
}

# end_process PID: ends a child of this shell and waits for it. No PID: nothing to end.
end_process() {
    [[ -n ${1-} ]] || return 0
    kill "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}

# shellcheck source=tests/live/debianroot.sh
source tests/live/debianroot.sh
