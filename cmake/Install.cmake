# What `cmake --install` brings, in the components program, live, library, development and documentation.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The program has its architecture's folder, so that one prefix can have both.
set(program_folder ${CMAKE_INSTALL_LIBDIR}/plugin-host)
install(TARGETS plugin-host DESTINATION ${program_folder} COMPONENT program)

# The command plugin-host is the program of 32 bits where packages bring both.
set(command_component command)
if(PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
    set(command_component program)
endif()
set(command ${PROJECT_BINARY_DIR}/installed/plugin-host)
file(RELATIVE_PATH command_target /${CMAKE_INSTALL_BINDIR} /${program_folder}/plugin-host)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/installed)
file(CREATE_LINK ${command_target} ${command} SYMBOLIC)
install(FILES ${command} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${command_component})
install(FILES docs/plugin-host.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${command_component})

if(TARGET plugin-host-live)
    install(TARGETS plugin-host-live DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT live)
    install(FILES docs/plugin-host-live.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT live)
endif()

install(TARGETS plugin-host-client LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
    NAMELINK_COMPONENT development)

if(TARGET plugin-host-client-static)
    install(TARGETS plugin-host-client-static ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()
install(DIRECTORY library/include/plugin-host DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN *.h PATTERN *.hpp)
install(FILES docs/plugin-host-client.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)

# A path below the prefix, seen from another.
function(plugin_host_relative variable from to)
    file(RELATIVE_PATH path /prefix/${from} /prefix/${to})
    string(REGEX REPLACE "/$" "" path "${path}")
    set(${variable} ${path} PARENT_SCOPE)
endfunction()

# The programs as the installed files refer to them: from the prefix, unless they were configured elsewhere.
foreach(width 32 64)
    file(RELATIVE_PATH program_${width} ${CMAKE_INSTALL_PREFIX} ${PLUGIN_HOST_PROGRAM_${width}})
    set(pc_program_${width} "\${top}/${program_${width}}")
    set(cmake_program_${width} "\${plugin-host_PREFIX}/${program_${width}}")
    if(program_${width} MATCHES "^\\.\\./")
        set(pc_program_${width} ${PLUGIN_HOST_PROGRAM_${width}})
        set(cmake_program_${width} ${PLUGIN_HOST_PROGRAM_${width}})
    endif()
endforeach()

set(package_config_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/plugin-host)
plugin_host_relative(pc_prefix ${package_config_folder} .)
plugin_host_relative(cmake_prefix ${cmake_folder} .)
configure_file(packaging/plugin-host-client.pc.in installed/plugin-host-client.pc @ONLY)
configure_file(packaging/plugin-host-config.cmake.in installed/plugin-host-config.cmake @ONLY)
# A project of the other architecture passes over this package.
block()
    set(CMAKE_SIZEOF_VOID_P 8)
    if(PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
        set(CMAKE_SIZEOF_VOID_P 4)
    endif()
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/installed/plugin-host-config-version.cmake
        COMPATIBILITY SameMajorVersion)
endblock()
install(FILES ${PROJECT_BINARY_DIR}/installed/plugin-host-client.pc DESTINATION ${package_config_folder}
    COMPONENT development)
install(FILES
    ${PROJECT_BINARY_DIR}/installed/plugin-host-config.cmake
    ${PROJECT_BINARY_DIR}/installed/plugin-host-config-version.cmake
    DESTINATION ${cmake_folder} COMPONENT development)

install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
    PATTERN "*.[13]" EXCLUDE PATTERN __pycache__ EXCLUDE)
