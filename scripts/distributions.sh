#!/usr/bin/env bash
# usage: scripts/distributions.sh [RELEASE...]
# Runs ./check in a fresh clone of the last commit on each Debian release, on all that are supported or on those named: in a
# root that is made for this and gone afterwards. What it says is kept in build/distributions.
set -u -o pipefail
cd "$(dirname "$0")/.." || exit 1
. scripts/packages.sh

releases=("$@")
if [ $# -eq 0 ]; then
    releases=(bookworm trixie)
fi
need_packages build distributions
output=build/distributions
rm -rf "$output"
mkdir -p "$output"
if [ -n "$(git status --porcelain)" ]; then
    echo "$0: what is not committed is not in the clone" >&2
fi
git bundle create --quiet "$output/haldo.bundle" HEAD || exit

# The hooks run outside of the root, which is their first argument.
check_on() {
    # shellcheck disable=SC2016
    mmdebstrap --quiet --variant=minbase --include=git --format=null \
        --customize-hook="upload $output/haldo.bundle /haldo.bundle" \
        --customize-hook="upload scripts/new_users.sh /new_users.sh" \
        --customize-hook='chroot "$1" bash /new_users.sh /haldo.bundle' "$1" - </dev/null 2>&1
}

summary=
failed=0
for release in "${releases[@]}"; do
    if check_on "$release" | tee "$output/$release.log" | sed -u "s/^/$release: /"; then
        summary+="ok      $release"$'\n'
    else
        summary+="FAILED  $release  $output/$release.log"$'\n'
        failed=1
    fi
done
printf '\n%s' "$summary"
exit "$failed"
