#pragma once

#include "core/InputStream.h"
#include "core/OutputStream.h"
#include "core/String.h"

#include <cstdio>

namespace base::core {

/// Reads a file of the C library, which it owns.
class FileInputStream : public InputStream {
public:
    FileInputStream(const String& path, FILE* file);
    /// Closes a file that is still open; a failure there is lost.
    ~FileInputStream() override;

    size_t read(void* buffer, size_t size) override;
    void close() override;

private:
    String path;
    FILE* file;
};

/// Writes a file of the C library, which it owns.
class FileOutputStream : public OutputStream {
public:
    FileOutputStream(const String& path, FILE* file);
    /// Closes a file that is still open; a failure there is lost.
    ~FileOutputStream() override;

    void write(const void* buffer, size_t size) override;
    void flush() override;
    void close() override;

private:
    /// The failure of one operation, with the text of `errno`.
    [[noreturn]] void fail(const char* operation) const;

    String path;
    FILE* file;
};

} // namespace base::core
