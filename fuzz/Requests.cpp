// Any bytes as what a client sends. A finding is a client that brings the host down by what it writes.
//
// The requests are read one after the other until one can't be, which is where a host stops to read; none is
// performed. Each is written again, as a client would.

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
        // The end of the bytes, or of their sense.
    }
    return 0;
}
