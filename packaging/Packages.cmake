# Debian's packages and an archive, by CPack in a build whose prefix is /usr: scripts/package. Each build makes the
# packages of its architecture, and that of i386 also those which are the same for all.

set(packages ${CMAKE_CURRENT_LIST_DIR})
set(debian ${PROJECT_BINARY_DIR}/debian)
set(PLUGIN_HOST_MAINTAINER "plugin-host maintainers <plugin-host@packages.example.org>"
    CACHE STRING "The packages' maintainer, with an address")
# Less than that of a distribution's own packages of the version.
set(PLUGIN_HOST_PACKAGE_RELEASE 0upstream1 CACHE STRING "The packages' number within a version")

# The date of the version is that of its heading in the changelog, in the form of Debian's changelogs.
file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md version_date REGEX "^## ${PROJECT_VERSION} - [0-9-]+$" LIMIT_COUNT 1)
string(REGEX REPLACE "^.* " "" version_date "${version_date}")
execute_process(COMMAND date --utc --date=${version_date} -R
    OUTPUT_VARIABLE version_date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

set(CPACK_PACKAGE_NAME plugin-host)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_FILE_NAME plugin-host-${PROJECT_VERSION}-${PLUGIN_HOST_ARCHITECTURE})
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CONTACT ${PLUGIN_HOST_MAINTAINER})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL "")
set(CPACK_PROJECT_CONFIG_FILE ${packages}/generator.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${packages}/compress.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${packages}/finish.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${PLUGIN_HOST_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(native_architecture i386)
set(program_package plugin-host)
set(program_command "\nAs the command plugin-host, it lists, reports on and tests plug-ins.")
if(PLUGIN_HOST_ARCHITECTURE STREQUAL "x86_64")
    set(native_architecture amd64)
    set(program_package plugin-host-64)
    set(program_command "")
endif()
set(same_version "(= ${PROJECT_VERSION}-${PLUGIN_HOST_PACKAGE_RELEASE})")

# A package of a component, with Debian's own files:
# plugin_host_package(COMPONENT NAME SECTION MULTI-ARCH SUMMARY DESCRIPTION [DEPENDS ...] [RECOMMENDS ...] ...)
macro(plugin_host_package component name section multiarch summary description)
    cmake_parse_arguments(PACKAGE "FOR_ALL" "DEPENDS;RECOMMENDS;SUGGESTS" "CONTROL" ${ARGN})
    string(TOUPPER ${component} upper)
    set(key CPACK_DEBIAN_${upper})
    set(${key}_PACKAGE_NAME ${name})
    set(${key}_PACKAGE_SECTION ${section})
    set(${key}_PACKAGE_ARCHITECTURE ${native_architecture})
    if(PACKAGE_FOR_ALL)
        set(${key}_PACKAGE_ARCHITECTURE all)
    endif()
    set(${key}_DESCRIPTION "${summary}\n${description}")
    set(${key}_PACKAGE_DEPENDS "${PACKAGE_DEPENDS}")
    set(${key}_PACKAGE_RECOMMENDS "${PACKAGE_RECOMMENDS}")
    set(${key}_PACKAGE_SUGGESTS "${PACKAGE_SUGGESTS}")
    set(${key}_PACKAGE_CONTROL_EXTRA "${PACKAGE_CONTROL}")
    string(APPEND multiarchs "${name} ${multiarch}\n")

    # The changelog is its own in each package, the copyright the same.
    set(package_name ${name})
    configure_file(${packages}/changelog.in ${debian}/${name}/changelog @ONLY)
    execute_process(COMMAND gzip -9n INPUT_FILE ${debian}/${name}/changelog
        OUTPUT_FILE ${debian}/${name}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${packages}/copyright ${debian}/${name}/changelog.Debian.gz
        DESTINATION share/doc/${name} COMPONENT debian-${component} EXCLUDE_FROM_ALL)
    if(EXISTS ${packages}/${component}.overrides)
        configure_file(${packages}/${component}.overrides ${debian}/${name}/overrides/${name} @ONLY)
        install(FILES ${debian}/${name}/overrides/${name}
            DESTINATION share/lintian/overrides COMPONENT debian-${component} EXCLUDE_FROM_ALL)
    endif()
    list(APPEND CPACK_COMPONENTS_ALL ${component} debian-${component})
    set(CPACK_COMPONENT_${upper}_GROUP ${component})
    set(CPACK_COMPONENT_DEBIAN-${upper}_GROUP ${component})
endmacro()

plugin_host_package(program ${program_package} sound foreign
    "run audio plug-ins in a process of their own"
    "plugin-host loads VST 2 and VST 3 plug-ins for a music application, renders
their audio in shared memory on real-time threads, and shows their editors.
A plug-in that crashes takes down this process and nothing else.${program_command}"
    DEPENDS "plugin-host-common ${same_version}")
if(TARGET plugin-host-live)
    plugin_host_package(live plugin-host-live sound foreign
        "play audio plug-ins live with JACK"
        "plugin-host-live plays a chain of VST 2 and VST 3 plug-ins, of 32 and 64 bits,
as a client of the JACK server. Each plug-in runs in a process of its own: one
that crashes or is late is bypassed, and the others play on."
        DEPENDS "plugin-host-64 ${same_version}"
        RECOMMENDS "plugin-host, jackd2 | pipewire-jack | jackd"
        SUGGESTS "zita-njbridge")
endif()
plugin_host_package(library libplugin-host-client0 libs same
    "audio plug-ins in processes of their own, for applications"
    "The library starts processes of plugin-host and plays VST 2 and VST 3 plug-ins
in them, of 32 and of 64 bits in an application of either. A plug-in that
crashes doesn't take the application with it."
    RECOMMENDS "plugin-host, plugin-host-64"
    CONTROL ${packages}/triggers)
plugin_host_package(development libplugin-host-client-dev libdevel same
    "audio plug-ins in processes of their own - development files"
    "The headers for C and C++, the static library, the manual page and the files
for pkg-config and CMake of libplugin-host-client."
    DEPENDS "libplugin-host-client0 ${same_version}, libmd-dev"
    RECOMMENDS "plugin-host, plugin-host-64"
    SUGGESTS "plugin-host-doc")
if(PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
    plugin_host_package(common plugin-host-common sound foreign
        "run audio plug-ins in a process of their own - limits"
        "Grants the group audio real-time priority and locked memory, for plugin-host
of 32 and of 64 bits."
        FOR_ALL CONTROL ${packages}/conffiles)
    plugin_host_package(documentation plugin-host-doc doc foreign
        "run audio plug-ins in a process of their own - documents"
        "What authors of applications and maintainers read about plugin-host: the
library for applications, the protocol between application and host, and the
sources of examples."
        FOR_ALL)
    install(FILES ${packages}/95-plugin-host.conf DESTINATION /etc/security/limits.d COMPONENT common EXCLUDE_FROM_ALL)
endif()
file(WRITE ${debian}/multiarch "${multiarchs}")
set(CPACK_PLUGIN_HOST_MULTIARCHS ${debian}/multiarch)

include(CPack)
