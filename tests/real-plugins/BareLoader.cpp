// The smallest program that can play a VST 2 plug-in, sharing no code with the host. What fails here as well
// is the plug-in's own fault (or its libraries'); what fails only in the host is the host's. Without it, a
// plug-in that never worked would look like a broken host, and a broken host could be excused as a broken
// plug-in.
//
//     bare-loader [--vary|--preset|--editor] FILE
//
// loads FILE, reads its names, renders 200 blocks of a sine and closes it. With --vary, a parameter changes
// before every block, notes are played and there is a running transport, as the host's own run does it. With
// --preset, the plug-in's state is taken behind the blocks, each parameter changed, and the state given back.
// With --editor, the plug-in's editor is opened behind the blocks, in a window of this program's, and closed
// after two seconds.
//
// One line goes to the standard output: "ok" and what the plug-in is, with the parameters whose values the
// state didn't bring back as "lost", or what failed. The status is 0, or 1
// when something failed, or 2 when the arguments are wrong. The last line counts: plug-ins print as they
// like. No such line at all is a failure too, whatever the status: a plug-in may end the process at once.

#include "real-plugins/BareRun.h"
#include "real-plugins/BareWindow.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <dlfcn.h>

namespace {

// What this program needs of the VST 2.4 interface, in its binary layout.

struct Effect;
using Callback = std::intptr_t (*)(Effect* effect, std::int32_t opcode, std::int32_t index,
                                   std::intptr_t value, void* pointer, float option);
using Process = void (*)(Effect* effect, float** inputs, float** outputs, std::int32_t frames);
using Entry = Effect* (*)(Callback);

struct Effect {
    std::int32_t magic;
    Callback dispatcher;
    Process process; // adds to what the outputs hold
    void (*setParameter)(Effect* effect, std::int32_t index, float value);
    float (*getParameter)(Effect* effect, std::int32_t index);
    std::int32_t numPrograms;
    std::int32_t numParams;
    std::int32_t numInputs;
    std::int32_t numOutputs;
    std::int32_t flags;
    std::intptr_t reserved1;
    std::intptr_t reserved2;
    std::int32_t initialDelay;
    std::int32_t realQualities;
    std::int32_t offQualities;
    float ioRatio;
    void* object;
    void* user;
    std::int32_t uniqueId;
    std::int32_t version;
    Process processReplacing;
    void (*processDoubleReplacing)(Effect* effect, double** inputs, double** outputs, std::int32_t frames);
    char future[56];
};

struct MidiEvent {
    std::int32_t type;
    std::int32_t byteSize;
    std::int32_t deltaFrames;
    std::int32_t flags;
    std::int32_t noteLength;
    std::int32_t noteOffset;
    std::uint8_t midiData[4];
    std::int8_t detune;
    std::int8_t noteOffVelocity;
    std::int8_t reserved1;
    std::int8_t reserved2;
};

struct OneEvent {
    std::int32_t numEvents;
    std::intptr_t reserved;
    MidiEvent* events[2];
};

struct TimeInfo {
    double samplePos;
    double sampleRate;
    double nanoSeconds;
    double ppqPos;
    double tempo;
    double barStartPos;
    double cycleStartPos;
    double cycleEndPos;
    std::int32_t timeSigNumerator;
    std::int32_t timeSigDenominator;
    std::int32_t smpteOffset;
    std::int32_t smpteFrameRate;
    std::int32_t samplesToNextClock;
    std::int32_t flags;
};

static_assert(sizeof(Effect) == (sizeof(void*) == 4 ? 144 : 192));
static_assert(sizeof(MidiEvent) == 32);
static_assert(sizeof(TimeInfo) == 88);
static_assert(offsetof(OneEvent, events) == (sizeof(void*) == 4 ? 8 : 16));

constexpr std::int32_t effectMagic = 0x56737450; // "VstP"
constexpr std::int32_t hasEditor = 1 << 0;
constexpr std::int32_t canReplacing = 1 << 4;
constexpr std::int32_t programChunks = 1 << 5;
constexpr std::int32_t isSynth = 1 << 8;

enum EffectOpcode : std::int32_t {
    effOpen = 0,
    effClose = 1,
    effSetProgram = 2,
    effGetProgram = 3,
    effGetParamLabel = 6,
    effGetParamDisplay = 7,
    effGetParamName = 8,
    effSetSampleRate = 10,
    effSetBlockSize = 11,
    effMainsChanged = 12,
    effEditGetRect = 13,
    effEditOpen = 14,
    effEditClose = 15,
    effEditIdle = 19,
    effGetChunk = 23,
    effSetChunk = 24,
    effProcessEvents = 25,
    effGetProgramNameIndexed = 29,
    effGetEffectName = 45,
    effGetVendorString = 47,
    effGetProductString = 48,
    effStartProcess = 71,
    effStopProcess = 72,
};

enum HostOpcode : std::int32_t {
    audioMasterVersion = 1,
    audioMasterSizeWindow = 15,
    audioMasterGetTime = 7,
    audioMasterGetSampleRate = 16,
    audioMasterGetBlockSize = 17,
};

using bare::Channels;
using bare::fail;
using bare::stage;
using bare::Task;
using score::blocks;
using score::blockSize;
using score::sampleRate;

// Null unless there is a transport.
TimeInfo* transport = nullptr;

// Null unless the editor is open.
bare::Window* window = nullptr;

std::intptr_t audioMaster(Effect*, std::int32_t opcode, std::int32_t index, std::intptr_t value, void*,
                          float) {
    switch (opcode) {
    case audioMasterSizeWindow:
        if (window != nullptr) {
            window->resize(index, static_cast<std::int32_t>(value));
        }
        return window != nullptr ? 1 : 0;
    case audioMasterVersion:
        return 2400;
    case audioMasterGetSampleRate:
        return sampleRate;
    case audioMasterGetBlockSize:
        return blockSize;
    case audioMasterGetTime:
        return reinterpret_cast<std::intptr_t>(transport);
    default:
        return 0;
    }
}

std::intptr_t call(Effect* effect, const char* what, std::int32_t opcode, std::int32_t index = 0,
                   std::intptr_t value = 0, void* pointer = nullptr, float option = 0.0F) {
    stage = what;
    return effect->dispatcher(effect, opcode, index, value, pointer, option);
}

/// Reads every text that a host shows. Some plug-ins write far more than the interface allows them.
void readTexts(Effect* effect) {
    std::array<char, 4096> text{};
    const auto read = [&](const char* what, std::int32_t opcode, std::int32_t index) {
        text.fill(0);
        call(effect, what, opcode, index, 0, text.data());
    };
    read("effGetEffectName", effGetEffectName, 0);
    read("effGetVendorString", effGetVendorString, 0);
    read("effGetProductString", effGetProductString, 0);
    for (std::int32_t index = 0; index < effect->numParams; ++index) {
        read("effGetParamName", effGetParamName, index);
        read("effGetParamLabel", effGetParamLabel, index);
        read("effGetParamDisplay", effGetParamDisplay, index);
        stage = "getParameter";
        if (std::isnan(effect->getParameter(effect, index))) {
            fail("NaN as a parameter");
        }
    }
    for (std::int32_t index = 0; index < effect->numPrograms; ++index) {
        read("effGetProgramNameIndexed", effGetProgramNameIndexed, index);
    }
}

void sendNote(Effect* effect, std::uint8_t status, std::uint8_t key) {
    // Static: a plug-in may look at its events until the block is rendered.
    static MidiEvent event;
    static OneEvent list;
    event = {};
    event.type = 1;
    event.byteSize = sizeof(MidiEvent);
    event.midiData[0] = status;
    event.midiData[1] = key;
    event.midiData[2] = 100;
    list = {1, 0, {&event, nullptr}};
    call(effect, "effProcessEvents", effProcessEvents, 0, 0, &list);
}

/// What --vary adds before a block.
void varyBefore(Effect* effect, int block) {
    static TimeInfo time;
    constexpr std::int32_t changed = 1 << 0;
    constexpr std::int32_t playing = 1 << 1;
    constexpr std::int32_t cycleActive = 1 << 2;
    constexpr std::int32_t recording = 1 << 3;
    constexpr std::int32_t valid =
        (1 << 8) | (1 << 9) | (1 << 10) | (1 << 12) | (1 << 13); // but for the bars
    const score::Transport now = score::transportAt(block);
    time = {};
    time.samplePos = static_cast<double>(now.samplePosition);
    time.sampleRate = sampleRate;
    time.nanoSeconds = now.nanoseconds;
    time.tempo = now.tempo;
    time.ppqPos = now.position;
    time.barStartPos = now.barStart;
    time.cycleEndPos = now.loopEnd;
    time.timeSigNumerator = now.numerator;
    time.timeSigDenominator = now.denominator;
    time.flags = valid | (now.hasChanged ? changed : 0) | (now.isPlaying ? playing : 0) |
                 (now.isLooping ? cycleActive : 0) | (now.isRecording ? recording : 0);
    transport = &time;
    if (const auto change = score::parameterChangeAt(block, effect->numParams)) {
        stage = "setParameter";
        effect->setParameter(effect, change->index, change->value);
    }
    if (const auto note = score::noteAt(block)) {
        sendNote(effect, note->status, note->key);
    }
}

/// Renders the blocks; the largest magnitude that came out.
float render(Effect* effect, bool vary) {
    const bool replacing = (effect->flags & canReplacing) != 0;
    const Process process = replacing ? effect->processReplacing : effect->process;
    if (process == nullptr) {
        fail("no function that renders");
    }
    Channels inputs(effect->numInputs);
    Channels outputs(effect->numOutputs);
    float peak = 0.0F;
    for (int block = 0; block < blocks; ++block) {
        if (vary) {
            varyBefore(effect, block);
        } else if ((effect->flags & isSynth) != 0 && block == 0) {
            sendNote(effect, 0x90, 60);
        }
        inputs.fill([block](std::int32_t frame) { return score::inputAt(block, frame); });
        outputs.fill([](std::int32_t) { return 0.0F; });
        stage = replacing ? "processReplacing" : "process";
        process(effect, inputs.array(), outputs.array(), blockSize);
        inputs.check("wrote outside of its inputs");
        outputs.check("wrote outside of its outputs");
        peak = std::max(peak, outputs.peak());
    }
    return peak;
}

std::vector<float> readValues(Effect* effect) {
    std::vector<float> values;
    stage = "getParameter";
    for (std::int32_t index = 0; index < effect->numParams; ++index) {
        values.push_back(effect->getParameter(effect, index));
    }
    return values;
}

/// Takes the state, a chunk or the values themselves, and the current program, changes all parameters and
/// gives it back. Returns what was lost.
std::vector<std::int32_t> restoreState(Effect* effect) {
    const bool hasChunk = (effect->flags & programChunks) != 0;
    std::vector<char> chunk;
    if (hasChunk) {
        void* data = nullptr;
        const std::intptr_t size = call(effect, "effGetChunk", effGetChunk, 0, 0, static_cast<void*>(&data));
        chunk.assign(static_cast<char*>(data), static_cast<char*>(data) + size);
    }
    const std::intptr_t program = call(effect, "effGetProgram", effGetProgram);
    const std::vector<float> before = readValues(effect);
    const auto setAll = [&](const auto& valueAt) {
        stage = "setParameter";
        for (std::int32_t index = 0; index < effect->numParams; ++index) {
            effect->setParameter(effect, index, valueAt(before[static_cast<std::size_t>(index)]));
        }
    };
    setAll(bare::otherValue);
    if (hasChunk) {
        call(effect, "effSetChunk", effSetChunk, 0, static_cast<std::intptr_t>(chunk.size()), chunk.data());
    } else {
        setAll([](float value) { return value; });
    }
    call(effect, "effSetProgram", effSetProgram, 0, program);
    return bare::findLost(before, readValues(effect));
}

void openEditor(Effect* effect) {
    if ((effect->flags & hasEditor) == 0) {
        fail("has no editor");
    }
    struct Rectangle {
        std::int16_t top;
        std::int16_t left;
        std::int16_t bottom;
        std::int16_t right;
    };
    Rectangle* size = nullptr;
    call(effect, "effEditGetRect", effEditGetRect, 0, 0, &size);
    bare::Window own(size != nullptr ? size->right - size->left : 640,
                     size != nullptr ? size->bottom - size->top : 480);
    window = &own;
    call(effect, "effEditOpen", effEditOpen, 0, 0,
         reinterpret_cast<void*>(static_cast<std::uintptr_t>(own.getId())));
    own.show([&] { call(effect, "effEditIdle", effEditIdle); });
    call(effect, "effEditClose", effEditClose);
    window = nullptr;
}

bare::Findings play(const char* file, Task task) {
    stage = "dlopen";
    void* library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        fail(dlerror());
    }
    stage = "dlsym";
    const char* entryName = "VSTPluginMain";
    void* symbol = dlsym(library, entryName);
    if (symbol == nullptr) {
        entryName = "main";
        symbol = dlsym(library, entryName);
    }
    if (symbol == nullptr) {
        fail("no VST 2 entry point");
    }

