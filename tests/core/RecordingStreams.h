#pragma once

#include "core/Exception.h"
#include "core/InputStream.h"
#include "core/OutputStream.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace core_tests {

/// Bytes written out by hand.
inline std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values)
        text.push_back(static_cast<char>(value));
    return text;
}

/// Keeps each `write` as a text of its own, counts the other calls, and fails where it is told to.
class RecordingOutputStream : public base::core::OutputStream {
public:
    using OutputStream::OutputStream;

    void write(const void* buffer, size_t size) override {
        if (failsToWrite)
            throw base::core::IOException("The device is full");
        writes.emplace_back(static_cast<const char*>(buffer), size);
    }
    bool hasDevice() override { return device; }
    void flush() override {
        ++flushes;
        writesAtFlush.push_back(writes.size());
    }
    void close() override {
        ++closes;
        if (failsToClose)
            throw base::core::IOException("The device is stuck");
    }

    /// Everything that was written.
    std::string all() const {
        std::string text;
        for (const std::string& piece : writes)
            text += piece;
        return text;
    }

    std::vector<std::string> writes;
    std::vector<size_t> writesAtFlush;
    int flushes = 0;
    int closes = 0;
    bool failsToWrite = false;
    bool failsToClose = false;
    bool device = true;
};

/// Delivers one piece, or the rest of one, with each `read`, and keeps the sizes that were asked for and the
/// places to which they were to go.
class PiecewiseInputStream : public base::core::InputStream {
public:
    explicit PiecewiseInputStream(
        const std::vector<std::string>& pieces,
        const base::core::TextEncoding& encoding = base::core::UTF8Encoding::instance)
        : InputStream(encoding), pieces(pieces) {}

    size_t read(void* buffer, size_t size) override {
        sizesAskedFor.push_back(size);
        targets.push_back(buffer);
        if (pieces.empty())
            return 0;
        std::string& piece = pieces.front();
        const size_t count = std::min(size, piece.size());
        std::memcpy(buffer, piece.data(), count);
        piece.erase(0, count);
        if (piece.empty())
            pieces.erase(pieces.begin());
        return count;
    }
    size_t available() override { return pieces.empty() ? 0 : pieces.front().size(); }
    void close() override { ++closes; }
    bool hasDevice() override { return device; }

    std::vector<std::string> pieces;
    std::vector<size_t> sizesAskedFor;
    std::vector<const void*> targets;
    int closes = 0;
    bool device = true;
};

} // namespace core_tests
