# The libraries of the chosen architecture, each as an imported target. Their headers are system headers.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# A project that this tree is a part of looks for its own libraries as before.
set(former_library_directories $ENV{PKG_CONFIG_LIBDIR})
if(PLUGIN_HOST_PKG_CONFIG_PATH)
    set(ENV{PKG_CONFIG_LIBDIR} ${PLUGIN_HOST_PKG_CONFIG_PATH})
endif()
pkg_check_modules(Xcb REQUIRED IMPORTED_TARGET xcb xcb-icccm)
pkg_check_modules(Md REQUIRED IMPORTED_TARGET libmd)
if(PLUGIN_HOST_EXAMPLES OR PLUGIN_HOST_TESTS OR PLUGIN_HOST_BENCHMARKS)
    pkg_check_modules(Sndfile REQUIRED IMPORTED_TARGET sndfile)
endif()
if(PLUGIN_HOST_TESTS)
    pkg_check_modules(GTest REQUIRED IMPORTED_TARGET gtest)
    pkg_check_modules(GMock REQUIRED IMPORTED_TARGET gmock)
endif()
if(PLUGIN_HOST_BENCHMARKS)
    pkg_check_modules(Benchmark REQUIRED IMPORTED_TARGET benchmark)
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
    target_include_directories(plugin-host-${name} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()
