# Writes OUTPUT, a header with the build id of SOURCE_DIR: the commit, or "unknown" outside a git checkout. Run at every
# build; the file changes only when the id does.
cmake_minimum_required(VERSION 3.25)
set(id unknown)
find_program(GIT git)
if(GIT AND EXISTS ${SOURCE_DIR}/.git)
    execute_process(COMMAND ${GIT} -C ${SOURCE_DIR} describe --always --dirty --abbrev=12 --exclude=*
                    OUTPUT_VARIABLE described RESULT_VARIABLE failed OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(NOT failed)
        set(id ${described})
    endif()
endif()
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "#pragma once\n\n#define HALDO_BUILD_ID \"@id@\"\n" @ONLY)
