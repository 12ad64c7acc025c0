/**
 * @file plugin-host/client.hpp
 * plugin-host/client.h for C++20: handles that own, exceptions, and the standard library's types. Header
 * only.
 *
 *     plugin_host::session session;
 *     plugin_host::plugin plugin(session, {.path = "/usr/lib/lxvst/echo.so"});
 *     plugin.start();
 *     for (plugin_host::input in = plugin.begin(); more(in); in = plugin.begin())
 *         play(plugin.process(256));
 *
 * What the calls do, what they block on and which threads may make them is told at the functions of client.h
 * that have their names; those of audio allocate nothing and throw only if they fail. A failure is a
 * plugin_host::error.
 */
#ifndef PLUGIN_HOST_CLIENT_HPP
#define PLUGIN_HOST_CLIENT_HPP

#include <plugin-host/client.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace plugin_host {

using status = plugin_host_status;
using std::chrono::milliseconds;

/** What a call throws: its status, and one line about it. */
class error : public std::runtime_error {
public:
    error(plugin_host::status code, const std::string& text) : std::runtime_error(text), code_(code) {}
    /** Why; never PLUGIN_HOST_OK. */
    [[nodiscard]] plugin_host::status code() const noexcept { return code_; }

private:
    plugin_host::status code_;
};

/** Throws what a call of client.h has failed with. */
inline void check(plugin_host::status code) {
    if (code != PLUGIN_HOST_OK)
        throw error(code, plugin_host_error());
}

/** The same for the calls of audio, which leave no text. */
inline void check_audio(plugin_host::status code) {
    if (code != PLUGIN_HOST_OK)
        throw error(code, plugin_host_status_text(code));
}

/** The library's version, which may be another than that of this header. */
inline std::string_view version() noexcept {
    return plugin_host_version();
}

enum class format { vst2 = PLUGIN_HOST_VST2, vst3 = PLUGIN_HOST_VST3 };

/** Bits of a host's pointers. */
enum class width : std::uint32_t { any = 0, bits32 = PLUGIN_HOST_WIDTH_32, bits64 = PLUGIN_HOST_WIDTH_64 };

/** What a path says before anything is loaded. */
struct file {
    plugin_host::format format = plugin_host::format::vst2;
    bool loads_in_32 = false;
    bool loads_in_64 = false;
};

inline file inspect(const std::string& path) {
    plugin_host_file found{};
    found.size = sizeof found;
    check(plugin_host_inspect(path.c_str(), &found));
    return {static_cast<format>(found.format), (found.widths & PLUGIN_HOST_WIDTH_32) != 0,
            (found.widths & PLUGIN_HOST_WIDTH_64) != 0};
}

struct parameter {
    std::string name;
    std::string short_name;
    std::string text;
    std::string unit;
    std::string group;
    float value = 0;
    std::int32_t id = 0;
    bool is_automatable = false;
    bool is_switch = false;
    bool is_integer = false;
    std::int32_t minimum = 0;
    std::int32_t maximum = 0;
};

struct bus {
    std::string name;
    std::vector<std::int32_t> channels;
};

/** What a plug-in is and has, at one moment. */
struct description {
    std::string name;
    std::string vendor;
    std::string version;
    std::string category;
    std::string identifier;
    std::string path;
    plugin_host::format format = plugin_host::format::vst2;
    bool has_editor = false;
    bool has_note_input = false;
    bool has_note_output = false;
    bool supports_mpe = false;
    bool maps_midi_controllers = false;
    /** Whether name, vendor, version, category and note input are known. */
    bool is_identified = false;
    std::size_t input_channels = 0;
    std::size_t output_channels = 0;
    std::int32_t latency = 0;
    std::vector<bus> input_buses;
    std::vector<bus> output_buses;
    std::vector<parameter> parameters;
    std::vector<std::string> programs;
    /** 128 names, or none. */
    std::vector<std::string> note_names;
};

