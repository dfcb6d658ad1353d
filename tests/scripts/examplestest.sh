#!/bin/bash
# examplestest.sh SERVICE SAMPLE_TOOL QT_EXAMPLE: the client examples against the service.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
readonly service=$1 sample_tool=$2 qt_example=$3 examples=$here/../../examples
for program in curl python3; do
    command -v "$program" >/dev/null || skip "$program is not installed (scripts/install-dependencies)"
done

place=$(mktemp -d /tmp/vond-examples-test.XXXXXX)
service_pid=''
trap '[[ -z $service_pid ]] || kill -- "-$service_pid"; wait; rm -rf "$place"' EXIT
mkdir "$place/work"
readonly picture="$place/a picture.v1.jpg"
cp "$examples/images/demo.jpg" "$picture"
"$sample_tool" -c PressCMYK "$picture" -o "$place/expected.jpg" >/dev/null || exit 1

# The sample tool; with the configuration "Held" it begins when the stop file is there.
cat >"$place/tool" <<END_OF_TOOL
#!/bin/bash
if [[ "\$*" == *" -c Held "* ]]; then
    echo "Progress: 10%"
    touch "$place/held"
    until [[ -e \${2#--stopfile=} ]]; do sleep 0.05; done
    set -- "\${@/Held/PressCMYK}"
    touch "$place/stopped"
fi
exec "$sample_tool" "\$@"
END_OF_TOOL
chmod 755 "$place/tool"

start_service() {
    local attempt port
    for attempt in {1..10}; do
        port=$((30000 + RANDOM % 10000))
        XDG_CONFIG_HOME=$place/config XDG_CONFIG_DIRS=$place/none TMPDIR=$place/work \
            QT_ASSUME_STDERR_HAS_CONSOLE=1 setsid "$service" 127.0.0.1 "$port" "$place/tool" \
            >"$place/output" 2>&1 </dev/null &
        service_pid=$!
        address=http://127.0.0.1:$port
        while kill -0 "$service_pid" 2>/dev/null; do
            ! grep -qs "Running on $address/" "$place/output" || return 0
            sleep 0.02
        done
    done
    echo "The service did not start (attempt $attempt):" "$(<"$place/output")"
    exit 1
}

# client NAME CONFIGURATION IMAGE RESULT: becomes the example, in a process group as at a terminal
client() {
    local -a command
    case $1 in
        convert.sh) command=("$examples/convert.sh" -s "$address" -c "$2" "$3" "$4") ;;
        convert.py) command=("$examples/convert.py" -s "$address" -c "$2" "$3" "$4") ;;
        convert-qt) command=("$qt_example" "$address" "$2" "$3" "$4") ;;
    esac
    exec setsid env --default-signal=INT PYTHONDONTWRITEBYTECODE=1 "${command[@]}" >"$place/said" 2>&1
}

readonly clients=(convert.sh convert.py convert-qt)

each_example_converts_an_image() {
    local name
    for name in "${clients[@]}"; do
        (client "$name" PressCMYK "$picture" "$place/$name.jpg")
        expect "status of $name" $? 0
        expect_part "last words of $name" "$(<"$place/said")" "$place/$name.jpg"
        cmp "$place/$name.jpg" "$place/expected.jpg" || fail "$name left another picture"
    done
}

each_example_tells_why_a_conversion_failed() {
    local name
    echo "no picture" >"$place/text.jpg"
    for name in "${clients[@]}"; do
        (client "$name" PressCMYK "$place/text.jpg" "$place/none.jpg")
        expect "status of $name" $? 1
        expect_part "words of $name" "$(<"$place/said")" "cannot be read as a TIFF, JPEG or PNG picture"
        (client "$name" NoSuchThing "$picture" "$place/none.jpg")
        expect "status of $name" $? 1
        expect_part "words of $name" "$(<"$place/said")" NoSuchThing
        [[ ! -e $place/none.jpg ]] || fail "$name left a result"
    done
}

each_example_cancels_when_it_is_interrupted() {
    local name pid deadline
    for name in "${clients[@]}"; do
        rm -f "$place/held" "$place/stopped"
        client "$name" Held "$picture" "$place/none.jpg" &
        pid=$!
        deadline=$((SECONDS + 20))
        until [[ -e $place/held ]]; do
            ((SECONDS < deadline)) || { fail "$name did not begin" "$(<"$place/said")"; return; }
            sleep 0.05
        done
        kill -INT -- "-$pid" # Ctrl-C reaches the whole group
        # Whoever does not cancel would wait for ever; then its status is another one.
        (sleep 20; kill -KILL -- "-$pid") >/dev/null 2>&1 &
        local watch=$!
        wait "$pid"
        expect "status of $name" $? 130
        kill "$watch" 2>/dev/null
        expect_part "words of $name" "$(<"$place/said")" cancelled
        [[ -e $place/stopped ]] || fail "$name did not reach the tool"
        [[ ! -e $place/none.jpg ]] || fail "$name left a result"
    done
}

each_example_tells_that_nobody_is_there() {
    local name address=http://127.0.0.1:9 # nothing listens there
    for name in "${clients[@]}"; do
        (client "$name" PressCMYK "$picture" "$place/none.jpg")
        [[ $? -ne 0 && -s $place/said ]] || fail "$name took nothing for a service"
    done
}

start_service
run_tests \
    each_example_converts_an_image \
    each_example_tells_why_a_conversion_failed \
    each_example_cancels_when_it_is_interrupted \
    each_example_tells_that_nobody_is_there
