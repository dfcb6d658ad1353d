#!/bin/bash
# scripts/lint on a project with two small files: no change may hide behind an earlier result.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
command -v clang-tidy >/dev/null || skip "clang-tidy is not installed (scripts/install-dependencies test)"

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
mkdir "$place/scripts"
cp "$here/../../scripts/lint" "$place/scripts/"
cat >"$place/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
add_library(small STATIC first.cpp second.cpp)
END

clean_project() {
    echo 'int *nowhere();' >"$place/first.h"
    printf '#include "first.h"\nint *nowhere() { return nullptr; }\n' >"$place/first.cpp"
    echo 'int one() { return 1; }' >"$place/second.cpp"
    echo 'Checks: "-*,modernize-use-nullptr"
WarningsAsErrors: "*"
HeaderFilterRegex: ".*"' >"$place/.clang-tidy"
}

# Sets status and output, and count, its last line.
lint() {
    { cmake -S "$place" -B "$place/build" -G Ninja; cmake --build "$place/build"; } \
        >"$place/log" 2>&1 || fail "the project does not build:" "$(tail -n 5 "$place/log")"
    output=$("$place/scripts/lint" "$place/build" 2>&1)
    status=$?
    count=${output##*$'\n'}
}

a_clean_project_passes() {
    clean_project
    lint
    expect "exit status" "$status" 0
    expect_part "both as one text" "$output" "2 sources of .: "
    expect "count" "$count" \
        "2 sources looked at, 0 unchanged since they were clean, 0 with complaints"
}

what_was_clean_is_not_looked_at_again() {
    lint
    expect "exit status" "$status" 0
    expect "output" "$output" \
        "0 sources looked at, 2 unchanged since they were clean, 0 with complaints"
}

a_complaint_in_a_source_fails_every_time() {
    printf '#include "first.h"\nint *nowhere() { return 0; }\n' >"$place/first.cpp"
    local time
    for time in first second; do
        lint
        expect "exit status, $time time" "$status" 1
        expect_part "complaint" "$output" "modernize-use-nullptr"
        expect_part "count" "$output" \
            "1 sources looked at, 1 unchanged since they were clean, 1 with complaints"
    done
    clean_project
}

a_complaint_in_an_included_header_fails() {
    echo 'int *nowhere(); inline int *none() { return 0; }' >"$place/first.h"
    lint
    expect "exit status" "$status" 1
    expect_part "complaint" "$output" "first.h"
    clean_project
}

a_complaint_in_one_of_two_is_about_that_one() {
    echo 'int *none() { return 0; }' >"$place/first.cpp"
    echo 'int two() { return 2; }' >"$place/second.cpp"
    lint
    expect "exit status" "$status" 1
    expect_part "only that one alone" "$output" "2 sources of ., 1 alone: "
    expect_part "complaint" "$output" "$place/first.cpp:1:"
    expect "count" "$count" \
        "2 sources looked at, 0 unchanged since they were clean, 1 with complaints"
    clean_project
    lint
    expect "exit status" "$status" 0
}

a_repeated_include_is_seen_and_a_shared_one_is_none() {
    sed -i 's/-\*,/-*,readability-duplicate-include,/' "$place/.clang-tidy"
    printf '#include "first.h"\nint two() { return 2; }\n' >"$place/second.cpp"
    lint
    expect "exit status" "$status" 0
    expect_part "both as one text" "$output" "2 sources of .: "
    printf '#include "first.h"\n#include "first.h"\nint two() { return 2; }\n' >"$place/second.cpp"
    printf '#include "first.h"\nint one() { return 1; }\n' >"$place/first.cpp"
    lint
    expect "exit status" "$status" 1
    expect_part "complaint" "$output" "duplicate include"
    expect_part "count" "$count" "1 with complaints"
    clean_project
    lint
}

sources_that_do_not_go_together_are_looked_at_alone() {
    printf '#define same 1\nnamespace { int other() { return same; } }\nint one() { return other(); }\n' >"$place/first.cpp"
    printf '#include "first.h"\nnamespace { int other() { return 0; } }\nint two() { return other(); }\n' >"$place/second.cpp"
    lint
    expect "exit status" "$status" 0
    expect_part "both alone" "$output" ", 2 alone"
    printf 'static int same() { return 1; }\nint one() { return same(); }\n' >"$place/first.cpp"
    printf 'static int same() { return 2; }\nint two() { return same(); }\n' >"$place/second.cpp"
    lint
    expect "exit status" "$status" 0
    expect_part "the names show it before" "$output" "[2/2]"
    clean_project
    lint
}

other_checks_look_at_everything_again() {
    sed -i 's/use-nullptr/use-nullptr,modernize-use-trailing-return-type/' "$place/.clang-tidy"
    lint
    expect "exit status" "$status" 1
    expect_part "count" "$output" \
        "2 sources looked at, 0 unchanged since they were clean, 2 with complaints"
    clean_project
}

run_tests \
    a_clean_project_passes \
    what_was_clean_is_not_looked_at_again \
    a_complaint_in_a_source_fails_every_time \
    a_complaint_in_an_included_header_fails \
    a_complaint_in_one_of_two_is_about_that_one \
    a_repeated_include_is_seen_and_a_shared_one_is_none \
    sources_that_do_not_go_together_are_looked_at_alone \
    other_checks_look_at_everything_again
