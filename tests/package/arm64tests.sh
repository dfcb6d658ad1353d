#!/bin/bash
# The arm64 packages under qemu, inside the root that scripts/try arm64 makes.
set -u
cd /source || exit
# shellcheck source=tests/scripts/expect.sh
source tests/scripts/expect.sh

readonly build=build/package-arm64 place=/tmp/vond

# Where the processor can matter: char is unsigned here, and floats, alignment, atomics and system
# calls are other ones. Left out are
# - tests that start programs with QProcess: what it starts them with, a clone() that shares memory
#   and gives a process descriptor, is not what qemu makes of it;
# - tests that inspect processes in /proc, limit their memory or measure processor time: it is qemu's;
# - tests of scripts and pages.
# Threads run on this machine's processor, whose memory order is stricter than that of arm64.
readonly unit_tests=(fieldrulestest requestparsertest responsetest routertest
    base64test localdataplantest uniquefilepathtest vondanswertest writefiletest writefilelinuxtest
    conversionplantest registrytest resulttest
    commandlinetest versionstamptest folderstest
    samplecommandlinetest sampleplantest)
# In Python, on this machine's own processor; the service and its tool are under qemu.
readonly service_tests=(conformancetest smugglingtest)
# Not those that compare with Qt: it reads an escaped byte by the sign of char.
readonly json_tests=(anEscapedByteHasItsSignOnEveryProcessor valuesAreTheLastOfTheirKeys
    whatIsNotThereReadsAsNothing theFirstKeyIsTheFirstOfTheAlphabet)

# The kernel cannot start programs for another processor, and must not be taught to for the whole
# machine: what the tests start is a script that starts qemu.
wrap() {
    [[ -f $1.arm64 ]] || mv "$1" "$1.arm64"
    # shellcheck disable=SC2016 # the script expands it
    printf '#!/bin/sh\nexec qemu-aarch64-static -0 "$0" "$0.arm64" "$@"\n' >"$1"
    chmod 755 "$1"
}

unwrap() {
    [[ ! -f $1.arm64 ]] || mv "$1.arm64" "$1"
}

ask() {
    curl --silent --show-error --max-time 300 "$@"
}

packages_are_for_arm64() {
    local package
    for package in "$build"/packages/*.deb; do
        expect "$package" "$(dpkg-deb -f "$package" Architecture)" arm64
        dpkg-deb -x "$package" "$place"
    done
    for program in vondServer vond-sample; do
        expect_part "$program" "$(file -b "$place/usr/bin/$program")" "ARM aarch64"
        wrap "$place/usr/bin/$program"
    done
}

# What apt would say on such a machine.
their_libraries_exist() {
    apt-get --simulate install "$PWD/$build"/packages/*.deb >"$place/apt.log" 2>&1 \
        || fail "apt-get install:" "$(tail -n 20 "$place/apt.log")"
}

the_packed_service_converts_a_picture() {
    local address='' service answer
    mkdir -p "$place/tmp" "$place/config"
    export XDG_CONFIG_HOME=$place/config XDG_CONFIG_DIRS=$place/none TMPDIR=$place/tmp
    QT_ASSUME_STDERR_HAS_CONSOLE=1 "$place/usr/bin/vondServer" 127.0.0.1 8080 "$place/usr/bin/vond-sample" \
        >"$place/service.log" 2>&1 &
    service=$!
    address=http://127.0.0.1:8080 # nobody else is in this network
    for _ in {1..600}; do
        grep -q "Running on" "$place/service.log" && break
        kill -0 "$service" 2>/dev/null || break
        sleep 0.1
    done
    expect_part "version" "$(ask "$address/vondServerVersion")" "vondServer:"
    expect_part "the tool's" "$(ask "$address/version")" vond-sample
    expect "upload" "$(ask --data-binary @examples/images/demo.jpg "$address/upload/demo.jpg")" '{"ok": true}'
    answer=$(ask --data '{"fileName": "demo.jpg", "reqestID": "job", "configuration": "PressCMYK",
        "cancelID": "stop"}' "$address/convert")
    expect "conversion" "$answer" demo_PressCMYK.jpg
    ask --output "$place/result.jpg" "$address/getConversionResult/demo_PressCMYK.jpg"
    expect_part "result" "$(file -b "$place/result.jpg")" "components 4"
    kill "$service"
    wait "$service" 2>/dev/null
}

quick_tests_pass() {
    local name
    # In the folder of the packages: the libraries under test are those that were packed.
    built_programs | while read -r name; do unwrap "$name"; done
    cmake -D BUILD_TESTING=ON "$build" >"$place/configure.log" 2>&1 || { fail "$(tail "$place/configure.log")"; return; }
    cmake --build "$build" --target vondServer vond-sample faketool jsontexttest "${unit_tests[@]}" \
        >"$place/build.log" 2>&1 || { fail "$(tail -n 40 "$place/build.log")"; return; }
    built_programs | while read -r name; do wrap "$name"; done
    ctest --test-dir "$build" --output-on-failure --no-tests=error --timeout 300 \
        -R "^($(IFS='|'; echo "${unit_tests[*]}"))$" >"$place/tests.log" 2>&1 || fail "$(<"$place/tests.log")"
    grep -E "^ *[0-9]+/[0-9]+ |tests passed" "$place/tests.log"
    expect_part "number of tests" "$(<"$place/tests.log")" "out of ${#unit_tests[@]}"
    # The words that CTest starts it with, each in quotes where it needs them.
    name=$(ctest --test-dir "$build" --show-only -V -R '^jsontexttest$' | sed -n 's/.*Test command: //p')
    eval "$name ${json_tests[*]}" >"$place/json.log" 2>&1 || fail "$name" "$(<"$place/json.log")"
    expect_part "tests of JSON, and their beginning and end" "$(<"$place/json.log")" "Totals: $((${#json_tests[@]} + 2)) passed, 0 failed"
    # CTest would have qemu start Python, too.
    for name in "${service_tests[@]}"; do
        python3 -B "tests/service/$name.py" "$(built vondServer)" "$(built faketool)" >"$place/$name.log" 2>&1 \
            || fail "$name:" "$(tail -n 40 "$place/$name.log")"
        echo "$name: $(tail -n 1 "$place/$name.log")"
    done
    built_programs | while read -r name; do unwrap "$name"; done
}

# What the service tests start; scripts replace them while tests run.
built_programs() {
    find "$build" -type f -executable \( -name vondServer -o -name vond-sample -o -name faketool \) -not -path '*_CPack_*'
}

built() {
    built_programs | grep "/$1$"
}

rm -rf "$place"
mkdir -p "$place"
run_tests \
    packages_are_for_arm64 \
    their_libraries_exist \
    the_packed_service_converts_a_picture \
    quick_tests_pass
