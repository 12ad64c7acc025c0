#include "core/FileStreams.h"

#include "core/Exception.h"

#include <utility>

namespace base::core {

FileInputStream::FileInputStream(const String& path, FILE* file) : path(path), file(file) {}

FileInputStream::~FileInputStream() {
    if (file != nullptr)
        std::fclose(file);
}

size_t FileInputStream::read(void* buffer, size_t size) {
    if (file == nullptr)
        throw IOException("Error reading from file");
    const size_t count = std::fread(buffer, 1, size, file);
    if (std::ferror(file) != 0)
        throw IOException("Error reading from file");
    return count;
}

void FileInputStream::close() {
    if (file == nullptr || std::fclose(std::exchange(file, nullptr)) != 0)
        throw IOException("Could not close file after reading");
}

FileOutputStream::FileOutputStream(const String& path, FILE* file) : path(path), file(file) {}

FileOutputStream::~FileOutputStream() {
    if (file != nullptr)
        std::fclose(file);
}

void FileOutputStream::write(const void* buffer, size_t size) {
    if (file == nullptr || std::fwrite(buffer, 1, size, file) != size)
        fail("Error writing to file");
}

void FileOutputStream::flush() {
    if (file == nullptr || std::fflush(file) != 0)
        fail("Could not flush file");
}

void FileOutputStream::close() {
    if (file == nullptr || std::fclose(std::exchange(file, nullptr)) != 0)
        fail("Could not close file");
}

void FileOutputStream::fail(const char* operation) const {
    throw IOException(concat(operation, " \"", path, "\": ", lastErrorMessage()));
}

} // namespace base::core
