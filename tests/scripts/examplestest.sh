#!/bin/bash
# examplestest.sh SERVICE SAMPLE_TOOL QT_EXAMPLE: the client examples against the service.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
# shellcheck source=tests/scripts/service.sh
source "$here/service.sh"
readonly service=$1 sample_tool=$2 qt_example=$3 examples=$here/../../examples
for program in curl python3 node esbuild vips vipsheader; do
    command -v "$program" >/dev/null || skip "$program is not installed (scripts/install-dependencies)"
done

place=$(mktemp -d /tmp/vond-examples-test.XXXXXX)
service_pid='' proxy_pid=''
trap '[[ -z $service_pid ]] || kill -- "-$service_pid"; [[ -z $proxy_pid ]] || kill "$proxy_pid"; wait; rm -rf "$place"' EXIT
mkdir "$place/work"
readonly picture="$place/a picture.v1.jpg"
cp "$examples/images/demo.jpg" "$picture"
"$sample_tool" -c PressCMYK "$picture" -o "$place/expected.jpg" >/dev/null || exit 1

# The sample tool; with the configuration "Held" it begins when the stop file exists.
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

# As a Node.js without TypeScript support reads it.
esbuild "$examples/convert.ts" --platform=node --format=cjs --outfile="$place/convert.cjs" \
    --log-level=warning || exit 1

# A proxy that accepts everything, and responds to fetching with a page and the status in $place/status.
cat >"$place/proxy.py" <<'END_OF_PROXY'
import http.server
import pathlib
import sys

place = pathlib.Path(sys.argv[1])


class Proxy(http.server.BaseHTTPRequestHandler):
    def answer(self):
        self.rfile.read(int(self.headers.get("Content-Length", 0)))
        with open(place / "asked", "a") as asked:
            print(self.path, file=asked)
        with open(place / "cookies", "a") as cookies:
            print(self.path.split("/")[1], self.headers.get("Cookie", "none"), file=cookies)
        refuses = self.path.startswith((place / "refused").read_text())
        status = int((place / "status").read_text()) if refuses else 200
        body = (place / "answer").read_bytes() if self.path == "/convert" else b""
        self.send_response(status)
        if self.path.startswith("/upload/"):
            self.send_header("Set-Cookie", "VONDINSTANCE=vond-1; path=/; HttpOnly")
        self.end_headers()
        self.wfile.write(b"<html>A page</html>" if refuses else body)

    do_GET = do_POST = answer

    def log_message(self, *arguments):
        pass


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Proxy)
server.handle_error = lambda *arguments: None  # a client may disconnect before the page's end
print(server.server_port, flush=True)
server.serve_forever()
END_OF_PROXY

# Sets proxy, its address.
start_proxy() {
    python3 -B "$place/proxy.py" "$place" >"$place/proxy-port" &
    proxy_pid=$!
    until [[ -s $place/proxy-port ]]; do
        kill -0 "$proxy_pid" || exit 1
        sleep 0.02
    done
    proxy=http://127.0.0.1:$(<"$place/proxy-port")
}

# client NAME CONFIGURATION IMAGE RESULT: becomes the example, in a process group as at a terminal. Without a RESULT the
# example chooses a name itself; the compiled one does not.
client() {
    local -a command
    case $1 in
        convert.sh) command=("$examples/convert.sh" -s "$address" -c "$2" "${@:3}") ;;
        convert.py) command=("$examples/convert.py" -s "$address" -c "$2" "${@:3}") ;;
        convert.ts) command=(node "$place/convert.cjs" -s "$address" -c "$2" "${@:3}") ;;
        convert-qt) command=("$qt_example" "$address" "$2" "$3" "$4") ;;
    esac
    exec setsid env --default-signal=INT PYTHONDONTWRITEBYTECODE=1 "${command[@]}" >"$place/said" 2>&1
}

readonly clients=(convert.sh convert.py convert.ts convert-qt)

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
        # An example that does not cancel would wait forever; then its status is different.
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
        expect "status of $name" $? 1
        [[ -s $place/said ]] || fail "$name says nothing"
    done
}

