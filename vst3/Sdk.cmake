# What is needed of the published VST 3 SDK: interface identifiers, text, streams and preset files. Position
# independent, since the tree's own VST 3 modules link it too.

set(PLUGIN_HOST_VST3_SDK /usr/share/juce/modules/juce_audio_processors/format_types/VST3_SDK
    CACHE PATH "The folder of the VST 3 SDK that has pluginterfaces in it")

set(sdk_sources
    pluginterfaces/base/conststringtable.cpp
    pluginterfaces/base/coreiids.cpp
    pluginterfaces/base/ustring.cpp
    base/source/baseiids.cpp
    base/source/fbuffer.cpp
    base/source/fdebug.cpp
    base/source/fobject.cpp
    base/source/fstring.cpp
    base/source/updatehandler.cpp
    base/thread/source/flock.cpp
    public.sdk/source/common/memorystream.cpp
    public.sdk/source/vst/vstinitiids.cpp
    public.sdk/source/vst/vstpresetfile.cpp
)
list(TRANSFORM sdk_sources PREPEND ${PLUGIN_HOST_VST3_SDK}/)

add_library(plugin-host-vst3-sdk STATIC ${sdk_sources} SdkUnknown.cpp ViewIdentifiers.cpp)
target_include_directories(plugin-host-vst3-sdk SYSTEM PUBLIC ${PLUGIN_HOST_VST3_SDK})
# The SDK insists on one of RELEASE and DEVELOPMENT; its records must be the same in every build.
target_compile_definitions(plugin-host-vst3-sdk PUBLIC RELEASE=1)
# Not ours to mend.
target_compile_options(plugin-host-vst3-sdk PRIVATE -w -Wno-error)
if(PLUGIN_HOST_SANITIZERS MATCHES "undefined")
    target_compile_options(plugin-host-vst3-sdk PRIVATE -fno-sanitize=undefined)
endif()
set_target_properties(plugin-host-vst3-sdk PROPERTIES POSITION_INDEPENDENT_CODE ON)
