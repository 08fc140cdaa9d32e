# shellcheck shell=bash
# Sourced by ./demo and ./check: makes sure that the Debian packages they need are there.
# By itself, with names of groups, it does so for them: scripts/packages.sh build tools

declare -A packages=(
    [build]="g++ cmake ninja-build git pkg-config libgtest-dev libfuse3-dev libseccomp-dev libbenchmark-dev"
    [tools]="libcli11-dev nlohmann-json3-dev libpng-dev"
    [guest]="user-mode-linux busybox-static procps bsdutils mount python3"
    [check]="clang libclang-rt-dev clang-format shellcheck gcovr man-db python3 python3-jsonschema valgrind zsh fish"
    [cross]="g++-aarch64-linux-gnu g++-arm-linux-gnueabihf g++-s390x-linux-gnu googletest qemu-user"
    [bench]="python3 valgrind strace"
    [distributions]="mmdebstrap uidmap"
)

# need_packages GROUP...: installs those that are missing, or says what is needed and ends the script.
need_packages() {
    local distribution group names package needed=() missing=() as_root=()
    if [ -n "${HALDO_PACKAGES_INSTALLED:-}" ]; then
        return
    fi
    for group; do
        read -ra names <<<"${packages[$group]}"
        needed+=("${names[@]}")
    done
    # shellcheck source=/dev/null
    distribution=$(. /etc/os-release 2>/dev/null && echo "${ID:-unknown}")
    if [ "$distribution" != debian ]; then
        echo "$0: packages are installed on Debian only, and this is '$distribution'. Install what corresponds to" >&2
        echo "  ${needed[*]}" >&2
        echo "and run it again with HALDO_PACKAGES_INSTALLED=1." >&2
        exit 1
    fi
    for package in "${needed[@]}"; do
        if [ "$(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null)" != "ii " ]; then
            missing+=("$package")
        fi
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return
    fi
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "$0: these packages are missing, and there is no sudo to install them with:" >&2
            echo "  apt-get install --no-install-recommends ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo)
    fi
    echo "Installing Debian packages, which may take a minute: ${missing[*]}"
    if ! { "${as_root[@]}" apt-get -qq update &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get -qq install --no-install-recommends "${missing[@]}"; } </dev/null >/dev/null; then
        echo "$0: these packages could not be installed. An administrator can do it with:" >&2
        echo "  apt-get install --no-install-recommends ${missing[*]}" >&2
        exit 1
    fi
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
    need_packages "$@"
fi
