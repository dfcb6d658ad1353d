#!/bin/bash
# Converts one image through vondServer, with curl: upload, convert, follow, fetch. Ctrl-C cancels.
set -euo pipefail

usage() {
    cat <<'END_OF_TEXT'
Usage: convert.sh [OPTION...] IMAGE [RESULT]

  -s URL     where the service is (http://127.0.0.1:8080)
  -c NAME    the configuration to convert with (PressCMYK)
  -u NAME:PASSWORD   for a proxy that asks for it

Without RESULT the result goes beside IMAGE, with the configuration in its name.
Exit status: 0 done; 1 failed, or nobody answers; 2 wrong usage, or IMAGE cannot be read;
130 cancelled with Ctrl-C.
END_OF_TEXT
}

url=http://127.0.0.1:8080 configuration=PressCMYK
# Responses have status 200 even if a conversion fails; any other status comes from the proxy.
curl=(curl --globoff --silent --show-error --fail)
while getopts s:c:u:h option; do
    case $option in
        s) url=${OPTARG%/} ;;
        c) configuration=$OPTARG ;;
        u) curl+=(--user "$OPTARG") ;;
        h) usage; exit 0 ;;
        *) usage >&2; exit 2 ;;
    esac
done
shift $((OPTIND - 1))
[[ $# -eq 1 || $# -eq 2 ]] || { usage >&2; exit 2; }
image=$1
[[ -f $image && -r $image ]] || { echo "convert.sh: cannot read $image" >&2; exit 2; }

file=${image##*/}
suffix=''
[[ ! $file =~ \.[A-Za-z0-9]+$ ]] || suffix=${BASH_REMATCH[0]}
stem=${image%"$suffix"}

# The job's ID is also its cancel ID and the name of the upload. That name must be new: an upload
# replaces a file of the same name, and an older result could be taken for ours. It also spares us
# from encoding the image's own name.
job=$(</proc/sys/kernel/random/uuid)

folder=$(mktemp -d)
# A proxy in front of several services uses a cookie to remember where our upload went. Only the
# upload stores it: parallel calls would read what another one is about to write.
curl+=(--cookie "$folder/cookies")
conversion=''
cancelled=no

ask() {
    "${curl[@]}" "$@"
}

fail() {
    printf 'convert.sh: %s\n' "$1" >&2
    exit 1
}

clean_up() {
    [[ -z $conversion ]] || kill "$conversion" 2>/dev/null || true
    rm -rf "$folder"
}
trap clean_up EXIT

# From here on Ctrl-C stops the tool; the conversion's response then follows.
cancel() {
    cancelled=yes
    trap '' INT
    ask --output "$folder/ignored" "$url/cancelConversion/$job" || kill "$conversion"
}

draw() {
    [[ -t 2 ]] || return 0
    local bar
    printf -v bar '%*s' $(($1 * 40 / 100)) ''
    printf '\r[%-40s] %3d %%' "${bar// /#}" "$1" >&2
}

json_text() {
    local text=${1//\\/\\\\}
    printf '"%s"' "${text//\"/\\\"}"
}

ask --cookie-jar "$folder/cookies" --output "$folder/ignored" \
    --request POST --upload-file "$image" "$url/upload/$job$suffix" \
    || fail "the upload was not taken"

printf '{"fileName": "%s", "reqestID": "%s", "cancelID": "%s", "configuration": %s}' \
    "$job$suffix" "$job" "$job" "$(json_text "$configuration")" >"$folder/request" # spelt so
# Ctrl-C must not end this one: we wait for its response.
(trap '' INT && exec "${curl[@]}" --data-binary @"$folder/request" --output "$folder/answer" "$url/convert") &
conversion=$!
trap cancel INT

while kill -0 "$conversion" 2>/dev/null; do
    progress=$(ask --max-time 5 "$url/progressInfo/$job" 2>/dev/null) || progress=''
    # Several lines may have arrived at once; the last one counts.
    [[ ! $progress =~ .*Progress:\ *([0-9]+) ]] || draw "${BASH_REMATCH[1]}"
    sleep 0.2 || true # Ctrl-C ends it, too
done
status=0
wait "$conversion" || status=$?
conversion=''
[[ ! -t 2 ]] || printf '\r%-49s\r' '' >&2
if [[ $cancelled == yes ]]; then
    echo "convert.sh: cancelled" >&2
    exit 130
fi
((status == 0)) || fail "the conversion was not answered"

# The response is the result's name or what went wrong. What cannot be a name is not requested: a
# proxy would reject it. For the rest, only fetching shows which it is.
answer=$(<"$folder/answer")
words=${answer:-the tool failed without a word}
[[ -n $answer && ${#answer} -le 255 && ! $answer =~ [/\\[:cntrl:]] ]] || fail "$words"
if [[ $answer =~ ^[A-Za-z0-9._-]+$ ]]; then
    name=$answer
else
    name=$(printf '%s' "$answer" | od -An -v -tx1 | tr -d '\n' | tr ' ' %)
fi
code=$(ask --output "$folder/result" --write-out '%{http_code}' "$url/getConversionResult/$name" 2>/dev/null) || true
case $code in
    200) [[ -s $folder/result ]] || fail "$words" ;;
    400 | 404 | 414) fail "$words" ;; # not a name after all
    *) fail "$answer could not be fetched: status $code" ;;
esac
# With the suffix of the result: the tool may have chosen a format other than the image's.
[[ $answer =~ \.[A-Za-z0-9]+$ ]] && suffix=${BASH_REMATCH[0]} || suffix=''
result=${2:-${stem}_${configuration//\//-}$suffix}
mv -- "$folder/result" "$result" || exit 1
echo "$result"
