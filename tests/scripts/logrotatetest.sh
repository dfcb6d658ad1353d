#!/bin/bash
# logrotatetest.sh SERVICE: the log file is rotated under a service that writes to it all the time.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
# shellcheck source=tests/scripts/service.sh
source "$here/service.sh"
service=$1
PATH=$PATH:/usr/sbin
for program in logrotate curl; do
    command -v "$program" >/dev/null || skip "$program is not installed (scripts/install-dependencies test)"
done

place=$(mktemp -d /tmp/vond-logrotate-test.XXXXXX)
service_pid=''
trap '[[ -z $service_pid ]] || kill "$service_pid"; wait; rm -rf "$place"' EXIT
mkdir -p "$place/etc/meridane" "$place/logs" "$place/work"
log=$place/logs/vondServer.log
# As for an installed service: in the system-wide settings, without a store of its own.
printf '[General]\nServerLogging=true\nLogFolder=%s\n' "$place/logs" >"$place/etc/meridane/vondServer.conf"
sed -e "s|/var/log/vondserver/|$place/logs/|" \
    -e "s|su vondserver vondserver|su $(id -un) $(id -gn)|" \
    "$here/../../deploy/logrotate" >"$place/logrotate.conf"
chmod 644 "$place/logrotate.conf"

# Every request leaves a line "handling request from client:" and one "descr:".
send_requests() {
    local client
    for client in {1..4}; do
        for _ in {1..60}; do
            curl --silent --output /dev/null "$address/" || echo "client $client got no answer"
        done &
    done
}

a_rename_under_the_service_loses_no_line() {
    start_service "$log" "$service" /bin/true
    local round clients
    send_requests >"$place/complaints"
    clients=$(jobs -p | grep -vx "$service_pid")
    for round in 1 2 3; do
        logrotate --force --state "$place/state" "$place/logrotate.conf" || fail "logrotate, round $round"
        sleep 0.2
    done
    # shellcheck disable=SC2086 # one word per client
    wait $clients
    logrotate --force --state "$place/state" "$place/logrotate.conf" || fail "logrotate, at last"
    curl --silent --output /dev/null "$address/"

    expect "complaints of clients" "$(<"$place/complaints")" ""
    expect "files" "$(cd "$place/logs" && echo *)" \
        "vondServer.log vondServer.log.1 vondServer.log.2.gz vondServer.log.3.gz vondServer.log.4.gz"
    local all
    all=$(zcat --force "$place"/logs/*)
    expect "requests told" "$(grep -c 'handling request from client:' <<<"$all")" 241
    expect "whole lines" \
        "$(grep -cv '^[0-9-]* [0-9:]* \[T\]:[0-9]*: ' <<<"$all")" 0
    expect_part "new file" "$(<"$log")" "handling request from client:"
}

run_tests a_rename_under_the_service_loses_no_line
