#!/bin/bash
# tests/live/lib.sh: ports, and processes that are started, waited for and ended.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
cd / || exit
# shellcheck source=tests/live/lib.sh
source "$here/../live/lib.sh"

it_enters_the_root_folder() {
    expect "folder" "$(pwd -P)" "$(cd -- "$here/../.." && pwd -P)"
}

somebody_listens() {
    (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

listen='import socket, sys, time
time.sleep(float(sys.argv[2]))
s = socket.create_server(("127.0.0.1", int(sys.argv[1])))
time.sleep(60)'

a_port_is_waited_for_until_somebody_listens() {
    local port pid
    port=$(free_port)
    if somebody_listens "$port"; then fail "somebody listens on the free port $port"; fi
    python3 -c "$listen" "$port" 0.3 &
    pid=$!
    wait_for_port "$port" "$pid" || fail "nobody listens on $port"
    somebody_listens "$port" || fail "$port cannot be connected to"
    end_process "$pid"
    if kill -0 "$pid" 2>/dev/null; then fail "the process still runs"; fi
    if somebody_listens "$port"; then fail "$port is still open"; fi
}

a_process_that_ends_is_not_waited_for() {
    local pid before=$SECONDS
    false &
    pid=$!
    wait "$pid"
    if wait_for_port "$(free_port)" "$pid"; then fail "a process that ended listens"; fi
    ((SECONDS - before < 10)) || fail "it took $((SECONDS - before)) seconds"
}

nothing_to_end_is_no_error() {
    end_process '' || fail "status $?"
    end_process || fail "status $?"
}

run_tests \
    it_enters_the_root_folder \
    a_port_is_waited_for_until_somebody_listens \
    a_process_that_ends_is_not_waited_for \
    nothing_to_end_is_no_error
