#!/bin/bash
# scripts/install-dependencies with a package system that only records its commands.
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
# Everything requested is installed, except what $LACKING names (as a pattern).
fake dpkg-query 'for name in "${@:3}"; do [[ $name == ${LACKING-} ]] || echo "${name%:*} ${name#*:} ii "; done'
# An installation adds services, which it starts unless the policy forbids it.
fake apt-get 'if [[ $1 == --simulate ]]; then
    echo "Inst ${*: -1} (1.0 Debian:12 [amd64])"
    [[ -z ${UPGRADES-} ]] || echo "Inst $UPGRADES [1.0] (1.1 Debian:12 [amd64])"
    exit
fi
echo "${DEBIAN_FRONTEND-} apt-get ${*: -1} of $#" >>"$CALLS"
if [[ -n ${BRINGS-} && " $* " == *" install "* ]]; then
    ln -s /lib/$BRINGS.service "$DPKG_ROOT/etc/systemd/system/multi-user.target.wants/$BRINGS.service"
    ln -s /lib/$BRINGS.socket "$DPKG_ROOT/etc/systemd/user/sockets.target.wants/$BRINGS.socket"
    ln -s ../init.d/$BRINGS "$DPKG_ROOT/etc/rc3.d/S01$BRINGS"
    for asked in "$BRINGS.service start" "--quiet $BRINGS start" "running.service restart"; do
        "$DPKG_ROOT/usr/sbin/policy-rc.d" $asked && echo "started: $asked" >>"$CALLS"
    done
fi
[[ " $* " != *" ${APT_FAILS-nothing} "* ]]'
fake deb-systemd-helper '[[ -n ${DPKG_MAINTSCRIPT_PACKAGE-} ]] && echo "deb-systemd-helper $*" >>"$CALLS"'
fake update-rc.d 'echo "update-rc.d $*" >>"$CALLS"'
fake systemctl '[[ $1 == stop ]] && echo "systemctl $*" >>"$CALLS"
[[ ${*: -1} == running.service ]]'
fake sudo '[[ ${SUDO-} == allowed ]] || exit 1
[[ $1 == env ]] && echo "sudo" >>"$CALLS"
[[ $1 == -* ]] || exec "$@"'
}

# run USER [NAME=VALUE...] -- [ARGUMENT...]: sets status, output (both channels) and calls.
run() {
    local user=$1
    shift
    local -a as=() settings=("PATH=$place/bin:$PATH" "CALLS=$place/calls" "DPKG_ROOT=$place/root")
    rm -rf "$place/root"
    mkdir -p "$place"/root/{usr/sbin,etc/rc3.d,etc/systemd/{system/multi-user,user/sockets}.target.wants}
    ln -s /lib/old.service "$place/root/etc/systemd/system/multi-user.target.wants/"
    chmod -R go+w "$place/root"
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
    run nobody SUDO=allowed -- build demo test bench package lintian proxies
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
    # An ordinary user cannot test this; CI runs as root.
    [[ $EUID -eq 0 ]] || return
    run root LACKING=shellcheck --
    expect "exit status" "$status" 0
    expect_part "install" "$calls" "noninteractive apt-get shellcheck of "
    [[ $calls != *sudo* ]] || fail "sudo was called: $calls"
}

sets_are_kept_apart() {
    run nobody SUDO=allowed 'LACKING=*' -- demo
    expect "output" "$output" "Installing curl liblcms2-utils libvips-tools python3"
}

without_rights_it_says_what_to_do() {
    run nobody LACKING=shellcheck --
    expect "exit status" "$status" 1
    expect_part "advice" "$output" "please run as root: apt-get install --no-install-recommends shellcheck"
    expect "package system" "$calls" ""
}

old_package_lists_are_no_reason_to_stop() {
    run nobody SUDO=allowed LACKING=shellcheck APT_FAILS=update --
    expect "exit status" "$status" 0
    expect_part "install" "$calls" "apt-get shellcheck of "
}

a_failed_installation_is_reported() {
    run nobody SUDO=allowed LACKING=shellcheck APT_FAILS=install --
    expect "exit status" "$status" 1
    expect_part "message" "$output" "apt-get could not install: shellcheck"
}

an_unknown_set_is_rejected() {
    run nobody SUDO=allowed 'LACKING=*' -- build tests
    expect "exit status" "$status" 1
    expect_part "message" "$output" "there is no set 'tests'"
    expect "package system" "$calls" ""
}

a_package_of_another_architecture_is_one_of_its_own() {
    run nobody SUDO=allowed LACKING=libvips-dev:arm64 -- arm64
    expect "output" "$output" "Installing libvips-dev:arm64"
}

services_are_neither_started_nor_enabled() {
    run nobody SUDO=allowed LACKING=nginx BRINGS=nginx -- proxies
    expect "exit status" "$status" 0
    # What was running before may be restarted.
    expect "services" "$(grep -v apt-get "$place/calls" | grep -v '^sudo$' | sort)" \
"deb-systemd-helper --user disable nginx.socket
deb-systemd-helper disable nginx.service
started: running.service restart$([[ ! -d /run/systemd/system ]] || printf '\nsystemctl stop nginx.service')
update-rc.d nginx disable"
    [[ ! -e $place/root/usr/sbin/policy-rc.d ]] || fail "the policy is still there"
}

a_failed_installation_leaves_no_service_either() {
    run nobody SUDO=allowed LACKING=nginx BRINGS=nginx APT_FAILS=install -- proxies
    expect "exit status" "$status" 1
    expect_part "disabled" "$calls" "deb-systemd-helper disable nginx.service"
    [[ ! -e $place/root/usr/sbin/policy-rc.d ]] || fail "the policy is still there"
}

upgrades_are_named() {
    run nobody SUDO=allowed LACKING=shellcheck UPGRADES=libc6 --
    expect "exit status" "$status" 0
    expect_part "output" "$output" "Upgrading, because what is missing depends on it: libc6"
}

upgrades_can_be_rejected() {
    run nobody SUDO=allowed LACKING=shellcheck UPGRADES=libc6 -- --no-upgrade
    expect "exit status" "$status" 1
    expect_part "output" "$output" "these packages would have to be upgraded first: libc6"
    [[ $calls != *shellcheck* ]] || fail "it was installed: $calls"
}

names_can_be_printed() {
    run nobody LACKING=curl -- --print demo
    expect "output" "$output" $'curl\nliblcms2-utils\nlibvips-tools\npython3'
    expect "package system" "$calls" ""
}

run_tests \
    nothing_missing_installs_nothing \
    only_what_is_missing_is_installed \
    root_needs_no_sudo \
    sets_are_kept_apart \
    without_rights_it_says_what_to_do \
    old_package_lists_are_no_reason_to_stop \
    a_failed_installation_is_reported \
    an_unknown_set_is_rejected \
    a_package_of_another_architecture_is_one_of_its_own \
    services_are_neither_started_nor_enabled \
    a_failed_installation_leaves_no_service_either \
    upgrades_are_named \
    upgrades_can_be_rejected \
    names_can_be_printed
