// Any bytes as a client's requests. A finding is input that crashes the host.
//
// Reads requests until one is invalid, which ends a host's reading; none is performed. Each is written again,
// as a client would.

#include "core/MemoryInputStream.h"
#include "core/StdStreams.h"
#include "plugin/Frames.h"
#include "plugin/PluginHostProxyHandler.h"
#include "plugin/PluginHostRequests.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    base::core::MemoryInputStream input(data, size);
    try {
        for (;;) {
            std::string frame;
            base::core::StdStringOutputStream output(&frame);
            readRequest(nullptr, input)->write(output);
        }
    } catch (const IOException&) {
        // The end of the input, or an invalid request.
    }
    return 0;
}
