// Any bytes as a VST 3 preset, which the SDK reads for the host. A finding is a file that crashes the host
// when it is loaded. The component and the controller read all that they get.

#include "fuzz/Require.h"
#include "support/PresetBytes.h"
#include "support/RecordingComponent.h"
#include "support/RecordingController.h"

#include <public.sdk/source/vst/vstpresetfile.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace test_support;

namespace {

/// An anonymous file of this process.
class MemoryFile {
public:
    explicit MemoryFile(const uint8_t* data, size_t size) : descriptor(memfd_create("preset", MFD_CLOEXEC)) {
        require(write(descriptor, data, size) == static_cast<ssize_t>(size));
    }
    ~MemoryFile() { close(descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string getPath() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const MemoryFile file(data, size);
    std::vector<std::string> calls;
    RecordingComponent component(calls);
    RecordingController controller(calls);
    FUID classId;
    require(classId.fromString(PresetParts().classText.c_str()));
    const IPtr<Steinberg::IBStream> stream =
        Steinberg::owned(Vst::FileStream::open(file.getPath().c_str(), "rb"));
    require(stream);
    Vst::PresetFile::loadPreset(stream, classId, &component, &controller);
    return 0;
}
