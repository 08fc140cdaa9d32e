# public_headers(TARGET HEADER...): whoever links the target sees these headers, and no other file that lies beside them: a
# folder of the target's own has a header for each, which includes it.
function(public_headers target)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/public/${target})
    foreach(header IN LISTS ARGN)
        cmake_path(ABSOLUTE_PATH header)
        cmake_path(GET header FILENAME name)
        file(CONFIGURE OUTPUT ${folder}/${name} CONTENT "#include \"${header}\"\n" @ONLY)
    endforeach()
    target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${folder}>)
endfunction()

# install_library(TARGETS target... HEADERS header...): for programs outside, which see all headers in one folder.
function(install_library)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "TARGETS;HEADERS")
    install(TARGETS ${arg_TARGETS} EXPORT haldohostswd INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/haldo)
    install(FILES ${arg_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/haldo)
endfunction()
