# The libraries of the chosen architecture, each as an imported target. Their headers are system headers.

set(ENV{PKG_CONFIG_LIBDIR} ${PLUGIN_HOST_PKG_CONFIG_PATH})
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(Xcb REQUIRED IMPORTED_TARGET xcb xcb-icccm)
pkg_check_modules(Sndfile REQUIRED IMPORTED_TARGET sndfile)
pkg_check_modules(GTest REQUIRED IMPORTED_TARGET gtest)
pkg_check_modules(GMock REQUIRED IMPORTED_TARGET gmock)
pkg_check_modules(Benchmark REQUIRED IMPORTED_TARGET benchmark)
pkg_check_modules(Md REQUIRED IMPORTED_TARGET libmd)

function(plugin_host_library name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()
