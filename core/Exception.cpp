#include "core/Exception.h"

#include <cerrno>
#include <cstring>

namespace base::core {

Exception::Exception(const String& message) : message(message) {}

Exception::Exception(const Exception& other) : Object(), message(other.message), cause(other.cause) {}

Exception::~Exception() = default;

String Exception::getMessage() const {
    return message;
}

IOException::~IOException() = default;

Exception* IOException::clone() const {
    return new IOException(*this);
}

EOSException::EOSException() : IOException("End of stream") {}

EOSException::~EOSException() = default;

Exception* EOSException::clone() const {
    return new EOSException(*this);
}

ProcessException::~ProcessException() = default;

Exception* ProcessException::clone() const {
    return new ProcessException(*this);
}

NumberFormatException::NumberFormatException(const String& text)
    : Exception(concat("Invalid number: ", text)), text(text) {}

NumberFormatException::~NumberFormatException() = default;

Exception* NumberFormatException::clone() const {
    return new NumberFormatException(*this);
}

String lastErrorMessage() {
    char buffer[256];
    // The GNU form, which may return a static text and leave the buffer unused.
    return strerror_r(errno, buffer, sizeof buffer);
}

} // namespace base::core
