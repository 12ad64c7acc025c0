# Says whether the package whose version file is FILE suits a project of pointers of SIZE bytes
# that asks for VERSION.
set(CMAKE_SIZEOF_VOID_P ${SIZE})
set(PACKAGE_FIND_VERSION ${VERSION})
string(REGEX MATCH "^[0-9]+" PACKAGE_FIND_VERSION_MAJOR ${VERSION})
include(${FILE})
if(PACKAGE_VERSION_COMPATIBLE AND NOT PACKAGE_VERSION_UNSUITABLE)
    message("suits")
else()
    message("doesn't suit")
endif()
