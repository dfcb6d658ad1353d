#!/bin/bash
# The manual pages, the completion of command words, and what the other documents promise.
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
    command -v mandoc >/dev/null || skip "mandoc is not installed (scripts/install-dependencies test)"
    # Whether referenced pages are installed depends on this machine.
    complaints=$(mandoc -T lint -W all deploy/*.1 2>/dev/null | grep -v 'referenced manual not found')
    expect "complaints" "$complaints" ""
}

the_manual_page_names_every_command() {
    local word page
    page=$(<deploy/vondServer.1)
    local -a words
    mapfile -t words < <(sed -n 's/.*word == "\([A-Za-z]*\)".*/\1/p' src/app/commandline.cpp)
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

every_script_is_said_in_the_contributors_page() {
    local script page
    page=$(<CONTRIBUTING.md)
    for script in scripts/* tests/live/* docs/recording/* console/tools/*; do
        [[ -f $script && -x $script ]] || continue
        script=${script/#tests\/live\//scripts/try }
        [[ $page =~ (^|[^a-z/-])"$script"($|[^a-z/-]) ]] || fail "CONTRIBUTING.md does not name $script"
    done
}

links_between_documents_lead_somewhere() {
    local document target heading links=0
    for document in *.md docs/*.md; do
        while IFS= read -r target; do
            links=$((links + 1))
            heading=${target#*#}
            [[ $target == *#* ]] || heading=''
            target=${target%%#*}
            # A link within a document has no file name.
            target=${target:+${document%/*}/$target}
            [[ $document == */* ]] || target=${target#*/}
            target=${target:-$document}
            [[ -e $target ]] || { fail "$document: there is no $target"; continue; }
            [[ -z $heading ]] || has_heading "$target" "$heading" || fail "$document: $target has no #$heading"
        done < <(grep -oP '\]\(\K(?!https?:)[^)\s]+(?=\))' "$document")
    done
    ((links > 80)) || fail "only $links links were found"
}

# has_heading DOCUMENT ANCHOR: as the viewers of such documents name them, or as the document does
has_heading() {
    grep -qF -- "<a id=\"$2\"" "$1" || grep -qF -- "<a name=\"$2\"" "$1" || sed -n 's/^##* //p' "$1" \
        | tr '[:upper:]' '[:lower:]' | sed -e 's/[^a-z0-9 _-]//g' -e 's/ /-/g' | grep -qxF -- "$2"
}

run_tests \
    manual_pages_are_well_formed \
    the_manual_page_names_every_command \
    command_words_are_completed \
    every_script_is_said_in_the_contributors_page \
    links_between_documents_lead_somewhere
