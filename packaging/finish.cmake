# Of Debian's packages, what CPack doesn't write: the field Multi-Arch. A library's cache is renewed by the trigger alone,
# not by scripts.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()
file(STRINGS ${CPACK_PLUGIN_HOST_MULTIARCHS} multiarchs)
foreach(package IN LISTS CPACK_PACKAGE_FILES)
    get_filename_component(name ${package} NAME)
    string(REGEX REPLACE "_.*" "" name ${name})
    set(multiarch ${multiarchs})
    list(FILTER multiarch INCLUDE REGEX "^${name} ")
    string(REPLACE "${name} " "" multiarch "${multiarch}")

    set(tree ${CPACK_TEMPORARY_DIRECTORY}/finish/${name})
    file(REMOVE_RECURSE ${tree})
    file(MAKE_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY}/finish)
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
    file(READ ${tree}/DEBIAN/control control)
    string(STRIP "${control}" control)
    file(WRITE ${tree}/DEBIAN/control "${control}\nMulti-Arch: ${multiarch}\n")
    execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${tree} ${package} OUTPUT_QUIET
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()
