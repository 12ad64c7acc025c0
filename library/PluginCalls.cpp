// The functions of plug-ins, but for audio.

#include "library/Calls.h"
#include "library/StateFile.h"
#include "library/Texts.h"

#include <cstdlib>
#include <new>

using namespace client_library;

namespace {

constexpr int32_t highestWorker = 63;
constexpr size_t largestState = size_t{1} << 30;

PluginSettings readSettings(const plugin_host_plugin_options& options, const ClientSession& session,
                            bool isAsynchronous) {
    PluginSettings settings;
    settings.path = readPath(options.path, "path");
    settings.identifier = readText(options.identifier, "identifier");
    if (options.preset_path != nullptr && *options.preset_path != '\0')
        settings.presetPath = readPath(options.preset_path, "preset_path");
    settings.dpiAware = (options.flags & PLUGIN_HOST_DPI_AWARE) != 0;
    settings.worker = readNumber(options.worker, 0, highestWorker, "worker");
    const SessionSettings& defaults = session.settings;
    settings.timeLimit =
        readTime(options.timeout, defaults.host.startTimeLimit + defaults.requestTimeLimit, "timeout");
    settings.requestTimeLimit = defaults.requestTimeLimit;
    settings.isAsynchronous = isAsynchronous;
    if (options.state_size > 0) {
        if (options.state == nullptr || options.state_size > largestState)
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "state is null, or its size can't be right");
        if (!settings.presetPath.isEmpty())
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "There are both a state and a preset");
        settings.state = std::make_shared<StateFile>(StateFile::suffixFor(settings.path));
        settings.state->write(options.state, options.state_size);
    }
    return settings;
}

plugin_host_status create(plugin_host_session* session, const plugin_host_plugin_options* options,
                          plugin_host_plugin** plugin, bool isAsynchronous) noexcept {
    return answerWith(session, [&](ClientSession& object) {
        require(plugin, "plugin") = nullptr;
        const auto given = readStructure(&require(options, "options"), "options");
        PluginSettings settings = readSettings(given, object, isAsynchronous);
        if (given.host == nullptr) {
            *plugin = object.createPlugin(settings, nullptr, given.data)->handle;
            return;
        }
        const HandleUse host(HandleKind::host, given.host);
        if (host.get() == nullptr)
            throw Failure(PLUGIN_HOST_INVALID_HANDLE, "host is no handle of a host");
        auto& chosen = static_cast<ClientHost&>(*host.get());
        if (chosen.context.get() != object.context.get())
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "host is another session's");
        chosen.requireLife();
        settings.hasChosenHost = true;
        *plugin = object.createPlugin(settings, &chosen, given.data)->handle;
    });
}

} // namespace

plugin_host_status plugin_host_plugin_create(plugin_host_session* session,
                                             const plugin_host_plugin_options* options,
                                             plugin_host_plugin** plugin) {
    return create(session, options, plugin, false);
}

plugin_host_status plugin_host_plugin_create_async(plugin_host_session* session,
                                                   const plugin_host_plugin_options* options,
                                                   plugin_host_plugin** plugin) {
    return create(session, options, plugin, true);
}

plugin_host_status plugin_host_plugin_cancel(plugin_host_plugin* plugin) {
    return answerWith(plugin, [](ClientPlugin& object) {
        if (!object.cancel())
            throw Failure(PLUGIN_HOST_INVALID_STATE, "The creation has ended");
    });
}

plugin_host_status plugin_host_plugin_destroy(plugin_host_plugin* plugin) {
    return answerWith(plugin, [&](ClientPlugin& object) {
        object.stopAudio();
        invalidate(plugin);
        sessionOf(object).destroyPlugin(object);
    });
}

plugin_host_status plugin_host_plugin_restore(plugin_host_plugin* plugin) {
    return answerWith(plugin, [](ClientPlugin& object) { sessionOf(object).restorePlugin(object); });
}

plugin_host_status plugin_host_plugin_get_data(plugin_host_plugin* plugin, void** data) {
    return answerWith(plugin, [&](ClientPlugin& object) { require(data, "data") = object.data; });
}

