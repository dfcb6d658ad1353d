#!/bin/bash
# scripts/try: the list of live tests, and that a name runs its program.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
root=$(cd -- "$here/../.." && pwd)
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
mkdir -p "$place/scripts" "$place/tests/live"
cp "$root/scripts/try" "$place/scripts/"

each_program_is_listed_with_what_it_does_and_takes() {
    local program name listed=0 list
    list=$("$root/scripts/try")
    for program in "$root"/tests/live/*; do
        [[ -f $program && -x $program ]] || continue
        listed=$((listed + 1))
        name=${program##*/}
        expect_part "list" "$list" $'\n'"  $name "
        [[ $(sed -n 2p "$program") == "# "*. ]] || fail "$name does not say in its second line what it does"
        [[ $(sed -n 3p "$program") == "# Takes "*. ]] || fail "$name does not say in its third line what it takes"
    done
    ((listed >= 10)) || fail "only $listed programs were found"
}

each_program_explains_itself() {
    local program output
    for program in "$root"/tests/live/*; do
        [[ -f $program && -x $program ]] || continue
        output=$("$program" --help 2>&1 </dev/null)
        expect "exit status of ${program##*/} --help" "$?" 0
        [[ -n $output ]] || fail "${program##*/} --help prints nothing"
    done
}

a_name_runs_its_program_with_arguments_and_status() {
    local output status
    printf '#!/bin/bash\n# Prints.\n# Takes no time.\nprintf "<%%s>" "$@"\nexit 7\n' >"$place/tests/live/print"
    chmod +x "$place/tests/live/print"
    output=$(cd / && "$place/scripts/try" print "one word" --help)
    status=$?
    expect "output" "$output" "<one word><--help>"
    expect "exit status" "$status" 7
}

what_is_no_program_there_is_rejected() {
    local name output status
    echo 'echo "I am run"' >"$place/tests/live/library.sh"
    for name in nothing library.sh ../../scripts/try .; do
        output=$("$place/scripts/try" "$name" 2>&1)
        status=$?
        expect "exit status for $name" "$status" 2
        expect_part "output for $name" "$output" "there is no '$name'"
    done
}

run_tests \
    each_program_is_listed_with_what_it_does_and_takes \
    each_program_explains_itself \
    a_name_runs_its_program_with_arguments_and_status \
    what_is_no_program_there_is_rejected
