#!/bin/bash
# demotest.sh BUILD_FOLDER: scripts/demo with the programs of that build folder, and with some that fail.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
for program in curl vips vipsheader; do
    command -v "$program" >/dev/null || skip "$program is not installed (scripts/install-dependencies demo)"
done

built=$1
demo=$here/../../scripts/demo
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
results=$place/results

# A picture that converts quickly, but is large enough that the tool reports progress more than once.
picture=$place/picture.jpg
vips resize "$here/../../examples/images/demo.jpg" "$picture" 0.25 || exit 1

# The settings of the person who runs the demo.
mkdir -p "$place/home/.config/meridane"
printf '[General]\nTempFolder=/the/folder/of/the/caller\nServerLogging=true\n' \
    >"$place/home/.config/meridane/vondServer.conf"

state_of_home() {
    (cd "$place/home" && find . -type f -exec sha256sum {} + && find . | sort)
}

# Every process that the demo starts inherits this, whatever its name.
mark="VOND_DEMO_TEST=$place"

left_processes() {
    grep --files-with-matches --null-data --line-regexp --fixed-strings "$mark" /proc/[0-9]*/environ \
        2>/dev/null | cut -d/ -f3
}

# Otherwise background processes would ignore Ctrl-C.
demo_environment=(env --default-signal=INT -u XDG_CONFIG_HOME HOME="$place/home" TERM=dumb "$mark")

# demo FOLDER ARGUMENT...: sets status and output (both channels).
demo() {
    local folder=$1
    shift
    output=$("${demo_environment[@]}" "$demo" --build-folder "$folder" --output "$results" "$@" 2>&1)
    status=$?
}

# The built programs with one of them replaced: replace FOLDER PROGRAM TEXT
replace() {
    mkdir -p "$place/$1/app" "$place/$1/sampletool"
    ln -s "$built/app/vondServer" "$place/$1/app/vondServer"
    ln -s "$built/sampletool/vond-sample" "$place/$1/sampletool/vond-sample"
    rm "$place/$1/$2"
    printf '#!/bin/bash\n%s\n' "$3" >"$place/$1/$2"
    chmod +x "$place/$1/$2"
}

# Reads one property of a picture, by its vips name.
header_of() {
    vipsheader -f "$2" "$1" 2>&1
}

expect_cmyk() {
    expect "colours" "$(header_of "$1" interpretation)" "((VipsInterpretation) VIPS_INTERPRETATION_CMYK)"
}

expect_nothing_left() {
    expect "processes that still run" "$(left_processes)" ""
    expect "folders of the run" "$(find "$results" -mindepth 1 -type d 2>/dev/null)" ""
}

two_runs_in_a_row_give_a_cmyk_picture() {
    local home run
    home=$(state_of_home)
    for run in first second; do
        rm -rf "$results"
        demo "$built" "$picture"
        expect "exit status of the $run run" "$status" 0
        expect_part "output" "$output" "The result is $results/picture_PressCMYK.jpg"
        expect_part "output" "$output" "1500 x 1000 pixels, CMYK, profile \"Chemical proof\""
        expect_cmyk "$results/picture_PressCMYK.jpg"
        expect "width" "$(header_of "$results/picture_PressCMYK.jpg" width)" 1500
        expect "files" "$(cd "$results" && echo *)" "picture_PressCMYK.jpg service.log"
        expect_nothing_left
    done
    expect "the caller's home folder" "$(state_of_home)" "$home"
}