    stage = entryName;
    Effect* effect = reinterpret_cast<Entry>(symbol)(audioMaster);
    if (effect == nullptr) {
        fail("made no effect");
    }
    if (effect->magic != effectMagic) {
        fail("wrong magic number");
    }
    call(effect, "effOpen", effOpen);
    const std::int32_t numInputs = effect->numInputs;
    const std::int32_t numOutputs = effect->numOutputs;
    const std::int32_t numParams = effect->numParams;
    const std::int32_t numPrograms = effect->numPrograms;
    const bool synth = (effect->flags & isSynth) != 0;
    if (numInputs < 0 || numOutputs < 0 || numParams < 0 || numPrograms < 0) {
        fail("a negative count");
    }
    readTexts(effect);
    call(effect, "effSetSampleRate", effSetSampleRate, 0, 0, nullptr, static_cast<float>(sampleRate));
    call(effect, "effSetBlockSize", effSetBlockSize, 0, blockSize);
    call(effect, "effMainsChanged 1", effMainsChanged, 0, 1);
    call(effect, "effStartProcess", effStartProcess);
    const float peak = render(effect, task == Task::varyParameters);
    std::vector<std::int32_t> lost;
    if (task == Task::restoreState) {
        lost = restoreState(effect);
    } else if (task == Task::openEditor) {
        openEditor(effect);
    }
    call(effect, "effStopProcess", effStopProcess);
    call(effect, "effMainsChanged 0", effMainsChanged, 0, 0);
    call(effect, "effClose", effClose);
    stage = "dlclose";
    dlclose(library);

    return {entryName, numInputs, numOutputs, numParams, numPrograms, synth, peak, lost};
}

} // namespace

int main(int argc, char* argv[]) {
    return bare::run(argc, argv, play);
}
