# Compiler settings of every target: the language, the processor, the warnings, the sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# Programs aren't position independent: i386 pays for each access to a global otherwise. Plug-ins are, and what becomes
# a part of another project's.
if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
else()
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endif()
# No -rdynamic: plug-ins must not meet the symbols of the program.
set(CMAKE_ENABLE_EXPORTS OFF)
set(CMAKE_SHARED_LIBRARY_LINK_CXX_FLAGS "")
# The libraries are where the system looks for them. CMake would name their directory, and pad it for the installation
# by an empty entry, which is the directory that the program is started in: the place of anybody's libraries.
set(CMAKE_SKIP_RPATH ON)
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")

add_compile_definitions(_GNU_SOURCE)
add_compile_options(-Wall -Wextra)
if(PROJECT_IS_TOP_LEVEL)
    # Another project's compiler may warn of what ours pass over.
    add_compile_options(-Werror)
endif()
# GCC's ideas of them; clang, which builds the fuzzers, has others. Shadowing among locals only: a constructor's
# parameter has the name of the member that it sets.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wshadow=local -Wconversion)
endif()

if(PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
    # Floats are rounded, and denormals flushed, as SSE does it.
    add_compile_options(-m32 -msse2 -mfpmath=sse)
    add_link_options(-m32)
    add_compile_definitions(_FILE_OFFSET_BITS=64)
    set(library_directories /usr/lib/i386-linux-gnu /usr/lib32 /usr/lib)
else()
    set(library_directories /usr/lib/x86_64-linux-gnu /usr/lib64)
endif()
# Where distributions have the descriptions of an architecture's libraries; the first that there is, below the folders of
# CMAKE_FIND_ROOT_PATH before the system's own.
set(package_path "")
foreach(root IN LISTS CMAKE_FIND_ROOT_PATH ITEMS "")
    foreach(directory ${library_directories})
        if(NOT package_path AND IS_DIRECTORY ${root}${directory}/pkgconfig)
            set(package_path ${root}${directory}/pkgconfig:${root}/usr/share/pkgconfig)
        endif()
    endforeach()
endforeach()
set(PLUGIN_HOST_PKG_CONFIG_PATH "${package_path}" CACHE STRING "What pkg-config looks through; empty: what it would itself")

if(PLUGIN_HOST_SANITIZERS)
    set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O1 -g1")
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1")
    add_compile_options(-fsanitize=${PLUGIN_HOST_SANITIZERS} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${PLUGIN_HOST_SANITIZERS})
    if(PLUGIN_HOST_SANITIZERS MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        # The names that GCC gives to builds with sanitizers.
        foreach(sanitizer address thread)
            if(PLUGIN_HOST_SANITIZERS MATCHES ${sanitizer})
                string(TOUPPER ${sanitizer} upper)
                add_compile_definitions(__SANITIZE_${upper}__)
            endif()
        endforeach()
        # A plug-in's entry point is called by the type of whoever loads it.
        add_compile_options(-fno-sanitize=function)
    elseif(PLUGIN_HOST_SANITIZERS MATCHES "thread")
        # Thread fences are unknown to ThreadSanitizer; the one in Object orders nothing that it could report.
        add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-error=tsan>)
    endif()
else()
    # The compiler's own default is -fPIE.
    add_compile_options($<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fno-pie>)
    if(PROJECT_IS_TOP_LEVEL)
        add_link_options(-no-pie)
    endif()
    # What nobody calls stays out of a host's memory.
    add_compile_options(-ffunction-sections -fdata-sections)
    add_link_options(-Wl,--gc-sections)
endif()

# On i386, clang leaves atomic 64-bit values to a library: they may lie at four bytes there.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND NOT PLUGIN_HOST_SANITIZERS MATCHES "fuzzer")
    link_libraries(atomic)
endif()

# Under sanitizers, most of a compilation is code of headers that the sources of a target share: there, five of them are
# compiled as one. A source with a name that another has, too, stays by itself by SKIP_UNITY_BUILD_INCLUSION.
function(plugin_host_compile_together target)
    if(PLUGIN_HOST_SANITIZERS)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 5)
    endif()
endfunction()

# For what calls objects of VST 3 modules, which needn't be a C++ compiler's: they have tables of functions, and
# behind these no type that UBSan could look at.
function(plugin_host_calls_plugins target)
    if(PLUGIN_HOST_SANITIZERS MATCHES "undefined")
        target_compile_options(${target} PRIVATE -fno-sanitize=vptr)
    endif()
endfunction()

add_link_options(-Wl,--as-needed -Wl,-O1 -Wl,--hash-style=gnu)

if(PLUGIN_HOST_COVERAGE) # by clang
    # The counts lie in a mapped file, so that a host which is killed, or ends by `_exit`, leaves them behind.
    add_compile_options(-O0 -fprofile-instr-generate -fcoverage-mapping
        "SHELL:-mllvm -runtime-counter-relocation" -fprofile-update=atomic)
    add_link_options(-fprofile-instr-generate)
endif()
