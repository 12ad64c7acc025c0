#pragma once

#include "plugins/editors/EditorRecord.h"
#include "plugins/editors/EditorWindow.h"
#include "plugins/vst2/TestEffect.h"

#include <optional>

/// The base of VST 2 effects with an editor for tests: a window of 200 by 120 pixels, and a record of all
/// that the editor is asked. Whatever it does, a derived class may do its own way.
class EditorEffect : public SilentEffect {
public:
    explicit EditorEffect(audioMasterCallback host);
    ~EditorEffect() override;

protected:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override;

    virtual void openEditor(uint32_t parent);
    virtual void closeEditor();
    /// Null for an answer without a rectangle.
    virtual ERect* getRectangle();
    /// Asks the host for another size, on the calling thread.
    virtual void requestSize(int32_t width, int32_t height);

    void setRectangle(int32_t width, int32_t height);

    std::optional<EditorWindow> window;

private:
    ERect rectangle{};
};

/// The entry of a file with one effect.
#define EDITOR_EFFECT_ENTRY(Effect)                                                                          \
    PLUGIN_EXPORT AEffect* VSTPluginMain(audioMasterCallback host) {                                         \
        return (new Effect(host))->getEffect();                                                              \
    }