plugin_host_status plugin_host_plugin_set_data(plugin_host_plugin* plugin, void* data) {
    return answerWith(plugin, [&](ClientPlugin& object) { object.data = data; });
}

plugin_host_status plugin_host_plugin_get_host(plugin_host_plugin* plugin, plugin_host_host** host) {
    return answerWith(plugin,
                      [&](ClientPlugin& object) { require(host, "host") = object.getHost()->handle; });
}

plugin_host_status plugin_host_plugin_describe(plugin_host_plugin* plugin,
                                               const plugin_host_description** description) {
    return answerWith(plugin, [&](ClientPlugin& object) {
        require(description, "description") = nullptr;
        *description = object.describe();
    });
}

plugin_host_status plugin_host_plugin_refresh(plugin_host_plugin* plugin,
                                              const plugin_host_description** description) {
    return answerWith(plugin, [&](ClientPlugin& object) {
        require(description, "description") = nullptr;
        *description = object.refresh();
    });
}

plugin_host_status plugin_host_plugin_watch_text(plugin_host_plugin* plugin, uint32_t index, int watched) {
    return answerWith(plugin, [&](ClientPlugin& object) { object.watchText(index, watched != 0); });
}

plugin_host_status plugin_host_plugin_set_program(plugin_host_plugin* plugin, uint32_t index) {
    return answerWith(plugin, [&](ClientPlugin& object) { object.setProgram(index); });
}

plugin_host_status plugin_host_plugin_open_editor(plugin_host_plugin* plugin, uint64_t parent_window,
                                                  const char* title) {
    return answerWith(
        plugin, [&](ClientPlugin& object) { object.openEditor(parent_window, readText(title, "title")); });
}

plugin_host_status plugin_host_plugin_close_editor(plugin_host_plugin* plugin) {
    return answerWith(plugin, [](ClientPlugin& object) { object.closeEditor(); });
}

plugin_host_status plugin_host_plugin_set_editor_title(plugin_host_plugin* plugin, const char* title) {
    return answerWith(plugin, [&](ClientPlugin& object) {
        object.setEditorTitle(readText(&require(title, "title"), "title"));
    });
}

plugin_host_status plugin_host_plugin_set_editor_position(plugin_host_plugin* plugin, int32_t x, int32_t y,
                                                          int32_t width, int32_t height) {
    return answerWith(plugin, [&](ClientPlugin& object) {
        if (width < 0 || height < 0 || (width == 0) != (height == 0))
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "width and height are no size");
        object.setEditorPosition(x, y, {width, height});
    });
}

plugin_host_status plugin_host_plugin_load_preset(plugin_host_plugin* plugin, const char* path) {
    return answerWith(plugin, [&](ClientPlugin& object) { object.loadPreset(readPath(path, "path")); });
}

plugin_host_status plugin_host_plugin_save_preset(plugin_host_plugin* plugin, const char* path) {
    return answerWith(plugin, [&](ClientPlugin& object) { object.savePreset(readPath(path, "path")); });
}

plugin_host_status plugin_host_plugin_save_state(plugin_host_plugin* plugin, void** bytes, size_t* size) {
    return answerWith(plugin, [&](ClientPlugin& object) {
        require(bytes, "bytes") = nullptr;
        require(size, "size") = 0;
        const std::vector<uint8_t> state = object.saveState();
        *bytes = std::malloc(std::max<size_t>(state.size(), 1));
        if (*bytes == nullptr)
            throw std::bad_alloc();
        if (!state.empty())
            std::memcpy(*bytes, state.data(), state.size());
        *size = state.size();
    });
}

plugin_host_status plugin_host_plugin_load_state(plugin_host_plugin* plugin, const void* bytes, size_t size) {
    return answerWith(plugin, [&](ClientPlugin& object) {
        require(static_cast<const char*>(bytes), "bytes");
        if (size == 0 || size > largestState)
            throw Failure(PLUGIN_HOST_INVALID_ARGUMENT, "size is out of range");
        object.loadState(bytes, size);
    });
}
