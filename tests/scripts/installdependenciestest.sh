#!/bin/bash
# scripts/install-dependencies against a package system that only writes down what it is told.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"

place=$(mktemp -d /tmp/vond-install-test.XXXXXX)
trap 'rm -rf "$place"' EXIT
chmod 755 "$place" # another user comes in below
mkdir "$place/bin"
cp "$here/../../scripts/install-dependencies" "$place/"
touch "$place/calls"
chmod 666 "$place/calls"

fake() {
    printf '#!/bin/bash\n%s\n' "$2" >"$place/bin/$1"
    chmod 755 "$place/bin/$1"
}

# shellcheck disable=SC2016 # the programs written here expand it, not this one
{
# Everything asked for is installed, except what $LACKING names (as a pattern).
fake dpkg-query 'for name in "${@:3}"; do [[ $name == ${LACKING-} ]] || echo "$name ii "; done'
fake apt-get 'echo "$DEBIAN_FRONTEND apt-get ${*: -1} of $#" >>"$CALLS"
[[ " $* " != *" ${APT_FAILS-nothing} "* ]]'
fake sudo '[[ ${SUDO-} == allowed ]] || exit 1
[[ $1 == env ]] && echo "sudo" >>"$CALLS"
[[ $1 == -* ]] || exec "$@"'
}

# run USER [NAME=VALUE...] -- [GROUP...]: sets status, output (both channels) and calls.
run() {
    local user=$1
    shift
    local -a as=() settings=("PATH=$place/bin:$PATH" "CALLS=$place/calls")
    if [[ $user == nobody && $EUID -eq 0 ]]; then
        as=(setpriv --reuid=65534 --regid=65534 --clear-groups)
    fi
    while [[ $1 != -- ]]; do
        settings+=("$1")
        shift
    done
    shift
    : >"$place/calls"
    output=$("${as[@]}" env "${settings[@]}" "$place/install-dependencies" "$@" </dev/null 2>&1)
    status=$?
    calls=$(<"$place/calls")
}

nothing_missing_installs_nothing() {
    run nobody SUDO=allowed -- build demo test bench ops
    expect "exit status" "$status" 0
    expect "output" "$output" ""
    expect "package system" "$calls" ""
}

only_what_is_missing_is_installed() {
    run nobody SUDO=allowed LACKING=shellcheck --
    expect "exit status" "$status" 0
    expect "output" "$output" "Installing shellcheck"
    expect_part "update first" "$calls" $'sudo\nnoninteractive apt-get update of '
    expect_part "then install" "$calls" $'sudo\nnoninteractive apt-get shellcheck of '
    expect "number of calls" "$(grep -c apt-get "$place/calls")" 2
}

root_needs_no_sudo() {
    # An ordinary user cannot try this; CI runs as root.
    [[ $EUID -eq 0 ]] || return
    run root LACKING=shellcheck --
    expect "exit status" "$status" 0
    expect_part "install" "$calls" "noninteractive apt-get shellcheck of "
    [[ $calls != *sudo* ]] || fail "sudo was called: $calls"
}

groups_are_kept_apart() {
    run nobody SUDO=allowed 'LACKING=*' -- demo
    expect "output" "$output" "Installing curl liblcms2-utils libvips-tools"
}

without_rights_it_says_what_to_do() {
    run nobody LACKING=shellcheck --
    expect "exit status" "$status" 1
    expect_part "advice" "$output" "please run as root: apt-get install shellcheck"
    expect "package system" "$calls" ""
}

old_package_lists_are_no_reason_to_stop() {
    run nobody SUDO=allowed LACKING=shellcheck APT_FAILS=update --
    expect "exit status" "$status" 0
    expect_part "install" "$calls" "apt-get shellcheck of "
}

a_failed_installation_is_told() {
    run nobody SUDO=allowed LACKING=shellcheck APT_FAILS=install --
    expect "exit status" "$status" 1
    expect_part "message" "$output" "apt-get could not install: shellcheck"
}

an_unknown_group_is_refused() {
    run nobody SUDO=allowed 'LACKING=*' -- build tests
    expect "exit status" "$status" 1
    expect_part "message" "$output" "there is no group 'tests'"
    expect "package system" "$calls" ""
}

run_tests \
    nothing_missing_installs_nothing \
    only_what_is_missing_is_installed \
    root_needs_no_sudo \
    groups_are_kept_apart \
    without_rights_it_says_what_to_do \
    old_package_lists_are_no_reason_to_stop \
    a_failed_installation_is_told \
    an_unknown_group_is_refused
