plugin_host_test(library-plugin-tests
    SOURCES
        AudioBoundsTest.cpp
        AudioHotPathTest.cpp
        AudioSamplesTest.cpp
        AudioThreadsTest.cpp
        CycleTest.cpp
        LateTest.cpp
        RestoreTest.cpp
        StateFolderTest.cpp
        PluginCreationTest.cpp
        PluginDescriptionTest.cpp
        PluginEditorTest.cpp
        PluginEventsTest.cpp
        PluginStateTest.cpp
        ScanTest.cpp

    LIBRARIES plugin-host::client plugin-host-proxies PkgConfig::Xcb
)
# The library is shared, and isn't looked up elsewhere.
target_link_options(library-plugin-tests PRIVATE -Wl,-rpath,$<TARGET_FILE_DIR:plugin-host-client>)
# The counts are of the plain program: a sanitizer has its own allocator and its own calls.
if(NOT PLUGIN_HOST_SANITIZERS)
    counted_calls_in(library-plugin-tests)
endif()
add_dependencies(library-plugin-tests dies-by-request shows-its-block waits-for-its-gate
    echo tone trio echo.vst3 tone.vst3 trio.vst3
    dying-plugins troublesome-plugins editor-test-plugins reports-when-asked without-audio-and-notes
    without-entry-point vst3-processing-plugins)

# What an application sees of the libraries, and clients in other languages.
add_executable(c-client clients/PlaysABlock.c)
set_target_properties(c-client PROPERTIES C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
target_compile_options(c-client PRIVATE -Wall -Wextra -pedantic -Wconversion)
target_link_libraries(c-client PRIVATE plugin-host::client)
target_link_options(c-client PRIVATE -Wl,-rpath,$<TARGET_FILE_DIR:plugin-host-client>)
if(PLUGIN_HOST_SANITIZERS)
    # What sanitizes C++ is linked by its compiler.
    set_target_properties(c-client PROPERTIES LINKER_LANGUAGE CXX)
endif()
add_dependencies(library-plugin-tests c-client)
set(header ${PROJECT_SOURCE_DIR}/library/include/plugin-host/client.h)
target_sources(library-plugin-tests PRIVATE SymbolsTest.cpp)
target_compile_definitions(library-plugin-tests PRIVATE
    C_CLIENT_PROGRAM="$<TARGET_FILE:c-client>"
    CLIENT_HEADER="${header}"
    SHARED_LIBRARY="$<TARGET_FILE:plugin-host-client>"
    SYMBOL_LIST="${PROJECT_SOURCE_DIR}/library/plugin-host-client.map"
    C_COMPILER="${CMAKE_C_COMPILER}"
    CXX_COMPILER="${CMAKE_CXX_COMPILER}"
)
if(PLUGIN_HOST_SANITIZERS)
    # Not of instrumented programs: what the sanitizers add, and a library for an interpreter without them.
    return()
endif()
find_program(PLUGIN_HOST_ABIDIFF abidiff)
if(PLUGIN_HOST_ABIDIFF)
    target_compile_definitions(library-plugin-tests PRIVATE ABI_FOLDER="${CMAKE_CURRENT_SOURCE_DIR}/abi")
endif()
if(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
    target_compile_definitions(library-plugin-tests PRIVATE IS_OPTIMISED)
endif()
if(NOT PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
    target_compile_definitions(library-plugin-tests PRIVATE
        PYTHON_CLIENT="${CMAKE_CURRENT_SOURCE_DIR}/clients/plays_a_block.py")
endif()
add_executable(static-client clients/StaticClient.cpp)
target_link_libraries(static-client PRIVATE plugin-host::client-static)
add_dependencies(library-plugin-tests static-client)
target_compile_definitions(library-plugin-tests PRIVATE
    STATIC_CLIENT_PROGRAM="$<TARGET_FILE:static-client>"
    STATIC_LIBRARY="$<TARGET_FILE:plugin-host-client-static>"
)
