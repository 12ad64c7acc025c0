#pragma once

#include "plugin/PluginInstance.h"
#include "vst3/Vst3Block.h"
#include "vst3/Vst3Buses.h"
#include "vst3/Vst3Host.h"
#include "vst3/Vst3ParameterList.h"
#include "vst3/Vst3Programs.h"

#include <pluginterfaces/gui/iplugview.h>
#include <pluginterfaces/gui/iplugviewcontentscalesupport.h>
#include <pluginterfaces/vst/ivstaudioprocessor.h>
#include <pluginterfaces/vst/ivstcomponent.h>
#include <pluginterfaces/vst/ivsteditcontroller.h>
#include <pluginterfaces/vst/ivstmessage.h>
#include <pluginterfaces/vst/ivstnoteexpression.h>
#include <pluginterfaces/vst/ivstunits.h>
#include <vector>

class Vst3Plugin;

/// The instance of one VST 3 class: a component that renders and, if there is one, a controller with the
/// parameters. A parameter's index is its place in the controller's list, and the client never sees the
/// plug-in's own ids. What an audio worker runs is `Vst3Block`.
///
/// The plug-in is initialised in a fixed order, see `createComponents` and `initialize`, and ended by
/// releasing its interfaces. Oddity no-termination-calls: `setActive(false)`, `disconnect` and the plug-in's
/// own `terminate` are never called. See `PluginInstance` for the threads.
class Vst3PluginInstance : public PluginInstance {
public:
    /// `identifier` is a class's identifier text. Oddity missing-class-empty-instance: any other text gives
    /// an instance that is never open.
    Vst3PluginInstance(PluginHostContext* host, Vst3Plugin* plugin, int32_t instanceId,
                       const String& identifier, bool dpiAware);
    ~Vst3PluginInstance() override;

    PluginApi* getApi() const override;
    bool isOpen() const override;
    void activate() override;
    std::vector<int32_t> getDeviceTypes() override;
    bool hasAudioInput() override;
    bool hasNoteInput() override;
    bool hasAudioOutput() override;
    bool hasNoteOutput() override;
    bool hasSysexInput() override;
    bool supportsMpe() override;
    bool hasMidiControllerMapping() override;
    bool supportsViewDpiScaling() override;
    ProcessingState getProcessingState() const override;
    std::vector<Ref<PluginAudioBus>> getInputBuses() override;
    std::vector<Ref<PluginAudioBus>> getOutputBuses() override;
    int32_t getInputChannelCount() override;
    int32_t getOutputChannelCount() override;
    String getName() override;
    /// The factory's vendor, not the class's.
    String getVendor() override;
    /// The class id, see `classIdText`.
    String getIdentifier() override;
    String getCategory() override;
    String getVersion() override;
    int32_t getLatency() override;
    /// Throws `PluginException`.
    void initialize() override;
    void terminate() override;
    void startProcessing() override;
    void stopProcessing() override;
    /// Oddity programs-not-offered: none; the plug-in is never queried for its program lists.
    int32_t getProgramCount() override;
    void getProgramName(int32_t index, char* buffer, int32_t size) override;
    int32_t getCurrentProgram() override;
    void setCurrentProgram(int32_t index) override;
    void getParameterName(int32_t index, char* buffer, int32_t size) override;
    void getParameterDisplay(int32_t index, char* buffer, int32_t size) override;
    void getParameterLabel(int32_t index, char* buffer, int32_t size) override;
    void getParameterProperties(int32_t index, ParameterProperties& properties) override;
    float getParameterValue(int32_t index) override;
    /// Drops a change of the parameter that the user is holding in the editor.
    void setParameterValue(int32_t index, float value) override;
    int32_t process(int32_t frames, bool keepActive, bool realtime) override;
    int32_t getParameterCount() override;
    String getNoteName(int32_t note) override;
    bool hasEditor() override;
    bool canResizeEditor() override;
    bool checkEditorSize(int32_t& width, int32_t& height) override;
    void openEditor(uint32_t parentWindow, bool resizable, const String& title) override;
    void closeEditor() override;
    void editorWasClosed() override;
    void editorMouseWheel(float distance) override;
    bool editorKeyDown(uint16_t key, int16_t keyCode, int32_t modifiers) override;
    bool editorKeyUp(uint16_t key, int16_t keyCode, int32_t modifiers) override;
    /// Notifies the view even while the client isn't notified.
    void editorSizeChanged(int32_t x, int32_t y, int32_t width, int32_t height) override;
    void editorFocusChanged(bool focused) override;
    void editorSetSize(int32_t& width, int32_t& height) override;
    void loadPreset(const String& path) override;
    void savePreset(const String& path) override;

