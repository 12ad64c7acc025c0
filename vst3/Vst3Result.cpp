#include "vst3/Vst3Result.h"

#include "core/Log.h"
#include "plugin/PluginException.h"

#include <array>
#include <cstring>

namespace {

constexpr std::array resultNames{"kNoInterface",    "kResultOk",      "kResultFalse",    "kInvalidArgument",
                                 "kNotImplemented", "kInternalError", "kNotInitialized", "kOutOfMemory"};

// Without the folders of the build machine.
const char* fileName(const char* path) {
    const char* separator = std::strrchr(path, '/');
    return separator != nullptr ? separator + 1 : path;
}

} // namespace

const char* resultCodeName(tresult code) {
    const int64_t index = int64_t{code} - kNoInterface;
    return index >= 0 && index < static_cast<int64_t>(resultNames.size())
               ? resultNames[static_cast<size_t>(index)]
               : nullptr;
}

String resultCodeMessage(tresult code, const char* location, const char* file, int32_t line) {
    if (code == kResultOk)
        return {};
    const char* name = resultCodeName(code);
    return concat(location, " returned error code: ", int32_t{code}, " (",
                  name != nullptr ? name : "Unknown result!", ")\n in ", fileName(file), " : ", line);
}

void throwUnlessOk(tresult code, const char* location, const char* file, int32_t line) {
    if (code != kResultOk)
        throw PluginException(resultCodeMessage(code, location, file, line));
}

tresult checkResult(tresult code, const char* location) {
    if (code != kResultOk) {
        const char* name = resultCodeName(code);
        base::core::logError("Unexpected result in location ", location,
                             name != nullptr ? name : "unknown result");
    }
    return code;
}
