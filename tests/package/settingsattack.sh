# shellcheck shell=bash disable=SC2034,SC2154 # set here for those who source it, and the other way
# Tries to write where the service's settings are read from, with the means of its clients; sourced by the tests of the
# package and the container image. Needs $address, ask and expect.sh.
#
# The tool must be /usr/bin/env meanwhile, so that /vond runs anything: no real tool can do more.

# In the order they are read: an earlier one takes precedence.
readonly settings_places=(
    /var/lib/vondserver/.config/meridane/vondServer.conf
    /var/lib/vondserver/.config/meridane.conf
    /etc/xdg/meridane/vondServer.conf
    /etc/xdg/meridane.conf
)

# Would let anybody read the password file, and would change the tool at the next start.
readonly settings_of_the_attacker='[General]
TempFolder=/etc
vondPath=/usr/bin/false
'

# print_settings: names, owners, permissions and contents of everything that may hold settings; run where they are
# visible, with the service's own folder as first argument
# shellcheck disable=SC2016 # the shell in there expands it
readonly print_settings='
    cd / && for folder in /var/lib/vondserver/.config /etc/xdg; do
        find "$folder" -printf "%p %y%m %U:%G %l\n" | sort
        find "$folder" -type f -exec sha256sum {} + | sort
    done'

# Every way to write that a shell has, for each file, and from the root of each visible process.
# shellcheck disable=SC2016 # the tool expands it
readonly attack_by_the_tool='
    evil=/var/lib/vondserver/tmp/evil.conf
    printf "%s" "$1" >$evil
    shift
    for place; do
        for root in "" /proc/[0-9]*/root; do
            target=$root$place
            mount -o remount,rw,bind "${target%/*}"
            chmod u+rwx "${target%/*/*}" "${target%/*}" "$target"
            mkdir -p "${target%/*}"
            cp $evil "$target" || cat $evil >"$target" || ln -sf $evil "$target"
            mv "${target%/*}" "${target%/*}.away" && mkdir "${target%/*}" && cp $evil "$target"
        done
    done
    unshare --user --map-root-user --mount sh -c "mount -o remount,rw,bind / && cp $evil $1"
    echo tried
'

# json TEXT: as a JSON string
json() {
    local text=$1
    text=${text//\\/\\\\}
    text=${text//\"/\\\"}
    text=${text//$'\n'/\\n}
    printf '"%s"' "$text"
}

# The service writes: the input file, an option's file, a file among the arguments, an upload.
attack_through_the_service() {
    local file name data
    data=$(printf '%s' "$settings_of_the_attacker" | base64 --wrap=0)
    for file in "${settings_places[@]}"; do
        for name in "../../../..$file" "../${file#/var/lib/vondserver/}"; do
            ask --output /dev/null --data "{\"fileName\": \"$name\", \"imgData\": \"$data\", \"configuration\": \"x\"}" \
                "$address/convertWithLocalData"
            ask --output /dev/null --data "{\"fileName\": \"x\", \"imgData\": \"\", \"configuration\": \"x\",
                \"setOptions\": {\"setOptions\": [{\"local:\": {\"filename\": \"$name\", \"data\": \"$data\",
                \"option\": \"--x\"}}]}}" "$address/convertWithLocalData"
            ask --output /dev/null --data "[{\"filename\": \"$name\", \"data\": \"$data\"}]" "$address/vond"
            ask --output /dev/null --data "$settings_of_the_attacker" "$address/upload/${name//'/'/%2F}"
        done
    done
}

attack_through_the_tool() {
    local word arguments=''
    for word in sh -c "$attack_by_the_tool" sh "$settings_of_the_attacker" "${settings_places[@]}"; do
        arguments+=,$(json "$word")
    done
    expect_part "the tool of the attack" "$(ask --data "[${arguments#,}]" "$address/vond")" '"stdOut":"tried'
}

# expect_unchanged WHAT NOW BEFORE: what print_settings prints
expect_unchanged() {
    local changes
    changes=$(diff <(echo "$3") <(echo "$2")) || fail "the settings are others $1" "$changes"
}

# The settings in force are unchanged: T, and a tool that does what it is asked to.
the_settings_are_still_in_force() {
    expect "what is read from /etc" "$(ask "$address/getConversionResult/passwd" | head -n 1)" ""
    expect_part "the tool" "$(ask --data '["echo", "as before"]' "$address/vond")" '"stdOut":"as before'
}
