#pragma once

#include "vst2/Vst24.h"

#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace test_support {

/// One call of an effect's dispatcher.
struct DispatcherCall {
    VstInt32 opcode = 0;
    VstInt32 index = 0;
    VstIntPtr value = 0;
    float opt = 0;
    /// The text behind the pointer, of `effCanDo` alone.
    std::string text = {};

    bool operator==(const DispatcherCall&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const DispatcherCall& call) {
    return stream << "{opcode " << call.opcode << ", index " << call.index << ", value " << call.value
                  << ", opt " << call.opt << ", text \"" << call.text << "\"}";
}

/// An effect of the test program's own: records its calls and answers what it is told to, 0 if nothing else.
/// Outlives the instance that it is given to.
class RecordingEffect {
public:
    using Answer = std::function<VstIntPtr(const DispatcherCall& call, void* ptr)>;

    RecordingEffect() {
        effect.magic = kEffectMagic;
        effect.object = this;
        effect.flags = effFlagsCanReplacing;
        effect.dispatcher = [](AEffect* self, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                               float opt) { return of(self).dispatch(opcode, index, value, ptr, opt); };
        effect.setParameter = [](AEffect* self, VstInt32 index, float value) {
            of(self).steps.push_back("setParameter");
            of(self).parameters[index] = value;
            if (of(self).onSetParameter)
                of(self).onSetParameter(index, value);
        };
        effect.getParameter = [](AEffect* self, VstInt32 index) { return of(self).parameters[index]; };
        effect.process = [](AEffect* self, float** inputs, float** outputs, VstInt32 frames) {
            of(self).steps.push_back("process");
            if (of(self).onProcess)
                of(self).onProcess(inputs, outputs, frames);
        };
        effect.processReplacing = [](AEffect* self, float** inputs, float** outputs, VstInt32 frames) {
            of(self).steps.push_back("processReplacing");
            if (of(self).onProcess)
                of(self).onProcess(inputs, outputs, frames);
        };
    }
    RecordingEffect(const RecordingEffect&) = delete;
    RecordingEffect& operator=(const RecordingEffect&) = delete;

    void answer(VstInt32 opcode, VstIntPtr result) {
        answers[opcode] = [result](const DispatcherCall&, void*) { return result; };
    }
    void answer(VstInt32 opcode, const Answer& result) { answers[opcode] = result; }
    /// What `effCanDo` answers to `ability`.
    void answerCanDo(const std::string& ability, VstIntPtr result) { abilities[ability] = result; }
    /// Answers `opcode` by writing a text.
    void answerText(VstInt32 opcode, const std::string& text) {
        answers[opcode] = [text](const DispatcherCall&, void* ptr) -> VstIntPtr {
            text.copy(static_cast<char*>(ptr), text.size());
            return 1;
        };
    }

    size_t countCalls(VstInt32 opcode) const {
        size_t count = 0;
        for (const DispatcherCall& call : calls)
            count += call.opcode == opcode ? 1 : 0;
        return count;
    }

    AEffect effect{};
    std::vector<DispatcherCall> calls;
    /// The names of what was called besides, and "events" for `effProcessEvents`.
    std::vector<std::string> steps;
    std::map<VstInt32, float> parameters;
    std::function<void(VstInt32 index, float value)> onSetParameter;
    std::function<void(float** inputs, float** outputs, VstInt32 frames)> onProcess;

private:
    static RecordingEffect& of(AEffect* effect) { return *static_cast<RecordingEffect*>(effect->object); }

    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) {
        const DispatcherCall call{opcode, index, value, opt,
                                  opcode == effCanDo ? static_cast<const char*>(ptr) : ""};
        calls.push_back(call);
        if (opcode == effProcessEvents)
            steps.push_back("events");
        if (opcode == effCanDo) {
            const auto known = abilities.find(call.text);
            return known != abilities.end() ? known->second : 0;
        }
        const auto known = answers.find(opcode);
        return known != answers.end() ? known->second(call, ptr) : 0;
    }

    std::map<VstInt32, Answer> answers;
    std::map<std::string, VstIntPtr> abilities;
};

} // namespace test_support
