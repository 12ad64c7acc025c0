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
    # Required by the headers: in a project of an older standard, what links the library compiles as C++20.
    target_compile_features(plugin-host-${name} PUBLIC cxx_std_20)
endfunction()
