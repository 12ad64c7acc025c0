# What CPack does differently for each kind of package.
if(CPACK_GENERATOR STREQUAL "DEB")
    # For the file in /etc.
    set(CPACK_SET_DESTDIR ON)
    set(CPACK_INSTALL_PREFIX /usr)
else()
    set(CPACK_SET_DESTDIR OFF)
    unset(CPACK_INSTALL_PREFIX)
endif()
