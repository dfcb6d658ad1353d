# shellcheck shell=bash
# A small Debian in a folder, from where this machine's apt gets its packages; sourced by lib.sh.

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
