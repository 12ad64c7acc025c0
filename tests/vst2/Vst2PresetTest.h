#pragma once

#include "support/FileBytes.h"
#include "support/TestDirectory.h"
#include "support/Vst2PresetBytes.h"
#include "vst2/Vst2Fixture.h"

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

/// An effect with the id 'Test', of three programs and two parameters unless a test says otherwise, and what
/// it was told by a preset, a line each.
class Vst2PresetTest : public Vst2Test {
protected:
    Vst2PresetTest() {
        effect.effect.uniqueID = 0x54657374;
        effect.effect.version = 7;
        effect.effect.numPrograms = 3;
        effect.effect.numParams = 2;
        effect.onSetParameter = [this](VstInt32 index, float value) {
            char text[64];
            std::snprintf(text, sizeof text, "parameter %d %.3f", index, static_cast<double>(value));
            lines.emplace_back(text);
        };
        note(effBeginSetProgram, "begin");
        note(effEndSetProgram, "end");
        effect.answer(effSetProgram, [this](const test_support::DispatcherCall& call, void*) -> VstIntPtr {
            lines.push_back("program " + std::to_string(call.value));
            return 0;
        });
        effect.answer(effSetProgramName, [this](const test_support::DispatcherCall&, void* ptr) -> VstIntPtr {
            lines.push_back(std::string("name ") + static_cast<const char*>(ptr));
            return 0;
        });
        effect.answer(effSetChunk, [this](const test_support::DispatcherCall& call, void* ptr) -> VstIntPtr {
            lines.push_back("chunk " + std::to_string(call.index) + ": " +
                            test_support::hexOf(ptr, static_cast<size_t>(call.value)));
            return 1;
        });
        effect.answer(effBeginLoadBank, [this](const test_support::DispatcherCall&, void* ptr) -> VstIntPtr {
            lines.push_back("bank " + test_support::hexOf(ptr, sizeof(VstPatchChunkInfo)).substr(0, 48));
            return bankAnswer;
        });
        initialize();
    }

    /// An effect that keeps its programs as chunks.
    void useChunks() { effect.effect.flags |= effFlagsProgramChunks; }

    std::string write(const std::string& name, const std::string& bytes) {
        const std::string path = folder / name;
        test_support::writeFile(path, bytes);
        return path;
    }

    void load(const std::string& name, const std::string& bytes) {
        instance->loadPreset(write(name, bytes).c_str());
    }

    /// The message of the `IOException` that loading gives, or "none".
    std::string failureOf(const std::string& name, const std::string& bytes) {
        return messageOf([&] { load(name, bytes); });
    }

    static std::string messageOf(const std::function<void()>& body) {
        try {
            body();
        } catch (const IOException& exception) {
            return exception.getMessage().toStdString();
        }
        return "none";
    }

    test_support::TestDirectory folder;
    std::vector<std::string> lines;
    VstIntPtr bankAnswer = 0;

private:
    void note(VstInt32 opcode, const std::string& line) {
        effect.answer(opcode, [this, line](const test_support::DispatcherCall&, void*) -> VstIntPtr {
            lines.push_back(line);
            return 0;
        });
    }
};
