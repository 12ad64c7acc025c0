#pragma once

#include "editors/EditorTest.h"

#include <string>
#include <vector>

/// The editor of one of the VST 3 modules of the tests.
class Vst3EditorTest : public EditorTest {
protected:
    /// What the view has been told since the last call.
    std::vector<std::string> takeCalls() {
        std::vector<std::string> calls = record->calls.all();
        record->calls.clear();
        return calls;
    }

    /// The size that the view was given last. What a thread of the plug-in's is answered has no order beside
    /// it.
    std::string lastSizeTold() {
        std::string last;
        for (const std::string& call : takeCalls()) {
            if (call.starts_with("size "))
                last = call;
        }
        return last;
    }

    bool hasEditor() {
        bool answer = false;
        onMainThread([&] { answer = instance->hasEditor(); });
        return answer;
    }

    /// An opening that prints that the view has no size.
    void openWithoutASize() {
        const test_support::CapturedOutput errors(STDERR_FILENO);
        open();
    }
};
