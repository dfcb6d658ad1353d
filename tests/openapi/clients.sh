# shellcheck shell=bash
# For scripts/try openapi; sourced. Clients made by two generators, and those written by hand in
# TypeScript: compiled, and run against the service. The script has these variables:
# shellcheck disable=SC2154
: "${place:?} ${description:?} ${work:?}"

# The compiler has nothing against what the generators make, nor against those who use it.
make_clients() {
    local clients=$place/clients
    rm -rf "$clients"
    cp -R tests/openapi/clients "$clients"
    cp examples/convert.ts "$clients/"
    # The recipe in docs/interface.md, as it stands there.
    # shellcheck disable=SC2016 # no commands, but marks
    sed -n '/^```ts$/,/^```$/{/^```/d;p}' docs/interface.md >"$clients/recipe.ts"
    [[ -s $clients/recipe.ts ]] || { echo "openapi: docs/interface.md has no recipe" >&2; return 1; }
    { "$place/node_modules/.bin/openapi-typescript" "$description" --output "$clients/paths.ts" \
        && "$place/node_modules/.bin/openapi-ts" --input "./$description" --no-log-file --output "$clients/vond" \
            --client @hey-api/client-fetch; } >"$work/generators.log" 2>&1 \
        || { cat "$work/generators.log" >&2; return 1; }
    "$place/node_modules/.bin/tsc" --project "$clients"
}

# The sample tool; with the configuration "Held" it begins when the stop file is there.
write_patient_tool() {
    cat >"$work/tool" <<END_OF_TOOL
#!/bin/bash
if [[ "\$*" == *" -c Held "* ]]; then
    echo "Progress: 10%"
    until [[ -e \${2#--stopfile=} ]]; do sleep 0.05; done
    set -- "\${@/Held/PressCMYK}"
fi
exec "$programs/sampletool/vond-sample" "\$@"
END_OF_TOOL
    chmod 755 "$work/tool"
}

# run_clients PORT: against the service there
run_clients() {
    local address=http://127.0.0.1:$1 compiled=$PWD/$place/clients/out client
    vipsheader -f icc-profile-data "$work/files/inline_sRGB.jpg" | base64 --decode >"$work/profile.icc"
    cp examples/images/demo.jpg "$work/picture.jpg"
    for client in openapi-typescript hey-api; do
        node "$compiled/$client.js" "$address" "$work/picture.jpg" "$work/profile.icc"
    done
    (cd "$work" && VOND=$address node "$compiled/recipe.js" >/dev/null && mv picture_PressCMYK.jpg recipe.jpg \
        && node "$compiled/convert.js" -s "$address" picture.jpg >/dev/null)
    # The same picture by the same tool.
    cmp "$work/recipe.jpg" "$work/picture_PressCMYK.jpg"
    echo "ok      the recipe of docs/interface.md and examples/convert.ts"
}
