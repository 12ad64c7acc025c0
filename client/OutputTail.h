#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The end of what a child writes, in bounded memory. One thread at a time.
class OutputTail {
public:
    /// Of a long output the last bytes are kept, from the start of a line.
    static constexpr size_t mostBytes = 4096;

    void append(std::string_view bytes);

    /// The lines that are kept, readable, each ended by a line feed.
    std::string lines() const;
    /// The last one that isn't blank, readable and of bounded length; empty if there is none.
    std::string lastLine() const;
    /// Whether a line that is kept reads so.
    bool hasLine(std::string_view line) const;

private:
    std::string_view kept() const;

    std::string bytes;
    bool isCut = false;
};
