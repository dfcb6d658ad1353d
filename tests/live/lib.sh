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

# --- A small Debian, from where this machine's apt gets its packages ----------------------------

# Where this machine's apt gets Debian itself from: SITE CODENAME COMPONENT per line.
# shellcheck disable=SC2016 # apt fills these in
debian_sources() {
    apt-get indextargets --format '$(SITE) $(CODENAME) $(COMPONENT)' \
        'Identifier: Packages' 'Origin: Debian' | sort -u
}

# make_debian_root FOLDER LOG [PACKAGE,...]: creates it with these packages and the same sources.
make_debian_root() {
    local root=$1 log=$2 packages=${3-} site codename component
    codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
    site=$(debian_sources | awk -v name="$codename" '$2 == name { print $1; exit }')
    [[ -n $site ]] || { echo "apt of this machine knows no source of Debian $codename" >&2; return 1; }
    echo "Making a Debian root (some minutes, once)"
    debootstrap --variant=minbase ${packages:+"--include=$packages"} "$codename" "$root" "$site" \
        >"$log" 2>&1 || { tail -n 20 "$log" >&2; echo "debootstrap failed" >&2; return 1; }
    while read -r site codename component; do
        echo "deb $site $codename $component"
    done < <(debian_sources) >"$root/etc/apt/sources.list"
}

# run_in_root ROOT [OPTION...] COMMAND...: the command with a root of its own, and this machine's network.
run_in_root() {
    local root=$1
    shift
    systemd-nspawn --quiet --register=no --keep-unit --directory="$root" --resolv-conf=copy-host \
        --setenv=DEBIAN_FRONTEND=noninteractive --setenv=LC_ALL=C.UTF-8 "$@" </dev/null
}

# make_arm64_root FOLDER: FOLDER/root cross-compiles for arm64 and runs the result. Made again if it would hold other
# packages.
make_arm64_root() {
    local folder=$1 wanted
    scripts/install-dependencies roots
    wanted=$(scripts/install-dependencies --print arm64)
    [[ ! -f $folder/stamp || $(<"$folder/stamp") != "$wanted" ]] || return 0
    rm -rf "$folder"
    mkdir -p "$folder"
    make_debian_root "$folder/root" "$folder/debootstrap.log"
    echo "Installing the cross compiler and arm64 libraries in it (some minutes, once)"
    run_in_root "$folder/root" dpkg --add-architecture arm64
    run_in_root "$folder/root" --bind-ro="$PWD/scripts:/scripts" /scripts/install-dependencies arm64 \
        >"$folder/install.log" 2>&1 || { tail -n 20 "$folder/install.log" >&2; return 1; }
    rm -f "$folder"/root/var/cache/apt/archives/*.deb
    echo "$wanted" >"$folder/stamp"
}
