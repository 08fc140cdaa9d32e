# What every room is built with, and what product code must meet on top.

if(HALDO_HARDEN)
    include(CheckPIESupported)
    check_pie_supported()
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection)
    add_compile_definitions(_FORTIFY_SOURCE=2)
    add_link_options(-Wl,-z,relro,-z,now)
endif()
if(HALDO_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
if(HALDO_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# Across sources: a link operation is then one function down to ioctl, and the daemon holds what it uses and no more.
# The libraries carry ordinary objects beside, for other compilers and for the tests, which replace calls between sources.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_BUILD_TYPE STREQUAL Release)
    set(product_lto -flto=auto -ffat-lto-objects)
endif()

# Product code: the daemon, the device handle, the link and the log. The C++ runtime is not linked, so nothing of it
# may be needed: no exceptions, no run-time types, no guarded statics.
add_library(product INTERFACE)
target_compile_options(product INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror
    -fno-exceptions -fno-rtti -fno-threadsafe-statics
    ${product_lto}
    # Text is kept in buffers of fixed size, and cut where it is longer: that is meant.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-format-truncation>)
