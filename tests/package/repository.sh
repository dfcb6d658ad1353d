#!/bin/bash
# apt and the repository that deploy/make-repository makes, inside the root that scripts/try
# packages makes.
set -u
# shellcheck source=tests/scripts/expect.sh
source /try/expect.sh
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8

# What clients are told to do, except for the address. Debian's own lists stay as they were fetched:
# there is no network in here.
use() {
    sed "s|^URIs: .*|URIs: file:$1|" /try/first/vond.sources >/etc/apt/sources.list.d/vond.sources
}
update() {
    apt-get update --error-on=any -o Dir::Etc::SourceList=/dev/null \
        -o APT::Get::List-Cleanup=false >/try/apt.log 2>&1 </dev/null
}
version_of() {
    dpkg-query --show --showformat='${Version}' "$1"
}

without_its_key_it_is_refused() {
    use /try/first
    ! update || fail "apt takes what nobody has signed for it"
    expect_part "apt" "$(</try/apt.log)" "NO_PUBKEY"
}

with_its_key_it_is_taken() {
    install -D --mode=644 /try/first/vond.asc /etc/apt/keyrings/vond.asc
    update || fail "apt-get update:" "$(</try/apt.log)"
}

the_service_alone_can_be_installed() {
    apt-get -q=2 -y --no-install-recommends install vond-server >/try/apt.log 2>&1 </dev/null \
        || fail "apt-get install:" "$(tail -n 20 /try/apt.log)"
    expect "version" "$(version_of vond-server)" "$(</try/version)"
    [[ ! -e /usr/bin/vond-sample ]] || fail "the sample tool came along"
}

an_upgrade_brings_the_next_release() {
    use /try/second
    update || fail "apt-get update:" "$(</try/apt.log)"
    apt-get -q=2 -y --only-upgrade install vond-server >/try/apt.log 2>&1 </dev/null \
        || fail "apt-get install:" "$(tail -n 20 /try/apt.log)"
    expect "version" "$(version_of vond-server)" "$(</try/version).1"
}

a_changed_index_is_refused() {
    use /try/changed
    ! update || fail "apt takes what was changed after it was signed"
    expect_part "apt" "$(</try/apt.log)" "Hash Sum mismatch"
}

run_tests \
    without_its_key_it_is_refused \
    with_its_key_it_is_taken \
    the_service_alone_can_be_installed \
    an_upgrade_brings_the_next_release \
    a_changed_index_is_refused
