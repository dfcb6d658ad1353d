# shellcheck shell=bash
# A small Debian root, from where this machine's apt gets its packages; sourced by what needs one.

# Where apt of this machine gets Debian itself from: SITE CODENAME COMPONENT per line.
# shellcheck disable=SC2016 # apt fills these in
debian_sources() {
    apt-get indextargets --format '$(SITE) $(CODENAME) $(COMPONENT)' \
        'Identifier: Packages' 'Origin: Debian' | sort -u
}

# make_debian_root FOLDER LOG [PACKAGE,...]: makes it with these packages and the same sources.
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