    /// A view's request for another size, in pixels; one below 11 in either direction is ignored, as plug-ins
    /// send it before they have a real one. Always `kResultOk`. Any thread.
    virtual tresult resizeView(Steinberg::IPlugView* view, Steinberg::ViewRect* newSize);

    /// Keeps the instance allocated as long as a call of the plug-in's is inside of it.
    bool prepareForDeletion() override;

    /// Makes the component and its controller and connects them; once, right after construction. Throws
    /// nothing: `isOpen` is false for a class that can't be made.
    virtual void createComponents();
    virtual String getFormatVersion();
    virtual bool hasNoteExpression(int32_t busIndex, int16_t channel, Vst::NoteExpressionTypeID typeId);
    /// Attaches the view to a new window, unless one is open.
    virtual void openGUI(uint32_t parentWindow, bool resizable, const String& title,
                         Steinberg::IPlugView& editor);

    /// Sets the program by a point at `sampleOffset`, in frames, of the next block.
    void setCurrentProgram(int32_t index, int32_t sampleOffset);

    /// The context, handler and frame for the plug-in; outlives the instance.
    Vst3Host& getHost() const { return *host; }

    // Reports of the plug-in. Any thread.

    /// Null until there is one.
    Vst::IEditController* getController() const { return publishedController; }
    void parameterEdited(int32_t index, float value) { notifyParameterChanged(index, value); }
    void everythingChanged() { notifyAllParametersChanged(); }

protected:
    /// Finds the parameter, and the list if there is one, that selects the plug-in's program.
    void findProgramParameter();

private:
    /// Cuts the instance off from the plug-in's calls; false if one doesn't end.
    bool endCalls();

    // Initialisation.

    /// Before the components are made anew.
    void releaseComponents();
    bool makeComponent();
    bool makeController();
    void setController(const IPtr<Vst::IEditController>& newController);
    void connectController();
    void handStateToController();
    void adoptBusArrangements();
    void activateBusses(Vst::MediaType type, Vst::BusDirection direction);

    std::vector<Ref<PluginAudioBus>> collectBuses(Vst::BusDirection direction) const;
    std::vector<Vst::SpeakerArrangement> collectArrangements(Vst::BusDirection direction) const;

    String getSubcategories() const;

    IPtr<Steinberg::IPlugView> makeView();
    /// The view, made if there is none; null if the plug-in gives none.
    Steinberg::IPlugView* provideView();
    /// Adopts the size that the view reports, if any.
    void adoptViewSize(Steinberg::IPlugView& editor);
    /// Applies the stored size to the window, and notifies the view later if `tellsView`.
    void applySize(PluginWindow& open, bool tellsView);
    /// Notifies the view, from the main loop. Any thread.
    void postSize(const PluginWindow& open, int32_t width, int32_t height);

    Vst3Plugin* plugin;
    /// Never freed, since plug-ins keep it.
    Vst3Host* const host;
    const FUID classId;
    /// The controller came out of the component's own object.
    bool singleComponent = true;
    /// Never changed: the mode of `initialize`, not of a block.
    const bool setupRealtime = true;

    // The plug-in. Set up before a worker has the instance; released from the last to the first.

    IPtr<Vst::IComponent> component;
    IPtr<Vst::IEditController> controller;
    IPtr<Vst::IEditController2> controller2;
    IPtr<Vst::IAudioProcessor> processor;

protected:
    /// Oddity programs-not-offered: never queried.
    IPtr<Vst::IUnitInfo> unitInfo;

private:
    IPtr<Vst::IUnitData> unitData;
    IPtr<Vst::IProgramListData> programListData;
    IPtr<Vst::INoteExpressionController> noteExpressionController;
    IPtr<Vst::IMidiMapping> midiMapping;
    IPtr<Vst::IConnectionPoint> componentConnection;
    IPtr<Vst::IConnectionPoint> controllerConnection;
    IPtr<Steinberg::IPlugView> view;
    IPtr<Steinberg::IPlugViewContentScaleSupport> contentScaleSupport;
    /// `controller`, for the threads of the plug-in.
    PublishedPointer<Vst::IEditController> publishedController;

    const Vst3Buses buses{component};
    const Vst3ParameterList parameters{controller};
    Vst3Programs programs{parameters};
    Vst3Block block{audio,
                    parameterEdit,
                    {buses, parameters, programs, processor, midiMapping, noteExpressionController}};
};
