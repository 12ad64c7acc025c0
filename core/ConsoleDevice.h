#pragma once

#include <streambuf>
#include <string>

namespace base::core {

/// The device under a console stream: one descriptor, not owned. Independent of the standard library's
/// console streams, which plug-ins use on their own threads.
///
/// Output is buffered until a flush, which is one `write`. What can't be written is dropped, so that a later
/// line doesn't begin with the remains of an earlier one. A read returns what is available. Used under the
/// lock of its stream.
class ConsoleDevice : public std::streambuf {
public:
    explicit ConsoleDevice(int descriptor);

protected:
    int_type underflow() override;
    int_type overflow(int_type byte) override;
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int sync() override;

private:
    /// The number of bytes written.
    size_t writeToDescriptor(const std::string& bytes) const;

    int descriptor;
    char input[1024];
    std::string pending;
    /// Whether the output ends within a line.
    bool lineCut = false;
};

} // namespace base::core
