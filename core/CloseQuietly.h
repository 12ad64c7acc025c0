#pragma once

#include "core/Exception.h"

namespace base::core {

/// Closes a stream and ignores failures: it may have been closed before, or its peer may be gone. Null is
/// ignored. Takes an `InputStream` or an `OutputStream`, by pointer or by `Ref`.
template <class StreamPointer>
void closeQuietly(const StreamPointer& stream) {
    if (stream == nullptr)
        return;
    try {
        stream->close();
    } catch (const IOException&) {
    }
}

} // namespace base::core
