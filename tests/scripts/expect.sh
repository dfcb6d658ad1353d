# shellcheck shell=bash
# For the tests of the scripts; sourced. A test is a function; it fails by calling expect or fail.

fail() {
    printf '   %s\n' "$@"
    broken=yes
}

# expect WHAT ACTUAL EXPECTED
expect() {
    [[ $2 == "$3" ]] || fail "$1" "  is:        $2" "  should be: $3"
}

# expect_part WHAT TEXT PART: PART occurs in TEXT
expect_part() {
    [[ $2 == *"$3"* ]] || fail "$1" "  is:          $2" "  should hold: $3"
}

# Runs the named functions, one after the other, and exits with their outcome.
run_tests() {
    local name outcome=0
    for name in "$@"; do
        broken=no
        "$name"
        if [[ $broken == yes ]]; then
            echo "FAIL $name"
            outcome=1
        else
            echo "PASS $name"
        fi
    done
    exit "$outcome"
}

# This machine lacks what the whole test program needs; CTest shows it as skipped.
skip() {
    echo "SKIP $1"
    exit 77
}
