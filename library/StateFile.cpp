#include "library/StateFile.h"

#include "core/Exception.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

namespace client_library {
namespace {

IOException failure(const char* operation, const std::string& path) {
    return IOException(
        concat("Could not ", operation, " ", path.c_str(), ": ", base::core::lastErrorMessage()));
}

std::string makeDirectory() {
    for (const char* name : {"XDG_RUNTIME_DIR", "TMPDIR"}) {
        const char* parent = std::getenv(name);
        std::string folder = std::string(parent != nullptr ? parent : "") + "/plugin-host-XXXXXX";
        if (parent != nullptr && *parent == '/' && mkdtemp(folder.data()) != nullptr)
            return folder;
    }
    std::string name = "/tmp/plugin-host-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        throw failure("make a folder like", name);
    return name;
}

} // namespace

const char* StateFile::suffixFor(const String& path) {
    return String::endsWith(path, "vst3") ? ".vstpreset" : ".fxb";
}

StateFile::StateFile(const char* suffix) : directory(makeDirectory()), path(directory + "/state" + suffix) {}

StateFile::~StateFile() {
    unlink(path.c_str());
    rmdir(directory.c_str());
}

void StateFile::write(const void* bytes, size_t size) const {
    std::ofstream file(path, std::ios::binary);
    file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    file.close();
    if (!file)
        throw failure("write", path);
}

std::vector<uint8_t> StateFile::read() const {
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file)
        throw failure("read", path);
    return bytes;
}

} // namespace client_library
