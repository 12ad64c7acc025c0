#pragma once

#include "core/Object.h"
#include "core/Ref.h"
#include "core/String.h"

namespace base::core {

/// Base of every failure that isn't an assertion. Thrown by value, caught by const reference; a failure that
/// has to outlive its catch block is kept by `clone`. Copies share the message and the cause.
class Exception : public Object {
public:
    explicit Exception(const String& message);
    Exception(const Exception& other);
    ~Exception() override;

    /// A new heap copy of the same dynamic type.
    virtual Exception* clone() const = 0;
    virtual String getMessage() const;

    const Ref<Exception>& getCause() const { return cause; }
    void setCause(const Ref<Exception>& newCause) { cause = newCause; }

private:
    String message;
    Ref<Exception> cause;
};

/// Failures of streams, pipes, files, shared memory and text encodings.
class IOException : public Exception {
public:
    using Exception::Exception;
    IOException(const IOException& other) = default;
    ~IOException() override;
    Exception* clone() const override;
};

/// A stream ended where a value was expected; the message is "End of stream".
class EOSException : public IOException {
public:
    EOSException();
    EOSException(const EOSException& other) = default;
    ~EOSException() override;
    Exception* clone() const override;
};

/// Failures of the programs that show dialogs.
class ProcessException : public Exception {
public:
    using Exception::Exception;
    ProcessException(const ProcessException& other) = default;
    ~ProcessException() override;
    Exception* clone() const override;
};

/// A text that is no integer; the message is "Invalid number: " and that text.
class NumberFormatException : public Exception {
public:
    explicit NumberFormatException(const String& text);
    NumberFormatException(const NumberFormatException& other) = default;
    ~NumberFormatException() override;
    Exception* clone() const override;

    const String& getText() const { return text; }

private:
    String text;
};

/// The system's own words for the current `errno`. Any thread.
String lastErrorMessage();

} // namespace base::core
