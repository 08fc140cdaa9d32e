#!/usr/bin/env bash
# usage: new_users.sh BUNDLE
# In a root made for it by distributions.sh: clones the bundle and runs ./check for root, who lacks the packages, and then
# for another user.
set -u
clone="git -c init.defaultBranch=main -c advice.detachedHead=false clone --quiet $1 haldo"
failed=0
useradd --create-home --shell /bin/bash alice
for user in root alice; do
    echo "--- $user"
    runuser --login "$user" --command "$clone && cd haldo && ./check" || failed=1
done
exit "$failed"
