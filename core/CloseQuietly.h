#pragma once

#include "core/Exception.h"

namespace base::core {

/// Closes a stream where a failure has nobody to be told to: it was closed before, or its peer is gone. Null
/// is passed over. Takes an `InputStream` or an `OutputStream`, by pointer or by `Ref`.
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
