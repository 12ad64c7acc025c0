plugin_host_test(library-host-tests
    SOURCES
        HandleTest.cpp
        HostDeathTest.cpp
        HostProtocolTest.cpp
        HostTest.cpp
        HostWidthsTest.cpp
        SessionCallbacksTest.cpp
        SessionEndTest.cpp
        SessionLogTest.cpp
        SessionOptionsTest.cpp
        StartTest.cpp
        ThreadsTest.cpp
    LIBRARIES plugin-host-client
)
target_compile_definitions(library-host-tests PRIVATE
    PLUGIN_HOST_CLIENT_MAP="${PROJECT_SOURCE_DIR}/library/plugin-host-client.map"
    STAND_IN_HOST_EXECUTABLE="$<TARGET_FILE:stand-in-host>"
)
# CMake's own run paths are off.
target_link_options(library-host-tests PRIVATE LINKER:-rpath,$<TARGET_FILE_DIR:plugin-host-client>)
add_dependencies(library-host-tests stand-in-host dying-plugins dies-when-asked dies-by-request echo tone)

# A session has hosts of both widths if another preset has built the other one.
if(PLUGIN_HOST_ARCHITECTURE STREQUAL "i386")
    set(PLUGIN_HOST_OTHER_EXECUTABLE ${PROJECT_SOURCE_DIR}/build-x86_64/plugin-host)
else()
    set(PLUGIN_HOST_OTHER_EXECUTABLE ${PLUGIN_HOST_I386_EXECUTABLE})
endif()
cmake_path(GET PLUGIN_HOST_OTHER_EXECUTABLE PARENT_PATH other_directory)
target_compile_definitions(library-host-tests PRIVATE
    PLUGIN_HOST_OTHER_EXECUTABLE="${PLUGIN_HOST_OTHER_EXECUTABLE}"
    EXAMPLE_PLUGIN_OTHER_DIRECTORY="${other_directory}/example-plugins"
)
set_source_files_properties(HandleTest.cpp HostProtocolTest.cpp HostTest.cpp StartTest.cpp PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
