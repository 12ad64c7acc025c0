# Compiler settings of every target: the language, the processor, the warnings, the sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# Programs aren't position independent, which would cost i386 extra at each access to a global. Plug-ins are, and all
# targets within a parent project.
if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_POSITION_INDEPENDENT_CODE OFF)
else()
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endif()
# No -rdynamic: plug-ins must not bind to symbols of the program.
set(CMAKE_ENABLE_EXPORTS OFF)
set(CMAKE_SHARED_LIBRARY_LINK_CXX_FLAGS "")
# The loader finds the libraries by default. CMake would add their directory, and pad it for the installation with an
# empty entry, which means the current directory: anyone's libraries could be loaded from there.
set(CMAKE_SKIP_RPATH ON)
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")

add_compile_definitions(_GNU_SOURCE)
add_compile_options(-Wall -Wextra)
if(PROJECT_IS_TOP_LEVEL)
    # A parent project's compiler may have other warnings.
    add_compile_options(-Werror)
endif()
# GCC's versions of these warnings; clang, which builds the fuzzers, has others. Shadowing of locals only: a
# constructor's parameter has the name of the member that it sets.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wshadow=local -Wconversion)
endif()

if(PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
    # SSE for all floats: rounding to their type, and flushing of denormals.
    add_compile_options(-m32 -msse2 -mfpmath=sse)
    add_link_options(-m32)
    add_compile_definitions(_FILE_OFFSET_BITS=64)
    set(library_directories /usr/lib/i386-linux-gnu /usr/lib32 /usr/lib)
else()
    set(library_directories /usr/lib/x86_64-linux-gnu /usr/lib64)
endif()
# Where distributions keep the pkg-config files of an architecture: the first directory that exists, below
# CMAKE_FIND_ROOT_PATH before the system's own.
set(package_path "")
foreach(root IN LISTS CMAKE_FIND_ROOT_PATH ITEMS "")
    foreach(directory ${library_directories})
        if(NOT package_path AND IS_DIRECTORY ${root}${directory}/pkgconfig)
            set(package_path ${root}${directory}/pkgconfig:${root}/usr/share/pkgconfig)
        endif()
    endforeach()
endforeach()
set(PLUGIN_HOST_PKG_CONFIG_PATH "${package_path}" CACHE STRING "Search path of pkg-config; empty: its default")

if(PLUGIN_HOST_SANITIZERS)
    set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O1 -g1")
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1")
    add_compile_options(-fsanitize=${PLUGIN_HOST_SANITIZERS} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${PLUGIN_HOST_SANITIZERS})
    if(PLUGIN_HOST_SANITIZERS MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        # The macros that GCC defines under sanitizers.
        foreach(sanitizer address thread)
            if(PLUGIN_HOST_SANITIZERS MATCHES ${sanitizer})
                string(TOUPPER ${sanitizer} upper)
                add_compile_definitions(__SANITIZE_${upper}__)
            endif()
        endforeach()
        # A plug-in's entry point is called through the function type of its loader.
        add_compile_options(-fno-sanitize=function)
    elseif(PLUGIN_HOST_SANITIZERS MATCHES "thread")
        # ThreadSanitizer doesn't support fences; the one in Object orders nothing that it could report.
        add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-error=tsan>)
    endif()
else()
    # The compiler's own default is -fPIE.
    add_compile_options($<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fno-pie>)
    if(PROJECT_IS_TOP_LEVEL)
        add_link_options(-no-pie)
    endif()
    # Unused code stays out of a host's memory.
    add_compile_options(-ffunction-sections -fdata-sections)
    add_link_options(-Wl,--gc-sections)
endif()

# On i386, clang calls a library for 64-bit atomics, which may be aligned to four bytes only.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND NOT PLUGIN_HOST_SANITIZERS MATCHES "fuzzer")
    link_libraries(atomic)
endif()

# Most of the compile time goes into headers that the sources of a target share, so five sources are compiled as one.
# Not in the product's build, where each shows that it includes what it uses, but with ALWAYS. A source whose names
# collide with another's sets SKIP_UNITY_BUILD_INCLUSION.
function(plugin_host_compile_together target)
    if(PLUGIN_HOST_SANITIZERS OR "ALWAYS" IN_LIST ARGN OR NOT PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 5)
        # GCC takes the sources for headers then, where a base from an unnamed namespace would be a mistake.
        target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    endif()
endfunction()

# For targets that call objects of VST 3 modules. These needn't be made by a C++ compiler: they have function tables,
# but maybe not the type information that UBSan reads with them.
function(plugin_host_calls_plugins target)
    if(PLUGIN_HOST_SANITIZERS MATCHES "undefined")
        target_compile_options(${target} PRIVATE -fno-sanitize=vptr)
    endif()
endfunction()

add_link_options(-Wl,--as-needed -Wl,-O1 -Wl,--hash-style=gnu)

if(PLUGIN_HOST_COVERAGE) # by clang
    # The counts are in a mapped file, so that those of a host that is killed, or ends by `_exit`, are kept.
    add_compile_options(-O0 -fprofile-instr-generate -fcoverage-mapping
        "SHELL:-mllvm -runtime-counter-relocation" -fprofile-update=atomic)
    add_link_options(-fprofile-instr-generate)
endif()
