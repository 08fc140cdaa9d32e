#!/usr/bin/env bash
# test_installation.sh BUILD WORK: installs BUILD into an empty folder below WORK and looks at it as its users do: the
# administrator who starts the daemon, and the author of a program that uses the link.
set -eu
build=$1
root=$2/installed
daemon=$root/usr/sbin/haldohostswd

fail() {
    echo "FAILED: $*"
    exit 1
}

rm -rf "$root"
DESTDIR=$root cmake --install "$build" --prefix /usr

echo "-- the daemon needs the C library only, and is hardened"
scripts/test_daemon.sh "$daemon"

echo "-- each shell finds haldoctl's completions"
share=$root/usr/share
grep -q '^complete -F _haldoctl haldoctl$' "$share/bash-completion/completions/haldoctl" || fail "bash"
grep -q '^#compdef haldoctl$' "$share/zsh/vendor-completions/_haldoctl" || fail "zsh"
grep -q '^complete -c haldoctl -f$' "$share/fish/vendor_completions.d/haldoctl.fish" || fail "fish"

echo "-- a program builds against the installed link"
consumer=$2/consumer
rm -rf "$consumer"
mkdir -p "$consumer"
cat >"$consumer/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(haldohostswd REQUIRED CONFIG)
add_executable(consumer main.cpp names.cpp)
target_link_libraries(consumer haldo::haldo_link)
END
cat >"$consumer/main.cpp" <<'END'
#include <vesk_haldo_link.h>
#include <vesk_log.h>

int count_of_names();
static int taken = 0;

int main()
{
    vesk_log_set_writer([](eVESK_LOG_LEVEL, const char*, const char*) { ++taken; });
    cVESK_HALDO_LINK link;
    m_log_level = VESK_LOG_OFF;
    if (link.sess_link_get_avail() != VESK_NOT_SUPPORTED)
        return 1;
    return taken != 0 && count_of_names() == 3 ? 0 : 2;
}
END
cat >"$consumer/names.cpp" <<'END'
// What a program may call its own.
int m_log_level = 1;
int filesize(const char*) { return 1; }
int init_logging(int) { return 1; }
int count_of_names() { return m_log_level + filesize("") + init_logging(0); }
END
cmake -S "$consumer" -B "$consumer/build" -G Ninja -DCMAKE_PREFIX_PATH="$PWD/${root#"$PWD/"}/usr"
cmake --build "$consumer/build"
status=0
said=$("$consumer/build/consumer") || status=$?
[ $status -ne 1 ] || fail "the consumer found a card where there is none"
[ $status -eq 0 ] || fail "the consumer's names or the library's messages are not its own"
[ -z "$said" ] || fail "the library printed what the consumer's writer takes: $said"
