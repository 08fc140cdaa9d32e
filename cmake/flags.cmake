# What every room is built with, and what product code must meet on top.

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # Logs above 2 GiB and times after 2038, as with 64 bits.
    add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()
if(HALDO_HARDEN)
    include(CheckCXXCompilerFlag)
    include(CheckPIESupported)
    check_pie_supported()
    add_compile_options(-fstack-protector-strong -fstack-clash-protection)
    # Each processor's own guard of jumps and returns.
    foreach(flag IN ITEMS -fcf-protection -mbranch-protection=standard)
        string(MAKE_C_IDENTIFIER "has${flag}" has_flag)
        check_cxx_compiler_flag(${flag} ${has_flag})
        if(${has_flag})
            add_compile_options(${flag})
            break()
        endif()
    endforeach()
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

# Product code: the daemon, the device handle, the link and the log. The C++ runtime is not linked, so nothing of it
# may be needed: no exceptions, no run-time types, no guarded statics.
add_library(product INTERFACE)
target_compile_options(product INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror
    -fno-exceptions -fno-rtti -fno-threadsafe-statics
    # What a program does not use of the libraries is left out when it is linked, and none of it shows from outside.
    -ffunction-sections -fdata-sections -fvisibility=hidden
    $<$<BOOL:${HALDO_SANITIZE}>:-O2> # as much the code that ships as sanitizers leave of it
    # Text is kept in buffers of fixed size, and cut where it is longer: that is meant.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-format-truncation>)
