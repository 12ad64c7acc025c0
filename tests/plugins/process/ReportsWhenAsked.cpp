// An effect that reports to its host as its program is set: the program's number says what and from where.

#include "plugins/Vst2Effect.h"

#include <algorithm>
#include <cstdio>
#include <thread>

namespace {

enum Report {
    automateHere = 1,
    automateOnOwnThread = 2,
    beginEdit = 3,
    endEdit = 4,
    updateDisplay = 5,
    changeIo = 6,
    updateDisplayTwice = 7,
    automateManyTimes = 8,
    automateWhenQuestioned = 9,
    automateInProcess = 10,
    editOnOwnThread = 11,
    firstIndex = 100, // from here on: an automation of the parameter with the number's rest
};

constexpr int32_t parameterCount = 4;
constexpr int32_t reportedParameter = 3;
constexpr int32_t manyTimes = 100;

template <class Call>
void onOwnThread(Call call) {
    std::thread(call).join();
}

class ReportsWhenAsked : public Vst2Effect {
public:
    explicit ReportsWhenAsked(audioMasterCallback host)
        : Vst2Effect(host, {.uniqueId = 0x52657057,
                            .name = "Reports When Asked",
                            .parameters = parameterCount,
                            .programs = 1,
                            .latency = 64}) {}

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override {
        if (opcode == effSetProgram) {
            report(static_cast<int32_t>(value));
            return 0;
        }
        if (opcode == effGetProgramNameIndexed) {
            std::snprintf(static_cast<char*>(ptr), 24, "Only");
            return 1;
        }
        return Vst2Effect::dispatch(opcode, index, value, ptr, opt);
    }

    void processReplacing(float** inputs, float** outputs, int32_t frames) override {
        for (int channel = 0; channel < 2; ++channel)
            std::copy_n(inputs[channel], frames, outputs[channel]);
        if (automatesInProcess) {
            automatesInProcess = false;
            automate(reportedParameter, 0.5F);
        }
    }

    void mainsChanged(bool) override { automate(0, 1.0F); }

    const char* getParameterName(int32_t index) override {
        if (automatesWhenQuestioned && index == 0) {
            setParameter(2, 0.75F);
            automate(2, 0.75F);
        }
        constexpr const char* names[] = {"A", "B", "C", "D"};
        return names[index];
    }

private:
    void automate(int32_t index, float value) { callHost(audioMasterAutomate, index, 0, nullptr, value); }

    void report(int32_t what) {
        switch (what) {
        case automateHere:
            automate(reportedParameter, 0.5F);
            break;
        case automateOnOwnThread:
            onOwnThread([this] { automate(reportedParameter, 0.5F); });
            break;
        case beginEdit:
            callHost(audioMasterBeginEdit, reportedParameter);
            break;
        case endEdit:
            callHost(audioMasterEndEdit, reportedParameter);
            break;
        case updateDisplay:
            callHost(audioMasterUpdateDisplay);
            break;
        case changeIo:
            callHost(audioMasterIOChanged);
            break;
        case updateDisplayTwice:
            onOwnThread([this] {
                callHost(audioMasterUpdateDisplay);
                callHost(audioMasterUpdateDisplay);
            });
            break;
        case automateManyTimes:
            onOwnThread([this] {
                for (int32_t i = 0; i < manyTimes; ++i)
                    automate(i, 0.5F);
            });
            break;
        case automateWhenQuestioned:
            automatesWhenQuestioned = true;
            break;
        case automateInProcess:
            automatesInProcess = true;
            break;
        case editOnOwnThread:
            onOwnThread([this] {
                callHost(audioMasterBeginEdit, reportedParameter);
                callHost(audioMasterEndEdit, reportedParameter);
            });
            break;
        default:
            automate(what - firstIndex, 0.5F);
            break;
        }
    }

    bool automatesWhenQuestioned = false;
    std::atomic<bool> automatesInProcess = false;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(audioMasterCallback host) {
    return (new ReportsWhenAsked(host))->getEffect();
}
