# The libraries of the chosen architecture, each as an imported target. Their headers are system headers.

# Adds PkgConfig::NAME, with the pkg-config modules that follow the name. Results are cached under names with this
# project's prefix, since a parent project may look for a library of the same name.
function(plugin_host_find_library name)
    pkg_check_modules(PLUGIN_HOST_${name} REQUIRED IMPORTED_TARGET ${ARGN})
    add_library(PkgConfig::${name} ALIAS PkgConfig::PLUGIN_HOST_${name})
endfunction()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# Restored at the end, for a parent project's own searches.
set(former_library_directories $ENV{PKG_CONFIG_LIBDIR})
if(PLUGIN_HOST_PKG_CONFIG_PATH)
    set(ENV{PKG_CONFIG_LIBDIR} ${PLUGIN_HOST_PKG_CONFIG_PATH})
endif()
plugin_host_find_library(Xcb xcb xcb-icccm)
plugin_host_find_library(Md libmd)
if(PLUGIN_HOST_EXAMPLES OR PLUGIN_HOST_TESTS OR PLUGIN_HOST_BENCHMARKS)
    plugin_host_find_library(Sndfile sndfile)
endif()
if(PLUGIN_HOST_TESTS)
    plugin_host_find_library(GTest gtest)
    plugin_host_find_library(GMock gmock)
endif()
if(PLUGIN_HOST_BENCHMARKS AND PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
    plugin_host_find_library(Benchmark benchmark)
endif()
# For plugin-host-live, which is left out without it.
if(PLUGIN_HOST_ARCHITECTURE STREQUAL "x86_64" AND PROJECT_IS_TOP_LEVEL)
    pkg_check_modules(PLUGIN_HOST_Jack IMPORTED_TARGET jack)
    if(TARGET PkgConfig::PLUGIN_HOST_Jack)
        add_library(PkgConfig::Jack ALIAS PkgConfig::PLUGIN_HOST_Jack)
    endif()
endif()
if(former_library_directories)
    set(ENV{PKG_CONFIG_LIBDIR} ${former_library_directories})
else()
    unset(ENV{PKG_CONFIG_LIBDIR})
endif()

# For objects of the library for applications, which is to be small. Together, by GCC, they take a third less.
set(PLUGIN_HOST_JOINS_LIBRARY OFF)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT PLUGIN_HOST_SANITIZERS)
    set(PLUGIN_HOST_JOINS_LIBRARY ON)
endif()
function(plugin_host_for_applications target)
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    if(PLUGIN_HOST_JOINS_LIBRARY)
        target_compile_options(${target} PRIVATE $<$<CONFIG:RelWithDebInfo,Release>:-Os> -flto=auto)
    endif()
endfunction()

# Sources of what audio threads call, where small functions are inlined even if that takes a little room.
function(plugin_host_for_audio_threads)
    if(PLUGIN_HOST_JOINS_LIBRARY)
        set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS --param=max-inline-insns-size=8)
    endif()
endfunction()

# Paths in texts of the product, which assertions have, begin at the tree.
function(plugin_host_hide_build_path target)
    target_compile_options(${target} PRIVATE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
endfunction()

# A library of the tree: the target plugin-host-NAME, a static library of the sources. With FOR_APPLICATIONS its objects
# go into the library for applications too, by the target plugin-host-NAME-pic, but for those of the sources behind
# EXCEPT.
function(plugin_host_library name)
    cmake_parse_arguments(LIBRARY "FOR_APPLICATIONS" "" "EXCEPT" ${ARGN})
    set(sources ${LIBRARY_UNPARSED_ARGUMENTS})
    add_library(plugin-host-${name} STATIC ${sources})
    plugin_host_compile_together(plugin-host-${name})
    plugin_host_hide_build_path(plugin-host-${name})
    target_include_directories(plugin-host-${name} PUBLIC ${PROJECT_SOURCE_DIR})
    # Required by the headers: in a project of an older standard, what links the library compiles as C++20.
    target_compile_features(plugin-host-${name} PUBLIC cxx_std_20)
    if(NOT LIBRARY_FOR_APPLICATIONS)
        return()
    endif()
    list(REMOVE_ITEM sources ${LIBRARY_EXCEPT} "")
    add_library(plugin-host-${name}-pic OBJECT ${sources})
    plugin_host_compile_together(plugin-host-${name}-pic ALWAYS)
    plugin_host_for_applications(plugin-host-${name}-pic)
    plugin_host_hide_build_path(plugin-host-${name}-pic)
    target_include_directories(plugin-host-${name}-pic PRIVATE
        $<TARGET_PROPERTY:plugin-host-${name},INCLUDE_DIRECTORIES>)
endfunction()
