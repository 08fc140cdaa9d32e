#!/usr/bin/env bash
# usage: new_users.sh BUNDLE
# In a root made for it by distributions.sh: clones the bundle and runs ./check for root, who lacks the packages, and then
# for another user.
set -u
bundle=$1
failed=0
useradd --create-home --shell /bin/bash alice
for user in root alice; do
    echo "--- $user"
    runuser --login "$user" --command "git clone --quiet $bundle haldo && cd haldo && ./check" || failed=1
done
exit "$failed"
