# shellcheck shell=bash
# For tests that run the service; sourced, after expect.sh.

# start_service LOG SERVICE TOOL: on a port that nobody uses, in a process group of its own, until LOG
# tells that it listens; $address and $service_pid tell where. Settings are below $place, which also gets
# what it prints.
start_service() {
    local attempt port
    : "${place:?}"
    for attempt in {1..10}; do
        port=$((30000 + RANDOM % 10000))
        address=http://127.0.0.1:$port
        XDG_CONFIG_HOME=$place/config XDG_CONFIG_DIRS=$place/etc TMPDIR=$place/work QT_ASSUME_STDERR_HAS_CONSOLE=1 \
            setsid "$2" 127.0.0.1 "$port" "$3" >"$place/output" 2>&1 </dev/null &
        service_pid=$!
        while kill -0 "$service_pid" 2>/dev/null; do
            ! grep -qs "Running on $address/" "$1" || return 0
            sleep 0.02
        done
    done
    echo "The service did not start (attempt $attempt):" "$(<"$place/output")"
    exit 1
}
