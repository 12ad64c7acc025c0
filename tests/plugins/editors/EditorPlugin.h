#pragma once

#include "plugins/Vst3Factory.h"
#include "plugins/Vst3SinglePlugin.h"
#include "plugins/editors/EditorRecord.h"
#include "plugins/editors/EditorWindow.h"
#include "plugins/vst3/Identifiers.h"

#include <optional>
#include <pluginterfaces/gui/iplugview.h>
#include <string>

/// What every editor of the VST 3 test plug-ins does: a window of 200 by 120 pixels, and a record of what it
/// is told. Whatever it is asked, a derived class may answer for itself.
class EditorView : public Vst3Offering<Vst3Counted, Steinberg::IPlugView> {
public:
    EditorView();
    ~EditorView() override;

    tresult PLUGIN_API isPlatformTypeSupported(FIDString type) override;
    tresult PLUGIN_API attached(void* parent, FIDString type) override;
    tresult PLUGIN_API removed() override;
    tresult PLUGIN_API onWheel(float distance) override;
    tresult PLUGIN_API onKeyDown(Steinberg::char16 key, Steinberg::int16 code,
                                 Steinberg::int16 modifiers) override;
    tresult PLUGIN_API onKeyUp(Steinberg::char16 key, Steinberg::int16 code,
                               Steinberg::int16 modifiers) override;
    tresult PLUGIN_API getSize(Steinberg::ViewRect* answer) override;
    tresult PLUGIN_API onSize(Steinberg::ViewRect* newSize) override;
    tresult PLUGIN_API onFocus(Steinberg::TBool state) override;
    tresult PLUGIN_API setFrame(Steinberg::IPlugFrame* newFrame) override;
    tresult PLUGIN_API canResize() override;
    tresult PLUGIN_API checkSizeConstraint(Steinberg::ViewRect* wanted) override;

protected:
    virtual void openEditor(uint32_t parent);
    virtual void closeEditor();
    /// Asks the host for another size, on the calling thread.
    virtual void requestSize(int32_t width, int32_t height);

    std::optional<EditorWindow> window;

private:
    Steinberg::IPlugFrame* frame = nullptr; // outlives the view
    Steinberg::ViewRect size{30, 40, 30 + EditorWindow::defaultWidth, 40 + EditorWindow::defaultHeight};
};

/// An effect whose controller makes views of one kind, and records which it was asked for.
template <class View>
class EditorPlugin : public Vst3SinglePlugin {
public:
    EditorPlugin() : Vst3SinglePlugin({}) {}

    Steinberg::IPlugView* PLUGIN_API createView(FIDString name) override {
        editorRecord()->calls.add(std::string("view ") + (name != nullptr ? name : "without a name"));
        return makeView(name);
    }

protected:
    virtual Steinberg::IPlugView* makeView(FIDString) { return new View; }
};

template <class Plugin>
Steinberg::IPluginFactory* makeEditorFactory() {
    return new Vst3Factory({vst3Class<Plugin>(firstClass, "Editor")});
}