namespace detail {

struct description_deleter {
    void operator()(const plugin_host_description* given) const noexcept {
        plugin_host_description_free(given);
    }
};

using owned_description = std::unique_ptr<const plugin_host_description, description_deleter>;

inline std::vector<bus> copy(const plugin_host_bus* const* buses, std::size_t count) {
    std::vector<bus> result;
    for (const plugin_host_bus* each : std::span(buses, count))
        result.push_back({each->name, {each->channels, each->channels + each->channel_count}});
    return result;
}

inline parameter copy(const plugin_host_parameter& given) {
    const auto is = [&](std::uint32_t flag) { return (given.flags & flag) != 0; };
    return {given.name,
            given.short_name,
            given.text,
            given.unit,
            given.group,
            given.value,
            given.id,
            is(PLUGIN_HOST_PARAMETER_AUTOMATABLE),
            is(PLUGIN_HOST_PARAMETER_SWITCH),
            is(PLUGIN_HOST_PARAMETER_INTEGER),
            given.minimum,
            given.maximum};
}

inline description copy(const plugin_host_description& given) {
    description result;
    const auto is = [&](std::uint32_t flag) { return (given.flags & flag) != 0; };
    result.name = given.name;
    result.vendor = given.vendor;
    result.version = given.version;
    result.category = given.category;
    result.identifier = given.identifier;
    result.path = given.path;
    result.format = static_cast<format>(given.format);
    result.has_editor = is(PLUGIN_HOST_HAS_EDITOR);
    result.has_note_input = is(PLUGIN_HOST_NOTE_INPUT);
    result.has_note_output = is(PLUGIN_HOST_NOTE_OUTPUT);
    result.supports_mpe = is(PLUGIN_HOST_SUPPORTS_MPE);
    result.maps_midi_controllers = is(PLUGIN_HOST_MAPS_MIDI_CONTROLLERS);
    result.is_identified = is(PLUGIN_HOST_IS_IDENTIFIED);
    result.input_channels = given.input_channel_count;
    result.output_channels = given.output_channel_count;
    result.latency = given.latency;
    result.input_buses = copy(given.input_buses, given.input_bus_count);
    result.output_buses = copy(given.output_buses, given.output_bus_count);
    for (const plugin_host_parameter* each : std::span(given.parameters, given.parameter_count))
        result.parameters.push_back(copy(*each));
    result.programs.assign(given.programs, given.programs + given.program_count);
    if (given.note_names != nullptr)
        result.note_names.assign(given.note_names, given.note_names + 128);
    return result;
}

inline const char* pointer(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

inline std::int32_t count(milliseconds time) {
    // Beyond 24 days a time limit is none.
    return static_cast<std::int32_t>(time.count() < INT32_MAX ? time.count() : INT32_MAX);
}

} // namespace detail

/** How a host ended; see plugin_host_death. */
struct death {
    /** As host::get() gives it. */
    plugin_host_host* host = nullptr;
    int signal = 0;
    int exit_status = -1;
    std::string text;
    /** As plugin::get() gives it; null for none. */
    plugin_host_plugin* block_plugin = nullptr;
    std::string block_path;
    std::chrono::duration<double> block_time{};
    std::string request;
    plugin_host_plugin* request_plugin = nullptr;
    std::string request_path;
    std::chrono::duration<double> request_time{};
    /** It was ended since a late block wasn't answered. */
    bool hung = false;
};

enum class log_source {
    library = PLUGIN_HOST_LOG_LIBRARY,
    standard_output = PLUGIN_HOST_LOG_STANDARD_OUTPUT,
    standard_error = PLUGIN_HOST_LOG_STANDARD_ERROR
};

/** What happens to one plug-in. Each may be empty; see plugin_host_callbacks. */
struct plugin_events {
    std::function<void(std::uint32_t index, float value)> parameter_changed{};
    std::function<void(std::uint32_t index, std::string_view name, std::string_view text)>
        parameter_text_changed{};
    std::function<void()> parameters_changed{};
    std::function<void(std::uint32_t index)> edit_began{};
    std::function<void(std::uint32_t index)> edit_ended{};
    std::function<void(int x, int y, int width, int height)> editor_moved{};
    std::function<void()> editor_closed{};
    /** With session_options::restore: OK once it is back, or why it stays away. */
    std::function<void(plugin_host::status code, std::string_view text)> restored{};
    /** The end of an asynchronous creation. */
    std::function<void(plugin_host::status code, std::string_view text)> created{};
};

/** What hosts are started with; see plugin_host_session_options. An empty text, a 0 and an empty function
 * stand for the default. */
struct session_options {
    std::string program_32{};
    std::string program_64{};
    std::string library_path{};
    /** Null: the environment's, or all. */
    const char* extensions = nullptr;
    /** Null: the user's cache folder. "": none. */
    const char* cache_directory = nullptr;
    int sample_rate = 0;
    int block_size = 0;
    int worker_count = 0;
    milliseconds start_timeout{};
    milliseconds request_timeout{};
    milliseconds report_timeout{};
    /** For a block that is late. Below 0: for ever. */
    milliseconds hang_timeout{};
    /** A host for each plug-in. */
    bool separate_hosts = false;
    /** A worker for each plug-in. */
    bool own_workers = false;
    /** Plug-ins come back whose host has died; see PLUGIN_HOST_RESTORE. */
    bool restore = false;
    /** Between two states that are kept. Below 0: by session::keep_states alone. */
    milliseconds state_interval{};
    /** For the states that are kept. Empty: in memory. */
    std::string state_directory{};
    /** Callbacks come in session::dispatch alone. */
    bool dispatch = false;
    bool keep_sigpipe = false;
    /** `host` is null for a line that concerns none. */
    std::function<void(plugin_host_host* host, log_source source, std::string_view line)> log{};
    std::function<void(const plugin_host::death& death)> host_died{};
};

/** An entry of a scan; see plugin_host_found. */
struct found {
    std::string path;
    plugin_host::format format = plugin_host::format::vst2;
    plugin_host::width width = plugin_host::width::any;
    /** Empty, or why there is no plug-in. */
    std::string error;
    std::string name;
    std::string vendor;
    std::string version;
    std::string category;
    std::string identifier;
    bool has_note_input = false;
    bool has_note_output = false;
    std::size_t input_channels = 0;
    std::size_t output_channels = 0;
};

class host;
class plugin;
class scan;

/** Owns hosts; see plugin_host_session. Destroy its plug-ins, hosts and scans before. */
class session {
public:
    explicit session(session_options options = {}) : functions_(std::make_unique<functions>()) {
        functions_->log = std::move(options.log);
        functions_->host_died = std::move(options.host_died);
        const plugin_host_callbacks callbacks = make_callbacks();
        plugin_host_session_options given{};
        given.size = sizeof given;
        given.program_32 = detail::pointer(options.program_32);
        given.program_64 = detail::pointer(options.program_64);
        given.library_path = detail::pointer(options.library_path);
        given.extensions = options.extensions;
        given.cache_directory = options.cache_directory;
        given.sample_rate = options.sample_rate;
        given.block_size = options.block_size;
        given.worker_count = options.worker_count;
        given.start_timeout = detail::count(options.start_timeout);
        given.request_timeout = detail::count(options.request_timeout);
        given.report_timeout = detail::count(options.report_timeout);
        given.sharing = options.separate_hosts ? PLUGIN_HOST_SEPARATE
                        : options.own_workers  ? PLUGIN_HOST_OWN_WORKERS
                                               : PLUGIN_HOST_SHARED;
        given.flags = (options.dispatch ? PLUGIN_HOST_DISPATCH : 0) |
                      (options.restore ? PLUGIN_HOST_RESTORE : 0) |
                      (options.keep_sigpipe ? PLUGIN_HOST_KEEP_SIGPIPE : 0);
        given.callbacks = &callbacks;
        given.hang_timeout = detail::count(options.hang_timeout);
        given.state_interval = detail::count(options.state_interval);
        given.state_directory = detail::pointer(options.state_directory);
        check(plugin_host_session_create(&given, &handle_));
    }
    session(session&& other) noexcept
        : functions_(std::move(other.functions_)), handle_(std::exchange(other.handle_, nullptr)) {}
    session& operator=(session&& other) noexcept {
        std::swap(functions_, other.functions_);
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~session() {
        if (handle_ != nullptr)
            plugin_host_session_destroy(handle_);
    }

    /** Polls as readable while callbacks wait for dispatch. */
    [[nodiscard]] int descriptor() const {
        int result = -1;
        check(plugin_host_session_descriptor(handle_, &result));
        return result;
    }
    void dispatch() { check(plugin_host_session_dispatch(handle_)); }
    /** With session_options::restore: keeps the states of all plug-ins now. */
    void keep_states() { check(plugin_host_session_keep_states(handle_)); }
    /** With session_options::restore: has all plug-ins come back in hosts with these, in Hz and frames; 0 for
     * the present one. */
    void set_format(int sample_rate, int block_size) {
        check(plugin_host_session_set_format(handle_, sample_rate, block_size));
    }
    [[nodiscard]] plugin_host_session* get() const noexcept { return handle_; }

private:
    struct functions {
        std::function<void(plugin_host_host*, log_source, std::string_view)> log;
        std::function<void(const death&)> host_died;
    };

    plugin_host_callbacks make_callbacks() const;

    std::unique_ptr<functions> functions_;
    plugin_host_session* handle_ = nullptr;
};

struct host_options {
    /** Empty: the session's for `width`. */
    std::string program{};
    plugin_host::width width = plugin_host::width::any;
    std::string library_path{};
    const char* extensions = nullptr;
    int sample_rate = 0;
    int block_size = 0;
    int worker_count = 0;
    milliseconds start_timeout{};
};

/** One child process; see plugin_host_host. */
class host {
public:
    explicit host(session& owner, const host_options& options = {}) {
        plugin_host_host_options given{};
        given.size = sizeof given;
        given.program = detail::pointer(options.program);
        given.width = static_cast<std::uint32_t>(options.width);
        given.library_path = detail::pointer(options.library_path);
        given.extensions = options.extensions;
        given.sample_rate = options.sample_rate;
        given.block_size = options.block_size;
        given.worker_count = options.worker_count;
        given.start_timeout = detail::count(options.start_timeout);
        check(plugin_host_host_start(owner.get(), &given, &handle_));
    }
    host(host&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    host& operator=(host&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~host() {
        if (handle_ != nullptr)
            plugin_host_host_destroy(handle_);
    }

    [[nodiscard]] plugin_host_host_info info() const {
        plugin_host_host_info result{};
        result.size = sizeof result;
        check(plugin_host_host_get_info(handle_, &result));
        return result;
    }
    void ping(milliseconds timeout = {}) { check(plugin_host_host_ping(handle_, detail::count(timeout))); }
    void kill() { check(plugin_host_host_kill(handle_)); }
    void hide_editors() { check(plugin_host_host_hide_editors(handle_)); }
    void show_editors() { check(plugin_host_host_show_editors(handle_)); }
    [[nodiscard]] plugin_host_host* get() const noexcept { return handle_; }

private:
    plugin_host_host* handle_ = nullptr;
};

struct plugin_options {
    std::string path{};
    std::string identifier{};
    std::string preset_path{};
    std::span<const std::byte> state{};
    /** Null: one of the right width. */
    const plugin_host::host* host = nullptr;
    int worker = 0;
    bool dpi_aware = false;
    milliseconds timeout{};
    plugin_events events{};
};

/** The channels of a block to fill. */
struct input {
    std::span<float* const> channels;
    bool is_late = false;
};

/** What a block gave. */
struct output {
    plugin_host_tail tail = PLUGIN_HOST_SILENT;
    std::span<const float* const> channels;
    std::size_t event_count = 0;
};

/** One instance; see plugin_host_plugin. Its functions may be called until the destructor has returned, and
 * one that another thread is in may outlast it. */
class plugin {
public:
    struct async_t {};
    /** Makes a plug-in without waiting: `events.created` tells the end. */
    static constexpr async_t async{};

    plugin(session& owner, plugin_options options)
        : plugin(owner, std::move(options), plugin_host_plugin_create) {}
    plugin(session& owner, plugin_options options, async_t)
        : plugin(owner, std::move(options), plugin_host_plugin_create_async) {}
    plugin(plugin&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    plugin& operator=(plugin&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~plugin() {
        if (handle_ != nullptr)
            plugin_host_plugin_destroy(handle_);
    }

    /** Has it brought back if it stays away; `events.restored` tells the end. */
    void restore() { check(plugin_host_plugin_restore(handle_)); }
    /** False if the creation has ended. */
    bool cancel() noexcept { return plugin_host_plugin_cancel(handle_) == PLUGIN_HOST_OK; }

    [[nodiscard]] plugin_host::description describe() const {
        return describe_by(plugin_host_plugin_describe);
    }
    plugin_host::description refresh() { return describe_by(plugin_host_plugin_refresh); }
    /** What the host was started with. */
    [[nodiscard]] plugin_host_host_info host_info() const {
        plugin_host_host* owner = nullptr;
        check(plugin_host_plugin_get_host(handle_, &owner));
        plugin_host_host_info result{};
        result.size = sizeof result;
        check(plugin_host_host_get_info(owner, &result));
        return result;
    }
    void watch_text(std::uint32_t index, bool watched = true) {
        check(plugin_host_plugin_watch_text(handle_, index, watched ? 1 : 0));
    }
    void set_program(std::uint32_t index) { check(plugin_host_plugin_set_program(handle_, index)); }
    void load_preset(const std::string& path) {
        check(plugin_host_plugin_load_preset(handle_, path.c_str()));
    }
    void save_preset(const std::string& path) {
        check(plugin_host_plugin_save_preset(handle_, path.c_str()));
    }
    [[nodiscard]] std::vector<std::byte> save_state() {
        void* bytes = nullptr;
        std::size_t size = 0;
        check(plugin_host_plugin_save_state(handle_, &bytes, &size));
        const std::unique_ptr<void, void (*)(void*)> owner(bytes, plugin_host_free);
        const auto* begin = static_cast<const std::byte*>(bytes);
        return {begin, begin + size};
    }
    void load_state(std::span<const std::byte> state) {
        check(plugin_host_plugin_load_state(handle_, state.data(), state.size()));
    }

    void open_editor(std::uint64_t parent_window = 0, const std::string& title = {}) {
        check(plugin_host_plugin_open_editor(handle_, parent_window, detail::pointer(title)));
    }
    void close_editor() { check(plugin_host_plugin_close_editor(handle_)); }
    void set_editor_title(const std::string& title) {
        check(plugin_host_plugin_set_editor_title(handle_, title.c_str()));
    }
    void set_editor_position(int x, int y, int width = 0, int height = 0) {
        check(plugin_host_plugin_set_editor_position(handle_, x, y, width, height));
    }

    // Audio: one thread at a time for the plug-ins of a worker.

    void start() { check_audio(plugin_host_plugin_start(handle_)); }
    void stop() { check_audio(plugin_host_plugin_stop(handle_)); }
    /** While a late block is unanswered, `is_late`, and what the channels get is dropped. */
    plugin_host::input begin() {
        plugin_host_input result{};
        result.size = sizeof result;
        const plugin_host::status code = plugin_host_plugin_begin(handle_, &result);
        if (code != PLUGIN_HOST_LATE)
            check_audio(code);
        return {{result.channels, result.channel_count}, code == PLUGIN_HOST_LATE};
    }
    /** False if the block is full, or late. */
    bool add(const plugin_host_event& event) {
        return has_room(plugin_host_plugin_add_event(handle_, &event));
    }
    bool add_midi(std::uint32_t frame, std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
        return has_room(plugin_host_plugin_add_midi(handle_, frame, status, data1, data2));
    }
    bool add_change(std::uint32_t index, float value, std::uint32_t frame = 0) {
        return has_room(plugin_host_plugin_add_change(handle_, index, value, frame));
    }
    /** False if the block is late. */
    bool set_transport(const plugin_host_transport& transport) {
        return has_room(plugin_host_plugin_set_transport(handle_, &transport));
    }
    /** A block for a cycle. */
    [[nodiscard]] plugin_host_block block(std::uint32_t frames, std::uint32_t flags = 0) const noexcept {
        plugin_host_block result{};
        result.size = sizeof result;
        result.plugin = handle_;
        result.frames = frames;
        result.flags = flags;
        return result;
    }
    /** `flags`: PLUGIN_HOST_OFFLINE, PLUGIN_HOST_KEEP_ACTIVE. */
    plugin_host::output process(std::uint32_t frames, std::uint32_t flags = 0) {
        plugin_host_output result{};
        result.size = sizeof result;
        check_audio(plugin_host_plugin_process(handle_, frames, flags, &result));
        return {result.tail, {result.channels, result.channel_count}, result.event_count};
    }
    [[nodiscard]] plugin_host_event event(std::size_t index) const {
        plugin_host_event result{};
        result.size = sizeof result;
        check_audio(plugin_host_plugin_get_event(handle_, index, &result));
        return result;
    }

    [[nodiscard]] plugin_host_plugin* get() const noexcept { return handle_; }

private:
    friend class session;
    using create_call = plugin_host_status (*)(plugin_host_session*, const plugin_host_plugin_options*,
                                               plugin_host_plugin**);
    using describe_call = plugin_host_status (*)(plugin_host_plugin*, const plugin_host_description**);

    plugin(session& owner, plugin_options options, create_call create) {
        // Belongs to the library's handle: the last callback frees it.
        auto events = std::make_unique<plugin_events>(std::move(options.events));
        plugin_host_plugin_options given{};
        given.size = sizeof given;
        given.path = options.path.c_str();
        given.identifier = detail::pointer(options.identifier);
        given.preset_path = detail::pointer(options.preset_path);
        given.state = options.state.data();
        given.state_size = options.state.size();
        given.host = options.host != nullptr ? options.host->get() : nullptr;
        given.worker = options.worker;
        given.flags = options.dpi_aware ? PLUGIN_HOST_DPI_AWARE : 0;
        given.timeout = detail::count(options.timeout);
        given.data = events.get();
        check(create(owner.get(), &given, &handle_));
        events.release();
    }

    [[nodiscard]] plugin_host::description describe_by(describe_call call) const {
        const plugin_host_description* given = nullptr;
        check(call(handle_, &given));
        return detail::copy(*detail::owned_description(given));
    }

    static bool has_room(plugin_host::status code) {
        if (code == PLUGIN_HOST_FULL || code == PLUGIN_HOST_LATE)
            return false;
        check_audio(code);
        return true;
    }

    plugin_host_plugin* handle_ = nullptr;
};

namespace detail {

inline const plugin_events* events_of(plugin_host_plugin* plugin) {
    void* data = nullptr;
    return plugin_host_plugin_get_data(plugin, &data) == PLUGIN_HOST_OK ? static_cast<plugin_events*>(data)
                                                                        : nullptr;
}

/** Calls a function of a plug-in's if there is one. No exception may go through the library. */
template <class Function, class... Arguments>
void call(plugin_host_plugin* plugin, Function plugin_events::*function, Arguments... arguments) noexcept {
    const plugin_events* events = events_of(plugin);
    if (events != nullptr && events->*function)
        (events->*function)(arguments...);
}

inline std::string text_of(const char* text) {
    return text != nullptr ? text : "";
}

} // namespace detail

inline plugin_host_callbacks session::make_callbacks() const {
    plugin_host_callbacks result{};
    result.size = sizeof result;
    result.user_data = functions_.get();
    if (functions_->log)
        result.log = [](void* data, plugin_host_host* host, plugin_host_log_source source, const char* line) {
            static_cast<functions*>(data)->log(host, static_cast<log_source>(source), line);
        };
    if (functions_->host_died)
        result.host_died = [](void* data, plugin_host_host* host, const plugin_host_death* given) {
            using seconds = std::chrono::duration<double>;
            static_cast<functions*>(data)->host_died(
                {host, given->signal, given->exit_status, given->text, given->block_plugin,
                 detail::text_of(given->block_path), seconds(given->block_seconds),
                 detail::text_of(given->request), given->request_plugin, detail::text_of(given->request_path),
                 seconds(given->request_seconds), (given->flags & PLUGIN_HOST_HUNG) != 0});
        };
    result.plugin_created = [](void*, plugin_host_plugin* plugin, plugin_host_status code, const char* text) {
        detail::call(plugin, &plugin_events::created, code, std::string_view(text));
    };
    result.plugin_restored = [](void*, plugin_host_plugin* plugin, plugin_host_status code,
                                const char* text) {
        detail::call(plugin, &plugin_events::restored, code, std::string_view(text));
    };
    result.plugin_destroyed = [](void*, plugin_host_plugin*, void* data) {
        delete static_cast<plugin_events*>(data);
    };
    result.parameter_changed = [](void*, plugin_host_plugin* plugin, std::uint32_t index, float value) {
        detail::call(plugin, &plugin_events::parameter_changed, index, value);
    };
    result.parameter_text_changed = [](void*, plugin_host_plugin* plugin, std::uint32_t index,
                                       const char* name, const char* text) {
        detail::call(plugin, &plugin_events::parameter_text_changed, index, std::string_view(name),
                     std::string_view(text));
    };
    result.parameters_changed = [](void*, plugin_host_plugin* plugin) {
        detail::call(plugin, &plugin_events::parameters_changed);
    };
    result.edit_began = [](void*, plugin_host_plugin* plugin, std::uint32_t index) {
        detail::call(plugin, &plugin_events::edit_began, index);
    };
    result.edit_ended = [](void*, plugin_host_plugin* plugin, std::uint32_t index) {
        detail::call(plugin, &plugin_events::edit_ended, index);
    };
    result.editor_moved = [](void*, plugin_host_plugin* plugin, std::int32_t x, std::int32_t y,
                             std::int32_t width, std::int32_t height) {
        detail::call(plugin, &plugin_events::editor_moved, x, y, width, height);
    };
    result.editor_closed = [](void*, plugin_host_plugin* plugin) {
        detail::call(plugin, &plugin_events::editor_closed);
    };
    return result;
}

/** A block of each of many plug-ins; see plugin_host_cycle_begin. What became of each is in its block:
 *
 *     blocks[0] = first.block(256);
 *     blocks[1] = second.block(256);
 *     cycle.begin(blocks);
 *     const bool all_in_time = cycle.finish(std::chrono::steady_clock::now() + 2ms);
 */
class cycle {
public:
    /** For up to so many plug-ins. */
    cycle(session& owner, std::size_t capacity) {
        check(plugin_host_cycle_create(owner.get(), capacity, &handle_));
    }
    cycle(cycle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    cycle& operator=(cycle&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~cycle() {
        if (handle_ != nullptr)
            plugin_host_cycle_destroy(handle_);
    }

    void begin(std::span<plugin_host_block> blocks) {
        check_audio(plugin_host_cycle_begin(handle_, blocks.data(), blocks.size()));
    }
    /** Whether all blocks are OK. Waits for them for ever. */
    bool finish() noexcept { return plugin_host_cycle_finish(handle_, 0) == PLUGIN_HOST_OK; }
    /** Waits until then. */
    bool finish(std::chrono::steady_clock::time_point deadline) noexcept {
        const std::chrono::nanoseconds time = deadline.time_since_epoch();
        return plugin_host_cycle_finish(handle_, time.count() > 0 ? time.count() : 1) == PLUGIN_HOST_OK;
    }
    [[nodiscard]] plugin_host_cycle* get() const noexcept { return handle_; }

private:
    plugin_host_cycle* handle_ = nullptr;
};

struct scan_options {
    std::vector<std::string> paths{};
    /** Children at a time. */
    int parallel = 0;
    milliseconds timeout{};
    /** Reports files again that are in the cache. */
    bool anew = false;
    std::function<void(const plugin_host::found&)> found{};
    std::function<void(std::size_t done, std::size_t total, std::string_view path)> progress{};
    std::function<void(plugin_host::status code)> finished{};
};

/** Goes through folders for plug-ins; see plugin_host_scan_start. */
class scan {
public:
    scan(session& owner, scan_options options)
        : functions_(std::make_unique<scan_options>(std::move(options))) {
        std::vector<const char*> paths;
        for (const std::string& path : functions_->paths)
            paths.push_back(path.c_str());
        plugin_host_scan_options given{};
        given.size = sizeof given;
        given.paths = paths.data();
        given.path_count = paths.size();
        given.parallel = functions_->parallel;
        given.timeout = detail::count(functions_->timeout);
        given.flags = functions_->anew ? PLUGIN_HOST_SCAN_ANEW : 0;
        given.user_data = functions_.get();
        if (functions_->found)
            given.found = report;
        if (functions_->progress)
            given.progress = [](void* data, plugin_host_scan*, std::size_t done, std::size_t total,
                                const char* path) {
                static_cast<scan_options*>(data)->progress(done, total, path);
            };
        if (functions_->finished)
            given.finished = [](void* data, plugin_host_scan*, plugin_host_status code) {
                static_cast<scan_options*>(data)->finished(code);
            };
        check(plugin_host_scan_start(owner.get(), &given, &handle_));
    }
    scan(scan&& other) noexcept
        : functions_(std::move(other.functions_)), handle_(std::exchange(other.handle_, nullptr)) {}
    scan& operator=(scan&& other) noexcept {
        std::swap(functions_, other.functions_);
        std::swap(handle_, other.handle_);
        return *this;
    }
    /** Cancels it. A function that another thread is in must have returned by then, or else the scan's
     * options have to outlive it. */
    ~scan() {
        if (handle_ != nullptr)
            plugin_host_scan_destroy(handle_);
    }

    void cancel() { check(plugin_host_scan_cancel(handle_)); }
    /** Waits for the end, which callbacks may still follow. */
    void wait() { check(plugin_host_scan_wait(handle_, -1)); }
    /** False if it takes longer. */
    bool wait_for(milliseconds timeout) {
        const plugin_host::status code = plugin_host_scan_wait(handle_, detail::count(timeout));
        if (code != PLUGIN_HOST_TIMED_OUT)
            check(code);
        return code == PLUGIN_HOST_OK;
    }

private:
    static void report(void* data, plugin_host_scan*, const plugin_host_found* given) {
        static_cast<scan_options*>(data)->found(
            {given->path, static_cast<format>(given->format), static_cast<width>(given->width),
             detail::text_of(given->error), given->name, given->vendor, given->version, given->category,
             given->identifier, (given->flags & PLUGIN_HOST_NOTE_INPUT) != 0,
             (given->flags & PLUGIN_HOST_NOTE_OUTPUT) != 0, given->input_channel_count,
             given->output_channel_count});
    }

    std::unique_ptr<scan_options> functions_;
    plugin_host_scan* handle_ = nullptr;
};

} // namespace plugin_host

#endif
