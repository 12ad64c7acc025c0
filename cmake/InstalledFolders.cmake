# Where an installation has libraries and programs of either architecture, below its prefix: CMAKE_INSTALL_LIBDIR for the
# own one, and PLUGIN_HOST_INSTALLED_PROGRAM_32 and _64, which the library for applications starts by default.

# The folders of both architectures, as this system's distribution has them.
function(plugin_host_library_folders i386 x86_64)
    foreach(root IN LISTS CMAKE_FIND_ROOT_PATH ITEMS "")
        set(lib ${root}/usr/lib)
        if(IS_DIRECTORY ${lib}/i386-linux-gnu OR IS_DIRECTORY ${lib}/x86_64-linux-gnu)
            set(${i386} lib/i386-linux-gnu PARENT_SCOPE)
            set(${x86_64} lib/x86_64-linux-gnu PARENT_SCOPE)
            return()
        endif()
        if(IS_DIRECTORY ${lib})
            break()
        endif()
    endforeach()
    set(${i386} lib PARENT_SCOPE)
    if(IS_DIRECTORY ${lib}32)
        set(${i386} lib32 PARENT_SCOPE)
    endif()
    # A link, where 64-bit libraries are in lib.
    set(${x86_64} lib PARENT_SCOPE)
    if(IS_DIRECTORY ${lib}64 AND NOT IS_SYMLINK ${lib}64)
        set(${x86_64} lib64 PARENT_SCOPE)
    endif()
endfunction()

plugin_host_library_folders(folder_i386 folder_x86_64)
# Within another project, hosts are those of the packages.
set(prefix /usr)
if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_INSTALL_LIBDIR ${folder_${PLUGIN_HOST_ARCHITECTURE}} CACHE PATH "Libraries, below the prefix")
    set(folder_${PLUGIN_HOST_ARCHITECTURE} ${CMAKE_INSTALL_LIBDIR})
    set(prefix ${CMAKE_INSTALL_PREFIX})
endif()
set(PLUGIN_HOST_INSTALLED_PROGRAM_32 ${prefix}/${folder_i386}/plugin-host/plugin-host)
set(PLUGIN_HOST_INSTALLED_PROGRAM_64 ${prefix}/${folder_x86_64}/plugin-host/plugin-host)