a_conversion_is_cancelled_through_its_stop_file() {
    # The second conversion waits for its stop file; what it does then is the sample tool's business.
    # shellcheck disable=SC2016 # expanded by the program written here
    replace patient sampletool/vond-sample 'if mkdir "${0%/*}/called" 2>/dev/null || [[ $1 != --progress ]]; then
    exec '"${built@Q}"'/sampletool/vond-sample "$@"
fi
echo "Progress: 12%"
while [[ ! -e ${2#--stopfile=} ]]; do sleep 0.02; done
exec '"${built@Q}"'/sampletool/vond-sample "$@"'
    demo "$place/patient" "$picture"
    expect "exit status" "$status" 0
    expect_part "progress" "$output" "   12 %"
    expect_part "output" "$output" "and gave up"
    local folder=${output#*"temporary folder:"}
    expect_part "temporary folder" "$folder" $'\n     picture.jpg\n     picture_PressCMYK.jpg\n     stop-'
    [[ $folder != *_1.jpg* ]] || fail "the cancelled conversion left a file: $folder"
    expect_nothing_left
}

a_png_gives_a_tiff() {
    vips copy "$picture" "$place/drawing.png"
    demo "$built" "$place/drawing.png"
    expect "exit status" "$status" 0
    expect_part "output" "$output" "The result is $results/drawing_PressCMYK.tif"
    expect_part "output" "$output" "The tool keeps it as .tif: .png cannot hold these colours."
    expect_cmyk "$results/drawing_PressCMYK.tif"
    expect_nothing_left
}

a_redirected_build_shows_its_progress() {
    expect "what is shown" "$(printf '%s\n' '[  4%] a' '[  9%] b' '[ 10%] c' 'd.cpp:1: error: e' '[ 57%] f' \
        '[ 58%] g' '[100%] h' 'ninja: no work to do.' | PYTHONPATH=$here/../../scripts/lib python3 -B -c \
        'import demo, sys; print(*demo.every_ten_percent(line.rstrip("\n") for line in sys.stdin), sep="\n")')" \
        "   4 % built"$'\n'"   10 % built"$'\n'"d.cpp:1: error: e"$'\n'"   57 % built"$'\n'"   100 % built"
}

a_name_with_quotes_blanks_and_letters_of_other_languages_is_sent_whole() {
    local name="it's \"Größe\" 50% b\\c #1 & co"
    cp "$picture" "$place/$name.jpg"
    demo "$built" "$place/$name.jpg"
    expect "exit status" "$status" 0
    expect_cmyk "$results/${name}_PressCMYK.jpg"
    expect_nothing_left
}

a_name_that_json_cannot_carry_is_replaced() {
    cp "$picture" "$place/"$'two\nlines.jpg'
    demo "$built" "$place/"$'two\nlines.jpg'
    expect "exit status" "$status" 0
    expect_cmyk "$results/image_PressCMYK.jpg"
}

what_is_no_readable_picture_is_rejected() {
    demo "$built" "$place/nowhere.jpg"
    expect "exit status, no file" "$status" 2
    expect_part "message, no file" "$output" "there is no file $place/nowhere.jpg"
    demo "$built" "$place"
    expect "exit status, folder" "$status" 2
    expect_part "message, folder" "$output" "is no file that can be read"
    echo "This is a text." >"$place/text.jpg"
    demo "$built" "$place/text.jpg"
    expect "exit status, text" "$status" 1
    expect_part "message, text" "$output" "$place/text.jpg is no image"
    expect_nothing_left
}

missing_programs_are_reported() {
    demo "$place/home" "$picture"
    expect "exit status" "$status" 1
    expect_part "message" "$output" "There is no program $place/home/app/vondServer."
}

a_port_that_is_taken_leads_to_another_port() {
    # The first attempt to serve finds its port taken.
    # shellcheck disable=SC2016 # expanded by the program written here
    replace taken app/vondServer '[[ $1 == setTempFolder ]] || ! mkdir "${0%/*}/tried" 2>/dev/null \
    || exec '"${built@Q}"'/app/vondServer "$1" '"$taken_port"' "$3"
exec '"${built@Q}"'/app/vondServer "$@"'
    demo "$place/taken" "$picture"
    expect "exit status" "$status" 0
    [[ -d $place/taken/app/tried ]] || fail "the port was never taken"
    expect_part "output" "$output" "The result is $results/picture_PressCMYK.jpg"
    expect_nothing_left
}

a_service_that_does_not_start_is_reported() {
    # shellcheck disable=SC2016 # expanded by the program written here
    replace broken app/vondServer '[[ $1 == setTempFolder ]] || { echo "no such luck" >&2; exit 3; }'
    demo "$place/broken" "$picture"
    expect "exit status" "$status" 1
    expect_part "message" "$output" "The service did not start"
    expect_part "message" "$output" "no such luck"
    expect_nothing_left
}

a_service_that_dies_during_a_conversion_is_reported() {
    # shellcheck disable=SC2016 # expanded by the program written here
    replace deadly sampletool/vond-sample 'kill -KILL $PPID'
    demo "$place/deadly" "$picture"
    expect "exit status" "$status" 1
    expect_part "message" "$output" "The service ended unexpectedly. Its last words:"
    expect_part "message" "$output" "convert reqestID:"
    expect_nothing_left
}

a_failed_conversion_shows_the_words_of_the_tool() {
    # shellcheck disable=SC2016 # expanded by the program written here
    replace refusing sampletool/vond-sample 'echo "We are out of magenta."; echo "Error: magenta" >&2'
    demo "$place/refusing" "$picture"
    expect "exit status" "$status" 1
    expect_part "message" "$output" "There is no result. What the tool said: We are out of magenta."
    expect_nothing_left
}

# Starts the demo with a tool that never ends, and sends it the signal once it waits for that tool.
interrupted() {
    local signal=$1 expected=$2
    rm -f "$place/talk"
    "${demo_environment[@]}" "$demo" --build-folder "$place/endless" --output "$results" "$picture" \
        >"$place/talk" 2>&1 &
    local pid=$! try
    for try in {1..600}; do
        [[ ! -e $place/endless/sampletool/called ]] || break
        sleep 0.05
    done
    [[ -e $place/endless/sampletool/called ]] || fail "the tool was never called (try $try)"
    kill -s "$signal" "$pid"
    wait "$pid"
    expect "exit status after $signal" "$?" "$expected"
    expect_nothing_left
}

stopped_in_the_middle_it_leaves_nothing() {
    # shellcheck disable=SC2016 # expanded by the program written here
    replace endless sampletool/vond-sample 'echo "Progress: 5%"; touch "${0%/*}/called"; exec sleep 1000'
    interrupted TERM 143
    rm "$place/endless/sampletool/called"
    interrupted INT 130
}

# A port that another service occupies as long as this program runs.
listen_somewhere() {
    local try
    for try in {1..50}; do
        taken_port=$((10000 + RANDOM % 10000))
        XDG_CONFIG_HOME="$place/listener" QT_ASSUME_STDERR_HAS_CONSOLE=1 \
            "$built/app/vondServer" 127.0.0.1 "$taken_port" "$built/sampletool/vond-sample" \
            >"$place/listener.log" 2>&1 &
        listener=$!
        while kill -0 "$listener" 2>/dev/null; do
            ! grep -q "Running on" "$place/listener.log" || return 0
            sleep 0.02
        done
    done
    skip "found no free port in $try attempts"
}
listen_somewhere
trap 'kill "$listener"; rm -rf "$place"' EXIT

run_tests \
    two_runs_in_a_row_give_a_cmyk_picture \
    a_conversion_is_cancelled_through_its_stop_file \
    a_png_gives_a_tiff \
    a_redirected_build_shows_its_progress \
    a_name_with_quotes_blanks_and_letters_of_other_languages_is_sent_whole \
    a_name_that_json_cannot_carry_is_replaced \
    what_is_no_readable_picture_is_rejected \
    missing_programs_are_reported \
    a_port_that_is_taken_leads_to_another_port \
    a_service_that_does_not_start_is_reported \
    a_service_that_dies_during_a_conversion_is_reported \
    a_failed_conversion_shows_the_words_of_the_tool \
    stopped_in_the_middle_it_leaves_nothing
