#!/bin/bash
# The page's logic, tested without a browser. Exit status 77: skipped.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")"

node=$(command -v node || command -v nodejs) || { echo "skipped: there is no Node.js" >&2; exit 77; }
major=$("$node" --print 'process.versions.node.split(".")[0]')
((major >= 18)) || { echo "skipped: Node.js $major is too old, 18 will do" >&2; exit 77; }

# In one process: starting one for each file would take longer than the tests.
# shellcheck disable=SC2016 # JavaScript expands it
exec "$node" --input-type=module --eval \
    'for (const file of process.argv.slice(1)) await import(`${process.cwd()}/${file}`);' ./*.test.js