each_example_names_its_result_after_what_came() {
    local name
    vips resize "$picture" "$place/a picture.png" 0.05
    for name in convert.sh convert.py convert.ts; do
        rm -f "$place/a picture_PressCMYK."*
        (client "$name" PressCMYK "$place/a picture.png")
        expect "status of $name" $? 0
        expect_part "words of $name" "$(<"$place/said")" "$place/a picture_PressCMYK.tif"
        expect "what $name left" "$(vipsheader -f vips-loader "$place/a picture_PressCMYK.tif" 2>&1)" tiffload
    done
}

# through_proxy NAME ANSWER REFUSED STATUS: the example, when the conversion returns ANSWER, and the proxy has a page
# with STATUS for names that begin with REFUSED
through_proxy() {
    printf '%s' "$2" >"$place/answer"
    printf '%s' "$3" >"$place/refused"
    printf '%s' "$4" >"$place/status"
    : >"$place/asked"
    : >"$place/cookies"
    local address=$proxy
    (client "$1" PressCMYK "$place/proxy.py" "$place/none.jpg")
}

no_example_takes_a_proxys_page_for_a_result() {
    local name status
    for name in "${clients[@]}"; do
        for status in 401 503; do
            through_proxy "$name" result.jpg /getConversionResult/ "$status"
            expect "status of $name" $? 1
            expect_part "words of $name" "$(<"$place/said")" "$status"
        done
        for status in 400 404; do # there is no such name, so it was an explanation
            through_proxy "$name" "No ink left." /getConversionResult/ "$status"
            expect "status of $name" $? 1
            expect_part "words of $name" "$(<"$place/said")" "No ink left."
        done
        through_proxy "$name" result.jpg /upload/ 413
        expect "status of $name" $? 1
        expect "what $name asked for then" "$(grep -c convert "$place/asked")" 0
        [[ ! -e $place/none.jpg ]] || fail "$name left a result"
    done
}

no_example_asks_for_what_cannot_be_a_name() {
    local name words
    for name in "${clients[@]}"; do
        for words in "The input '/tmp/a.jpg' is not a file." $'Two lines\nof words' "C:\\a.jpg" "$(printf '%0300d' 7)"; do
            through_proxy "$name" "$words" /getConversionResult/ 400
            expect "status of $name" $? 1
            expect_part "words of $name" "$(<"$place/said")" "$words"
            expect "what $name fetched" "$(grep /getConversionResult/ "$place/asked")" ""
        done
    done
}

each_example_sends_the_proxys_cookie_along() {
    local name route
    for name in "${clients[@]}"; do
        through_proxy "$name" result.jpg /getConversionResult/ 503
        for route in upload convert getConversionResult; do
            expect "cookie of $name to $route" "$(sed -n "s/^$route //p" "$place/cookies" | sort -u)" \
                "$([[ $route == upload ]] && echo none || echo VONDINSTANCE=vond-1)"
        done
    done
}

a_wrong_call_ends_with_two() {
    local name
    for name in convert.sh convert.py "node $place/convert.cjs"; do
        [[ $name == node* ]] || name=$examples/$name
        # shellcheck disable=SC2086 # two words
        $name >/dev/null 2>&1
        expect "$name without an image" $? 2
        $name --nonsense "$picture" >/dev/null 2>&1
        expect "$name with an unknown option" $? 2
        $name "$place/nowhere.jpg" >/dev/null 2>&1
        expect "$name without that image" $? 2
        $name -h >"$place/said" 2>&1
        expect "$name -h" $? 0
        expect_part "help of $name" "$(tr -s ' \n' ' ' <"$place/said")" \
            "Exit status: 0 done; 1 failed, or nobody answers; 2 wrong usage, or"
        expect_part "help of $name" "$(tr -s ' \n' ' ' <"$place/said")" "130 cancelled"
    done
    "$qt_example" >/dev/null 2>&1
    expect "the compiled one without arguments" $? 2
    "$qt_example" "$address" PressCMYK "$place/nowhere.jpg" "$place/none.jpg" >/dev/null 2>&1
    expect "the compiled one without that image" $? 2
}

start_service "$place/output" "$service" "$place/tool"
start_proxy
run_tests \
    each_example_converts_an_image \
    each_example_tells_why_a_conversion_failed \
    each_example_cancels_when_it_is_interrupted \
    each_example_tells_that_nobody_is_there \
    each_example_names_its_result_after_what_came \
    no_example_takes_a_proxys_page_for_a_result \
    no_example_asks_for_what_cannot_be_a_name \
    each_example_sends_the_proxys_cookie_along \
    a_wrong_call_ends_with_two
