# shellcheck shell=bash
# Shared by the commands in this folder; sourced, not run. Enters the project's root folder.

cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." || exit

mkdir -p build # all that the commands make, logs too, lies there

# Same sorting, file names and messages on every machine.
export LC_ALL=C.UTF-8

# build_preset PRESET [OPTION...]: configures and builds one preset; options go to "cmake --build".
# With ccache at hand a second clone builds faster.
build_preset() {
    local preset=$1
    shift
    if command -v ccache >/dev/null; then
        # Only looked at when a build folder is made: an existing one is not built anew for it.
        export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
    fi
    local log=build/configure-$preset.log
    cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2; return 1; }
    cmake --build --preset "$preset" "$@"
}

# What was built through sudo goes to the owner of the sources, who could not build there otherwise.
# Not what the throw-away machines are made of: the files in there have owners of their own.
give_build_folder_back() {
    if [[ $EUID -eq 0 && -n ${SUDO_UID-} && -d build ]]; then
        find build -path 'build/try-*/*' -prune -o -exec chown --no-dereference --reference=. {} +
    fi
}
