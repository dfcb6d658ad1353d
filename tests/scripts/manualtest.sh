#!/bin/bash
# The manual pages and the completion of command words.
set -u
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=tests/scripts/expect.sh
source "$here/expect.sh"
cd "$here/../.." || exit 1

# complete_words WORD...: what the last word may become
complete_words() {
    bash --norc -c 'source deploy/bash-completion
        COMP_WORDS=(vondServer "$@") COMP_CWORD=$#
        _vondServer
        printf "%s\n" "${COMPREPLY[@]}"' - "$@" | sort | xargs
}

manual_pages_are_well_formed() {
    local complaints
    command -v mandoc >/dev/null || skip "mandoc is not installed (scripts/install-dependencies ops)"
    # Whether pages that are referred to are installed is this machine's business.
    complaints=$(mandoc -T lint -W all deploy/*.1 2>/dev/null | grep -v 'referenced manual not found')
    expect "complaints" "$complaints" ""
}

the_manual_page_names_every_command() {
    local word page
    page=$(<deploy/vondServer.1)
    local -a words
    mapfile -t words < <(sed -n 's/.*word == "\([A-Za-z]*\)".*/\1/p' app/commandline.cpp)
    expect "commands looked for" "${words[*]}" "getTempFolder setTempFolder setLogging setLogFolder"
    for word in "${words[@]}"; do
        expect_part "manual page" "$page" "Cm $word"
        expect_part "completion" "$(<deploy/bash-completion)" "$word"
    done
}

command_words_are_completed() {
    expect "first word" "$(complete_words s)" "setLogFolder setLogging setTempFolder"
    expect "first word" "$(complete_words get)" "getTempFolder"
    expect "switch" "$(complete_words setLogging '')" "0 1"
    expect "folder" "$(complete_words setTempFolder dep)" "deploy"
    expect "no folder is a file" "$(complete_words setLogFolder LICENS)" ""
    expect "nothing after" "$(complete_words getTempFolder '')" ""
    expect "nothing after" "$(complete_words setLogging 1 '')" ""
    expect "port" "$(complete_words 127.0.0.1 '')" 8080
    expect "tool" "$(complete_words 127.0.0.1 8080 LICENS)" LICENSE
}

# The beginnings of what the sources write to a channel, up to the first value in the text.
messages() {
    grep -rhozP '(qDebug\(\)\s*<<\s*|debugLine\(\s*|writeErrorLine\((QByteArrayLiteral\()?\s*|std::cerr\s*<<\s*|const char \*const text =\s*|fprintf\(stderr,\s*|refusal = QStringLiteral\()"\K[^"]+' \
        --include='*.cpp' app settings logging server jobs tool diagnostics \
        | tr '\0' '\n' | sed -e 's/\\n.*//' -e 's/%s.*//' -e 's/ *$//' | sort -u
}

the_operations_page_explains_every_message() {
    local page message
    local -a all
    page=$(<docs/operations.md)
    mapfile -t all < <(messages)
    ((${#all[@]} > 45)) || fail "only ${#all[@]} messages were found in the sources"
    for message in "${all[@]}"; do
        [[ $page == *"$message"* ]] || fail "docs/operations.md does not tell of: $message"
    done
}

run_tests \
    manual_pages_are_well_formed \
    the_manual_page_names_every_command \
    command_words_are_completed \
    the_operations_page_explains_every_message
