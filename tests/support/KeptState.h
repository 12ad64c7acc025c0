#pragma once

#include "vst3/Vst3Names.h"

#include <functional>
#include <optional>
#include <pluginterfaces/base/ibstream.h>
#include <string>
#include <vector>

namespace test_support {

/// The state of a component or a controller: bytes that it gives away and takes as it is told to answer.
struct KeptState {
    tresult get(Steinberg::IBStream* stream) const {
        if (onGet)
            onGet();
        if (!bytes.empty())
            stream->write(const_cast<char*>(bytes.data()), static_cast<Steinberg::int32>(bytes.size()));
        return getAnswer;
    }

    tresult set(Steinberg::IBStream* stream) {
        given.push_back(readAll(stream));
        if (wholeSize && given.back().size() != *wholeSize)
            return kResultFalse;
        if (setAnswer == kResultOk)
            bytes = given.back();
        return setAnswer;
    }

    static std::string readAll(Steinberg::IBStream* stream) {
        std::string all;
        char piece[7]; // Small, so that reading takes several calls.
        Steinberg::int32 count = 0;
        do {
            count = 0;
            stream->read(piece, sizeof piece, &count);
            all.append(piece, static_cast<size_t>(count));
        } while (count > 0);
        return all;
    }

    std::string bytes;
    tresult getAnswer = kResultOk;
    tresult setAnswer = kResultOk;
    /// Runs at the start of `get`.
    std::function<void()> onGet;
    /// Has `set` refuse any state of another size.
    std::optional<size_t> wholeSize;
    /// What has been given to `set`, also what was refused.
    std::vector<std::string> given;
};

} // namespace test_support
