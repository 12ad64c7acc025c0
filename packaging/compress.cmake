# Before Debian's packages are made of the folders of CPACK_TEMPORARY_DIRECTORY: what they have differently.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()
file(GLOB pages ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man?/*.[1-9])
# The licence is in each package's copyright file, by reference.
file(GLOB licences ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/plugin-host/LICENSE)
foreach(licence IN LISTS licences)
    file(REMOVE ${licence})
endforeach()
foreach(page IN LISTS pages)
    execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
