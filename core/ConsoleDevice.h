#pragma once

#include <streambuf>
#include <string>

namespace base::core {

/// The device under a console stream: one descriptor, which it doesn't own. The standard library's own
/// console streams stay out of it, since plug-ins use these on threads of their own.
///
/// What is written waits for a flush, which hands all of it to the system in one `write`. What can't be
/// written is dropped, so that a later line doesn't begin with the remains of an older one. A read delivers
/// what is there. Used under the lock of its stream.
class ConsoleDevice : public std::streambuf {
public:
    explicit ConsoleDevice(int descriptor);

protected:
    int_type underflow() override;
    int_type overflow(int_type byte) override;
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int sync() override;

private:
    /// The number of bytes that the system took.
    size_t writeToDescriptor(const std::string& bytes) const;

    int descriptor;
    char input[1024];
    std::string pending;
    /// Whether the last line that went out lacks its end.
    bool lineCut = false;
};

} // namespace base::core
