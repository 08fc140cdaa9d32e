# shellcheck shell=bash
# usage: lib.sh SCENARIO
# What the native scenarios are written with beside ../scenario.sh. `run` sets $here, $build, $version and $out.

# shellcheck source=tests/scenario.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scenario.sh"
trap 'jobs -p | xargs -r kill' EXIT
mkfifo "$here/never"
: >"$output"

skip() {
    echo "skipped: $1"
    exit 77
}

# The scenario itself
# shellcheck disable=SC1090
. "$1"
