#!/bin/bash
# Every shell script of the project passes shellcheck.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
command -v shellcheck >/dev/null || skip "shellcheck is not installed (scripts/install-dependencies test)"
cd "$here/../.." || exit 1

# A shell script is a file that says so in its first line.
mapfile -t scripts < <(find . \( -name build -o -name .git -o -name node_modules \) -prune \
    -o -type f -size -200k -exec awk 'FNR == 1 && /^#(!.*\/(env )?(ba)?sh$|.*shellcheck shell=)/ { print FILENAME }
        { nextfile }' {} + | sort)

there_are_scripts_to_look_at() {
    expect_part "scripts" "${scripts[*]}" "./scripts/demo"
    expect_part "scripts" "${scripts[*]}" "./.ci/run"
    expect_part "scripts" "${scripts[*]}" "./tests/live/lib.sh"
    expect_part "scripts" "${scripts[*]}" "./tests/scripts/shellchecktest.sh"
}

shellcheck_finds_nothing() {
    shellcheck --external-sources "${scripts[@]}" || fail "see above"
}

run_tests there_are_scripts_to_look_at shellcheck_finds_nothing
