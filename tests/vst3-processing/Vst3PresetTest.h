#pragma once

#include "support/FileBytes.h"
#include "support/PresetBytes.h"
#include "support/TestDirectory.h"
#include "vst3-processing/Vst3ProcessingTest.h"

/// An instance whose plug-in has states, and a folder for its files.
class Vst3PresetTest : public Vst3ProcessingTest {
protected:
    using Texts = std::vector<std::string>;

    Vst3PresetTest() {
        component.state.bytes = "component!";
        controller.state.bytes = "ctrl";
    }

    /// From here on only what presets do is recorded.
    void createForPresets() {
        create();
        controller.componentState.given.clear();
    }

    /// Loads a file of these bytes.
    void load(const std::string& bytes) {
        test_support::writeFile(path, bytes);
        loadFrom(path);
    }
    void loadFrom(const std::string& file) { instance->loadPreset(file.c_str()); }

    std::string save() {
        saveTo(path);
        return test_support::readFile(path);
    }

    void saveTo(const std::string& file) { instance->savePreset(file.c_str()); }

    /// The words of the `IOException` that `action` ends with.
    template <class Action>
    static std::string failureOf(const Action& action) {
        try {
            action();
        } catch (const IOException& exception) {
            return exception.getMessage().toStdString();
        }
        return "no failure";
    }

    test_support::TestDirectory folder;
    const std::string path = folder / "some.vstpreset";
};
