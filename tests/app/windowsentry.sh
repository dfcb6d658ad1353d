#!/bin/bash
# windowsentry.sh compile|run SOURCE_FOLDER VERSION_RESOURCE WORK_FOLDER
# Compiles the Windows entry and the resources with the cross compiler, runs them under wine.
# Ends with 77, after saying why, where this cannot be tried.
set -euo pipefail
export LC_ALL=C.UTF-8

readonly step=$1 sources=$2 version=$3 work=$4
readonly compiler=x86_64-w64-mingw32-g++ resources=x86_64-w64-mingw32-windres
readonly program=$work/windowsentry.exe

skip() {
    echo "skipped: $1"
    exit 77
}

fail() {
    echo "FAIL: $1"
    exit 1
}

compile() {
    command -v "$compiler" >/dev/null \
        || skip "$compiler is not installed (scripts/install-dependencies windows)"
    local -a strict=(-std=c++17 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
        -Wold-style-cast -Werror -I "$sources/src")
    rm -rf "$work"
    mkdir -p "$work"
    "$compiler" "${strict[@]}" -c "$sources/src/app/narrowwords.cpp" -o "$work/narrowwords.o"
    # Calling main() is not standard C++; app/CMakeLists.txt says the same.
    "$compiler" "${strict[@]}" -Wno-pedantic -c "$sources/src/app/winmain.cpp" -o "$work/winmain.o"
    "$compiler" "${strict[@]}" -c "$sources/tests/app/windowsentry.cpp" -o "$work/service.o"
    "$resources" "$version" -O coff -o "$work/version.o"
    "$compiler" -mwindows -static "$work"/{narrowwords,winmain,service,version}.o -o "$program"
    expect_properties
}

# What Windows shows of the program's file, read back from it.
expect_properties() {
    local number property
    number=$(sed -n 's/^ *VERSION \([0-9.]*\)$/\1/p' "$sources/CMakeLists.txt")
    "$resources" -J coff -O rc "$program" >"$work/properties"
    for property in " FILEVERSION ${number//./, }" " PRODUCTVERSION ${number//./, }" \
        "\"FileVersion\", \"$number\"" "\"ProductVersion\", \"$number\"" \
        '"CompanyName", "meridane"' '"OriginalFilename", "vondServer.exe"' '"ProductName", "vondServer"' \
        '1 14 /* RT_GROUP_ICON */' '1 24 /* RT_MANIFEST */'; do
        grep -qF -- "$property" "$work/properties" || fail "the program has no property $property"
    done
}

# What the entry hands over for some words: the number, and the words in hexadecimal.
expect() {
    local count=$1 hexadecimal=$2
    shift 2
    local output status=0
    output=$(wine "$program" "$@" 2>"$work/wine.log" | tr -d '\r'; exit "${PIPESTATUS[0]}") || status=$?
    [[ $status -eq $count && $output == "$hexadecimal" ]] && return
    cat "$work/wine.log"
    fail "$* -> $status words: $output; expected $count words: $hexadecimal"
}

run() {
    [[ -f $program ]] || skip "the entry was not compiled"
    command -v wine >/dev/null || skip "wine is not installed"
    export WINEPREFIX=$work/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" DISPLAY=
    trap 'wineserver --kill || true' EXIT # the one of this folder only

    expect 0 ''
    expect 1 61 a
    expect 3 $'61\n\n6220206322' a '' 'b  c"'
    # The manifest makes the code page UTF-8.
    expect 2 $'66c3bc72\ne28886' für ∆
    expect 2 $'433a5c5c785c\n2d' "C:\\\\x\\" -
}

"$step"
