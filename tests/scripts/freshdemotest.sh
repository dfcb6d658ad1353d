#!/bin/bash
# scripts/demo as a newcomer runs it: no arguments, from another folder, twice.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
root=$(cd -- "$here/../.." && pwd)

the_shipped_picture_is_converted_and_a_conversion_cancelled() {
    local run output
    for run in first second; do
        rm -f "$root/build/demo/demo_PressCMYK.jpg"
        output=$(cd / && "$root/scripts/demo" 2>&1)
        expect "exit status of the $run run" "$?" 0
        expect_part "output of the $run run" "$output" "12000 x 8000 pixels, CMYK"
        expect_part "output of the $run run" "$output" "and gave up"
        [[ -s $root/build/demo/demo_PressCMYK.jpg ]] || fail "there is no result after the $run run"
    done
}

run_tests the_shipped_picture_is_converted_and_a_conversion_cancelled
