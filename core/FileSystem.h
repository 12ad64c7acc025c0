#pragma once

#include "core/InputStream.h"
#include "core/OutputStream.h"
#include "core/Ref.h"
#include "core/String.h"

#include <cstdint>
#include <vector>

namespace base::core {

/// Paths and files. Failures are `IOException`. Stateless: any thread.
class FileSystem : public Object {
public:
    static constexpr char32_t separator = U'/';

    /// `directory` and `name` with one separator between them.
    virtual String join(const String& directory, const String& name) = 0;
    /// The names in a directory, in the system's order, without "." and "..".
    virtual std::vector<String> listFiles(const String& directory) = 0;
    /// The path without its last part; "/" for an entry of the root, empty without a parent.
    virtual String getParent(const String& path) = 0;
    /// An absolute path without "." and ".." parts; a relative one is resolved against the current directory.
    virtual String normalize(const String& path) = 0;
    virtual bool exists(const String& path) = 0;
    virtual bool isFile(const String& path) = 0;
    /// Deleting a missing file is no failure.
    virtual void deleteFile(const String& path) = 0;
    /// In bytes.
    virtual int64_t getFileSize(const String& path) = 0;
    virtual bool isDirectory(const String& path) = 0;
    /// Oddity directory-mode-0776: the mode, less the process's umask.
    virtual void createDirectory(const String& path) = 0;
    /// Makes the missing directories of a path, from the top down.
    virtual void createDirectories(const String& path) = 0;
    virtual void deleteDirectory(const String& path) = 0;
    virtual bool isAbsolutePath(const String& path) = 0;
    virtual Ref<InputStream> openForReading(const String& path) = 0;
    virtual String currentDirectory() = 0;
    /// Replaces the file, or appends to it with `append`. The stream is buffered.
    virtual Ref<OutputStream> openForWriting(const String& path, bool append) = 0;
};

/// The files of this machine.
class LocalFileSystem final : public FileSystem {
public:
    /// The one object, which is never destroyed.
    static LocalFileSystem& get();

    String join(const String& directory, const String& name) override;
    std::vector<String> listFiles(const String& directory) override;
    String getParent(const String& path) override;
    String normalize(const String& path) override;
    bool exists(const String& path) override;
    bool isFile(const String& path) override;
    void deleteFile(const String& path) override;
    int64_t getFileSize(const String& path) override;
    bool isDirectory(const String& path) override;
    void createDirectory(const String& path) override;
    void createDirectories(const String& path) override;
    void deleteDirectory(const String& path) override;
    bool isAbsolutePath(const String& path) override;
    Ref<InputStream> openForReading(const String& path) override;
    String currentDirectory() override;
    Ref<OutputStream> openForWriting(const String& path, bool append) override;
};

} // namespace base::core
