# The libraries of the chosen architecture, each as an imported target. Their headers are system headers.

# PkgConfig::NAME, of the modules that follow. What is found stands in the cache under a name of this project's, since a
# project that this tree is a part of may look for a library of the same name.
function(plugin_host_find_library name)
    pkg_check_modules(PLUGIN_HOST_${name} REQUIRED IMPORTED_TARGET ${ARGN})
    add_library(PkgConfig::${name} ALIAS PkgConfig::PLUGIN_HOST_${name})
endfunction()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# A project that this tree is a part of looks for its own libraries as before.
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
if(PLUGIN_HOST_BENCHMARKS)
    plugin_host_find_library(Benchmark benchmark)
endif()
if(former_library_directories)
    set(ENV{PKG_CONFIG_LIBDIR} ${former_library_directories})
else()
    unset(ENV{PKG_CONFIG_LIBDIR})
endif()

# A library of the tree: the target plugin-host-NAME, which other projects call plugin-host::NAME.
function(plugin_host_library name)
    add_library(plugin-host-${name} STATIC ${ARGN})
    add_library(plugin-host::${name} ALIAS plugin-host-${name})
    plugin_host_compile_together(plugin-host-${name})
    target_include_directories(plugin-host-${name} PUBLIC ${PROJECT_SOURCE_DIR})
    # Of the headers: a project of an older standard compiles by this one what includes them.
    target_compile_features(plugin-host-${name} PUBLIC cxx_std_20)
endfunction()
