/**
 * @file plugin-host/client.h
 * Plug-ins in processes of their own: VST 2 and VST 3, of 32 and 64 bits, for any application in C.
 *
 * The smallest program starts a host, makes a plug-in, renders blocks and ends both:
 *
 *     plugin_host_session *session;
 *     plugin_host_plugin *plugin;
 *     plugin_host_plugin_options options = {.size = sizeof options};
 *     options.path = "/usr/lib/lxvst/echo.so";
 *     if (plugin_host_session_create(NULL, &session) != PLUGIN_HOST_OK
 *             || plugin_host_plugin_create(session, &options, &plugin) != PLUGIN_HOST_OK)
 *         puts(plugin_host_error());
 *
 * Handles. A session has options and callbacks, and owns hosts; a host is one child process; a plug-in is one
 * instance in a host. A handle is never a pointer to memory: a null handle, one that was destroyed, one of
 * another kind is recognised, and its call returns PLUGIN_HOST_INVALID_HANDLE. (After 65,536 handles of one
 * kind a number may return: a program that keeps a destroyed handle that long can't be warned.)
 *
 * Threads. Every call may be made on any thread, at any time, also inside of a callback, except for those of
 * audio, which say so: the plug-ins of one worker are rendered by one thread at a time. A call that may block
 * says on what. Nothing here installs a signal handler, and nothing writes to the standard output. After a
 * `fork` without an `exec`, each call of the copy returns PLUGIN_HOST_INVALID_HANDLE or PLUGIN_HOST_DEAD.
 *
 * Errors. A call returns a status; the text of the calling thread's last failure is plugin_host_error(). No
 * exception and no `longjmp` may leave a callback.
 *
 * Structures begin with their own size: set it to `sizeof` the structure and all that you don't use to zero,
 * as
 * `= {.size = sizeof options}` does. A zero means the default. One that the library fills has its size set by
 * the library, which may be smaller than yours if the library is older: what lies behind it isn't there.
 *
 * Texts are UTF-8 and end with a zero. A text that is given is copied.
 */
#ifndef PLUGIN_HOST_CLIENT_H
#define PLUGIN_HOST_CLIENT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Marks what the shared library exports. */
#if defined(PLUGIN_HOST_BUILDING_LIBRARY)
#define PLUGIN_HOST_API __attribute__((visibility("default")))
#else
#define PLUGIN_HOST_API
#endif

/** The version of this header. */
#define PLUGIN_HOST_VERSION_MAJOR 0
#define PLUGIN_HOST_VERSION_MINOR 2
#define PLUGIN_HOST_VERSION_PATCH 0

/** The version of the library, as in "0.2.0". Valid for ever. Never blocks. */
PLUGIN_HOST_API const char* plugin_host_version(void);

/** The outcome of a call. */
typedef enum plugin_host_status {
    PLUGIN_HOST_OK = 0,
    /** A handle that is null, was destroyed, is of another kind, or isn't this process's. */
    PLUGIN_HOST_INVALID_HANDLE = 1,
    /** A null pointer, a number out of its range, a structure whose size can't be right, a text that isn't
     * UTF-8 or has a character above U+FFFF. */
    PLUGIN_HOST_INVALID_ARGUMENT = 2,
    /** Not now: a plug-in that is still being made, a block of a plug-in that isn't started. */
    PLUGIN_HOST_INVALID_STATE = 3,
    /** A file that doesn't exist, or that no program here can load; an index without a parameter or program.
     */
    PLUGIN_HOST_NOT_FOUND = 4,
    /** The host's process didn't come up. */
    PLUGIN_HOST_START_FAILED = 5,
    PLUGIN_HOST_TIMED_OUT = 6,
    PLUGIN_HOST_CANCELLED = 7,
    /** The host of this handle is gone. The handle still has to be destroyed. */
    PLUGIN_HOST_DEAD = 8,
    /** The host or the plug-in answered with an error, whose text is plugin_host_error(). */
    PLUGIN_HOST_REFUSED = 9,
    /** The block takes no further event or change. */
    PLUGIN_HOST_FULL = 10,
    /** Another thread is rendering on this worker. */
    PLUGIN_HOST_BUSY = 11,
    PLUGIN_HOST_NO_MEMORY = 12,
    /** A system call failed. */
    PLUGIN_HOST_SYSTEM_ERROR = 13,
    /** The plug-in hasn't answered in time. */
    PLUGIN_HOST_LATE = 14
} plugin_host_status;

/** A few words for a status. Valid for ever; never null. Never blocks. */
PLUGIN_HOST_API const char* plugin_host_status_text(plugin_host_status status);

/** One line about the calling thread's last call that failed: what on, and the system's or the plug-in's
 * words. Valid until this thread's next failure; never null. The calls of audio leave it as it is. Never
 * blocks. */
PLUGIN_HOST_API const char* plugin_host_error(void);

typedef struct plugin_host_session plugin_host_session;
typedef struct plugin_host_host plugin_host_host;
typedef struct plugin_host_plugin plugin_host_plugin;
typedef struct plugin_host_cycle plugin_host_cycle;
typedef struct plugin_host_scan plugin_host_scan;

/* ----------------------------------------------------------------------------------------------------------------
 */
/* What plug-ins are */

/** The plug-in formats, which a path alone decides: one that ends in "vst3" is VST 3. */
typedef enum plugin_host_format { PLUGIN_HOST_VST2 = 2, PLUGIN_HOST_VST3 = 3 } plugin_host_format;

/** What a plug-in's path says before anything is loaded. */
typedef struct plugin_host_file {
    size_t size;
    plugin_host_format format;
    /** Bits: 1 for a host of 32 bits that can load it, 2 for one of 64 bits. */
    uint32_t widths;
} plugin_host_file;

#define PLUGIN_HOST_WIDTH_32 1u
#define PLUGIN_HOST_WIDTH_64 2u

/** Reads the header of a plug-in's library, or of the libraries inside of a bundle. Loads nothing. Blocks on
 * the file system. NOT_FOUND if there is no such file or it is no library for this kind of machine. */
PLUGIN_HOST_API plugin_host_status plugin_host_inspect(const char* path, plugin_host_file* file);

#define PLUGIN_HOST_PARAMETER_AUTOMATABLE 1u
#define PLUGIN_HOST_PARAMETER_SWITCH 2u
#define PLUGIN_HOST_PARAMETER_INTEGER 4u

/** A parameter as it was when its description was made. */
typedef struct plugin_host_parameter {
    size_t size;
    const char* name;
    const char* short_name;
    /** The value as the plug-in shows it, without its unit. */
    const char* text;
    const char* unit;
    /** The heading of a group of parameters; may be empty. */
    const char* group;
    /** Normalised, 0 to 1. */
    float value;
    /** The plug-in's own number for it, for users to read; all calls take the index in the list instead. */
    int32_t id;
    /** PLUGIN_HOST_PARAMETER_… */
    uint32_t flags;
    /** With PLUGIN_HOST_PARAMETER_INTEGER: what 0 and 1 stand for. */
    int32_t minimum;
    int32_t maximum;
} plugin_host_parameter;

/** A named group of channels. */
typedef struct plugin_host_bus {
    size_t size;
    const char* name;
    /** Indices into the plug-in's channels, which it may name wrongly: check them against the counts. */
    const int32_t* channels;
    size_t channel_count;
} plugin_host_bus;

#define PLUGIN_HOST_HAS_EDITOR 1u
#define PLUGIN_HOST_NOTE_INPUT 2u
#define PLUGIN_HOST_NOTE_OUTPUT 4u
#define PLUGIN_HOST_SUPPORTS_MPE 8u
#define PLUGIN_HOST_MAPS_MIDI_CONTROLLERS 16u
/** The first four texts of a description, and PLUGIN_HOST_NOTE_INPUT, are known. */
#define PLUGIN_HOST_IS_IDENTIFIED 32u

/** What a plug-in is and has, at one moment. Immutable, and all that it points to lives as long as it does.
 */
typedef struct plugin_host_description {
    size_t size;
    const char* name;
    const char* vendor;
    const char* version;
    const char* category;
    const char* identifier;
    const char* path;
    plugin_host_format format;
    /** PLUGIN_HOST_HAS_EDITOR and so on. */
    uint32_t flags;
    size_t input_channel_count;
    size_t output_channel_count;
    /** In frames. */
    int32_t latency;
    const plugin_host_bus* const* input_buses;
    size_t input_bus_count;
    const plugin_host_bus* const* output_buses;
    size_t output_bus_count;
    const plugin_host_parameter* const* parameters;
    size_t parameter_count;
    const char* const* programs;
    size_t program_count;
    /** 128 names of keys, or null. */
    const char* const* note_names;
} plugin_host_description;

/** Frees a description; null has no effect. Freeing one twice can't be recognised. */
PLUGIN_HOST_API void plugin_host_description_free(const plugin_host_description* description);

/* ----------------------------------------------------------------------------------------------------------------
 */
/* Callbacks */

/** Where a line of the log comes from. */
typedef enum plugin_host_log_source {
    /** The library itself, about a failure or a warning. */
    PLUGIN_HOST_LOG_LIBRARY = 0,
    PLUGIN_HOST_LOG_STANDARD_OUTPUT = 1,
    PLUGIN_HOST_LOG_STANDARD_ERROR = 2
} plugin_host_log_source;

/** It was ended by the library, as a late block wasn't answered in the session's time for one that hangs. */
#define PLUGIN_HOST_HUNG 1u

/** How a host ended. */
typedef struct plugin_host_death {
    size_t size;
    /** The signal that ended it, or 0. */
    int32_t signal;
    /** Its exit status, or -1 if a signal ended it, or if someone else took the status. */
    int32_t exit_status;
    /** One line, such as "Plug-in host was ended by signal 11 (Segmentation fault), in a block of
     * /usr/lib/lxvst/echo.so for 0.004 s". */
    const char* text;
    /** The plug-in that was in a block on a worker, or null. It may be another's fault: a process has one
     * memory. */
    plugin_host_plugin* block_plugin;
    const char* block_path;
    /** For how long, in seconds, when the death was noticed. */
    double block_seconds;
    /** The oldest request that the host hadn't done with, or null: "CreatePluginInstance", "OpenGUI" and so
     * on. */
    const char* request;
    /** The plug-in of that request, or null for one that concerns none. */
    plugin_host_plugin* request_plugin;
    const char* request_path;
    double request_seconds;
    /** PLUGIN_HOST_HUNG. */
    uint32_t flags;
} plugin_host_death;

/** What the library calls. Each may be null. They are called one after the other, in the order of what
 * happened, on a thread of the session's that does nothing else, or with PLUGIN_HOST_DISPATCH inside of
 * plugin_host_session_dispatch. They may call anything of this header; a pointer that one is given is valid
 * during the call. */
typedef struct plugin_host_callbacks {
    size_t size;
    /** The first argument of each. */
    void* user_data;
    /** A line of a host's or of the library's, without its line feed. `host` is null for a line that concerns
     * none. Without this callback lines go to the standard error stream. If the application is slow, at most
     * 10,000 wait, and a line then tells how many were dropped. */
    void (*log)(void* user_data, plugin_host_host* host, plugin_host_log_source source, const char* line);
    /** Once for each host that ends without being asked to. All calls on it and on its plug-ins that need the
     * process return DEAD by now. */
    void (*host_died)(void* user_data, plugin_host_host* host, const plugin_host_death* death);
    /** The end of a plugin_host_plugin_create_async: OK, or why there is no plug-in. The handle has to be
     * destroyed in either case. */
    void (*plugin_created)(void* user_data, plugin_host_plugin* plugin, plugin_host_status status,
                           const char* error);
    /** The last callback for a plug-in, after plugin_host_plugin_destroy: `plugin` is no longer valid, and
     *  `plugin_data` isn't used any more. */
    void (*plugin_destroyed)(void* user_data, plugin_host_plugin* plugin, void* plugin_data);
    /** The plug-in changed a value, mostly as its user did so in its editor. Normalised. */
    void (*parameter_changed)(void* user_data, plugin_host_plugin* plugin, uint32_t index, float value);
    /** A watched parameter has other texts. */
    void (*parameter_text_changed)(void* user_data, plugin_host_plugin* plugin, uint32_t index,
                                   const char* name, const char* text);
    /** Anything may have changed: ask for the description. */
    void (*parameters_changed)(void* user_data, plugin_host_plugin* plugin);
    /** The user takes hold of a control, and lets go of it: what one records as one edit. */
    void (*edit_began)(void* user_data, plugin_host_plugin* plugin, uint32_t index);
    void (*edit_ended)(void* user_data, plugin_host_plugin* plugin, uint32_t index);
    /** The editor's window was moved or resized, in pixels of the screen. */
    void (*editor_moved)(void* user_data, plugin_host_plugin* plugin, int32_t x, int32_t y, int32_t width,
                         int32_t height);
    /** The editor's window is gone: closed by the user, by the application or with its plug-in. */
    void (*editor_closed)(void* user_data, plugin_host_plugin* plugin);
    /** With PLUGIN_HOST_RESTORE: OK once a plug-in is back whose host has died, or why it stays away. */
    void (*plugin_restored)(void* user_data, plugin_host_plugin* plugin, plugin_host_status status,
                            const char* error);
} plugin_host_callbacks;

/* ----------------------------------------------------------------------------------------------------------------
 */
/* Sessions */

/** Which plug-ins that are made without naming a host share one. */
typedef enum plugin_host_sharing {
    /** A host for all plug-ins of one width. */
    PLUGIN_HOST_SHARED = 0,
    /** A host for each plug-in: a crash takes one down. */
    PLUGIN_HOST_SEPARATE = 1,
    /** A worker for each plug-in, in hosts that several share: one that is late or hangs delays no other. As
     * many plug-ins share a host as it has workers; then another is started. */
    PLUGIN_HOST_OWN_WORKERS = 2
} plugin_host_sharing;

/** Callbacks run inside of plugin_host_session_dispatch alone. */
#define PLUGIN_HOST_DISPATCH 1u
/** SIGPIPE stays as it is. Otherwise it is ignored from the first session on if it has its default action,
 * since a write to a host that has just died would end the application. */
#define PLUGIN_HOST_KEEP_SIGPIPE 2u
/** A host that dies is started again, and its plug-ins come back behind their handles: in the state that was
 * kept last, with the values that changed since, started if they were, their editors open where they were.
 * The callback plugin_restored tells; until then they return DEAD and are silent in cycles. The one that was
 * in a block, or in a request, when its host crashed stays away until plugin_host_plugin_restore. */
#define PLUGIN_HOST_RESTORE 4u

/** What hosts are started with. */
typedef struct plugin_host_session_options {
    size_t size;
    /** The program for plug-ins of 32 and of 64 bits. Null: where the library's package has installed it. */
    const char* program_32;
    const char* program_64;
    /** LD_LIBRARY_PATH of the hosts. Null: the variable TANVEX_PLUGIN_HOST_LIBRARY_PATH if it is set, else
     * the application's own. */
    const char* library_path;
    /** The names of the hosts' extensions, separated by commas. Null: the variable
     * TANVEX_PLUGIN_HOST_EXTENSIONS if it is set, else all that this library knows. "" switches all off. */
    const char* extensions;
    /** Where descriptions of plug-in files are kept from one run to the next. Null: "plugin-host" in the
     * user's cache folder, which is XDG_CACHE_HOME or ~/.cache. "": only in memory. */
    const char* cache_directory;
    /** In Hz, 1 to 1,000,000. 0: 44,100. */
    int32_t sample_rate;
    /** In frames, 1 to 65,536. 0: 256. */
    int32_t block_size;
    /** Audio threads of a host, 1 to 64. 0: 1. */
    int32_t worker_count;
    /** For a host to come up, in milliseconds. 0: 10,000. */
    int32_t start_timeout;
    /** For the answer to a request, in milliseconds. 0: 30,000. */
    int32_t request_timeout;
    /** For the report on a plug-in file, in milliseconds. 0: 10,000. */
    int32_t report_timeout;
    plugin_host_sharing sharing;
    /** PLUGIN_HOST_DISPATCH, PLUGIN_HOST_KEEP_SIGPIPE, PLUGIN_HOST_RESTORE. */
    uint32_t flags;
    /** Copied; may be null. */
    const plugin_host_callbacks* callbacks;
    /** How long a block may take that was late in a cycle, in milliseconds; then its host is ended, and dies
     * with PLUGIN_HOST_HUNG. 0: 2,000. Below 0: for ever. */
    int32_t hang_timeout;
    /** With PLUGIN_HOST_RESTORE: how often the states of all plug-ins are kept, in milliseconds; also soon
     * after a creation, a preset and a program. 0: 60,000. Below 0: by plugin_host_session_keep_states
     * alone. */
    int32_t state_interval;
    /** With PLUGIN_HOST_RESTORE: a folder for the states that are kept, which this user alone may enter; made
     * with mode 0700 if it isn't there. The session's files go with it; those of a killed process, with the
     * next session that uses the folder. Null: in memory. */
    const char* state_directory;
} plugin_host_session_options;

/** Makes a session; starts no host yet. `options` may be null. Doesn't block. */
PLUGIN_HOST_API plugin_host_status plugin_host_session_create(const plugin_host_session_options* options,
                                                              plugin_host_session** session);

/** Destroys a session with all that it owns: scans and creations in progress are cancelled, cycles and
 * plug-ins destroyed, hosts asked to end, and killed if they don't within 2 s. No callback begins after it
 * has returned; called inside of a callback, that one is the last. Blocks on the ends of the hosts, and on a
 * callback in progress on another thread: so don't hold a lock meanwhile that a callback takes. No thread may
 * be rendering. */
PLUGIN_HOST_API plugin_host_status plugin_host_session_destroy(plugin_host_session* session);

/** A descriptor that polls as readable while callbacks wait for plugin_host_session_dispatch. It belongs to
 * the session. INVALID_STATE without PLUGIN_HOST_DISPATCH. */
PLUGIN_HOST_API plugin_host_status plugin_host_session_descriptor(plugin_host_session* session,
                                                                  int* descriptor);

/** Runs the callbacks that wait; returns at once if there is none. One thread at a time: BUSY for another,
 * and inside of a callback. INVALID_STATE without PLUGIN_HOST_DISPATCH. */
PLUGIN_HOST_API plugin_host_status plugin_host_session_dispatch(plugin_host_session* session);

/** With PLUGIN_HOST_RESTORE, else INVALID_STATE: keeps the states of all plug-ins, and returns when that is
 * done. Blocks for a request of each. Returns the first failure; what failed keeps its former state. */
PLUGIN_HOST_API plugin_host_status plugin_host_session_keep_states(plugin_host_session* session);

/** With PLUGIN_HOST_RESTORE, else INVALID_STATE: ends all hosts and brings all plug-ins back in hosts with
 * another sample rate and block size, in Hz and frames, 0 for the present one. Meanwhile they return DEAD,
 * and are silent in cycles; host_died isn't called. Handles of hosts that the application started return DEAD
 * from then on: their plug-ins have a new host. Blocks until all are back. */
PLUGIN_HOST_API plugin_host_status plugin_host_session_set_format(plugin_host_session* session,
                                                                  int32_t sample_rate, int32_t block_size);

/* ----------------------------------------------------------------------------------------------------------------
 */
/* Hosts */

/** What differs from the session's options. */
typedef struct plugin_host_host_options {
    size_t size;
    /** Null: the session's for `width`. */
    const char* program;
    /** PLUGIN_HOST_WIDTH_32 or PLUGIN_HOST_WIDTH_64; 0: the application's own. Not used with `program`. */
    uint32_t width;
    /** As in the session's options, whose value 0 and null stand for. */
    const char* library_path;
    const char* extensions;
    int32_t sample_rate;
    int32_t block_size;
    int32_t worker_count;
    int32_t start_timeout;
} plugin_host_host_options;

/** Starts a host and waits until it is up: until it has opened its pipes, has ended, or the time is over.
 *  `options` may be null. START_FAILED with the reason: a path that can't be executed, no display, a program
 * that is no host. TIMED_OUT for one that does nothing. A host ends with the process that started it,
 * whichever of its threads did so. */
PLUGIN_HOST_API plugin_host_status plugin_host_host_start(plugin_host_session* session,
                                                          const plugin_host_host_options* options,
                                                          plugin_host_host** host);

/** Ends a host and frees the handle. Its plug-ins answer DEAD from then on, and still have to be destroyed.
 * Blocks until the process has ended, which it is made to after 2 s. */
PLUGIN_HOST_API plugin_host_status plugin_host_host_destroy(plugin_host_host* host);

/** What a host is. */
typedef struct plugin_host_host_info {
    size_t size;
    int32_t process_id;
    int32_t sample_rate;
    int32_t block_size;
    int32_t worker_count;
} plugin_host_host_info;

/** Never blocks. */
PLUGIN_HOST_API plugin_host_status plugin_host_host_get_info(plugin_host_host* host,
                                                             plugin_host_host_info* info);

/** Waits until the host's main thread has done with all earlier requests, at most `timeout` milliseconds; 0:
 * the session's time for requests. */
PLUGIN_HOST_API plugin_host_status plugin_host_host_ping(plugin_host_host* host, int32_t timeout);

/** Kills a host that hangs; its death is reported like any other. Doesn't block. */
PLUGIN_HOST_API plugin_host_status plugin_host_host_kill(plugin_host_host* host);

/** Hides all editors of a host. May block as the requests of plug-ins do. */
PLUGIN_HOST_API plugin_host_status plugin_host_host_hide_editors(plugin_host_host* host);
/** Shows those again that it has hidden. May block as the requests of plug-ins do. */
PLUGIN_HOST_API plugin_host_status plugin_host_host_show_editors(plugin_host_host* host);

/* ----------------------------------------------------------------------------------------------------------------
 */
/* Plug-ins */

/** The plug-in's editor is to be scaled for screens of many dots. */
#define PLUGIN_HOST_DPI_AWARE 1u

typedef struct plugin_host_plugin_options {
    size_t size;
    /** The file or bundle. A relative path is taken from the current directory of the call. */
    const char* path;
    /** Which plug-in of the file, as in its description. Null or "": the file's first. */
    const char* identifier;
    /** A preset file to begin with, or null. */
    const char* preset_path;
    /** What plugin_host_plugin_save_state gave, to begin with; not together with `preset_path`. */
    const void* state;
    size_t state_size;
    /** Null: one of the right width, which is started, or shared by the session's option. */
    plugin_host_host* host;
    /** The worker that renders it, from 0. Not used with PLUGIN_HOST_OWN_WORKERS and without `host`. */
    int32_t worker;
    /** PLUGIN_HOST_DPI_AWARE. */
    uint32_t flags;
    /** For the whole creation, in milliseconds. 0: the session's for a start and for a request together. */
    int32_t timeout;
    /** For plugin_host_plugin_get_data, and for the callback plugin_destroyed. */
    void* data;
} plugin_host_plugin_options;

/** Makes a plug-in. Blocks until it is there, at most for its time; a creation that wasn't answered in time
 * is undone as its answer comes. On a failure there is no handle. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_create(plugin_host_session* session,
                                                             const plugin_host_plugin_options* options,
                                                             plugin_host_plugin** plugin);

/** The same without waiting: the handle is there at once, and the callback plugin_created tells the end.
 * Until then only cancel, destroy and the calls about its data have an effect; others return INVALID_STATE.
 * Doesn't block. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_create_async(plugin_host_session* session,
                                                                   const plugin_host_plugin_options* options,
                                                                   plugin_host_plugin** plugin);

/** Ends a creation that hasn't ended: the callback comes, with CANCELLED. INVALID_STATE for one that has. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_cancel(plugin_host_plugin* plugin);

/** Destroys a plug-in; the handle is invalid at once. Call it when no thread renders the plug-in, best after
 * a plugin_host_plugin_stop on its audio thread: one that is started is stopped here, for which this waits
 * for a block in progress on its worker, and a block of another plug-in of that worker that begins meanwhile
 * returns BUSY. With PLUGIN_HOST_SEPARATE it ends the plug-in's host too, and blocks as
 * plugin_host_host_destroy does. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_destroy(plugin_host_plugin* plugin);

/** Has a plug-in of a dead host brought back that stays away; plugin_restored tells the end. INVALID_STATE if
 * its host isn't dead, or without PLUGIN_HOST_RESTORE. Doesn't block. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_restore(plugin_host_plugin* plugin);

/** The pointer of the options. Never blocks. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_get_data(plugin_host_plugin* plugin, void** data);
/** Replaces that pointer, for the callback plugin_destroyed too. Never blocks. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_set_data(plugin_host_plugin* plugin, void* data);

/** The host of a plug-in. It belongs to the session, or to the one who started it. Never blocks. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_get_host(plugin_host_plugin* plugin,
                                                               plugin_host_host** host);

/** What is known of a plug-in now; free it. Name, vendor, version, category and note input are in its file's
 * report, which a child makes the first time: blocks on it, at most for the session's time for reports.
 * Without a report these texts are empty and PLUGIN_HOST_IS_IDENTIFIED isn't set. All else is there at once.
 */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_describe(plugin_host_plugin* plugin,
                                                               const plugin_host_description** description);

/** Asks the plug-in itself for its channels, latency and parameters, and describes it. Blocks for the time of
 * a request. The channels of its audio are those of its creation. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_refresh(plugin_host_plugin* plugin,
                                                              const plugin_host_description** description);

/** Whether the callback parameter_text_changed is wanted for a parameter. Never blocks. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_watch_text(plugin_host_plugin* plugin, uint32_t index,
                                                                 int watched);

/* The following send a request and don't wait for its effect; they block only while the pipe to the host is
 * full, with some hundred requests that a stopped host doesn't read. */

/** Selects one of the programs of its description. NOT_FOUND for an index without one. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_set_program(plugin_host_plugin* plugin, uint32_t index);

/** Opens the editor. `parent_window` is an X window that it stays above, or 0. The title may be null: the
 * plug-in's name, for which this may block as plugin_host_plugin_describe does. NOT_FOUND for a plug-in
 * without an editor. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_open_editor(plugin_host_plugin* plugin,
                                                                  uint64_t parent_window, const char* title);
/** Closes the editor if it is open. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_close_editor(plugin_host_plugin* plugin);
/** Changes the title of the open editor. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_set_editor_title(plugin_host_plugin* plugin,
                                                                       const char* title);
/** Where the editor opens, or is shown, the next time, in pixels of the screen. An editor of VST 3 takes on
 * the size, which the callback editor_moved tells; others keep their own. Width and height 0: as last told;
 *  INVALID_STATE for VST 3 before that. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_set_editor_position(plugin_host_plugin* plugin,
                                                                          int32_t x, int32_t y, int32_t width,
                                                                          int32_t height);

/* Presets and state block for the time of a request. */

/** Reads a preset file. REFUSED, with the host's words, for one that isn't the plug-in's. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_load_preset(plugin_host_plugin* plugin,
                                                                  const char* path);
/** Writes a bank of VST 2, or a preset of VST 3, regardless of the ending of the name. Replaces a file of
 * that name. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_save_preset(plugin_host_plugin* plugin,
                                                                  const char* path);

/** All of a plug-in's settings as bytes that a project can keep: a bank of VST 2, or a preset of VST 3, in
 * the formats' published forms. Free them with plugin_host_free. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_save_state(plugin_host_plugin* plugin, void** bytes,
                                                                 size_t* size);
/** Restores what plugin_host_plugin_save_state gave. REFUSED for what isn't the plug-in's. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_load_state(plugin_host_plugin* plugin,
                                                                 const void* bytes, size_t size);

/** Frees bytes of plugin_host_plugin_save_state; null has no effect. Freeing twice can't be recognised. */
PLUGIN_HOST_API void plugin_host_free(void* bytes);

/* ----------------------------------------------------------------------------------------------------------------
 */
/* Audio */

/* One thread at a time calls these for the plug-ins of one worker: BUSY for a second one. They allocate
 * nothing, take no lock, and wait for nothing but the worker. In the order of their use: start once, then for
 * each block begin, events, changes, transport and process, and in the end stop. */

typedef enum plugin_host_event_kind {
    PLUGIN_HOST_MIDI = 0,
    PLUGIN_HOST_SYSTEM_EXCLUSIVE = 1,
    PLUGIN_HOST_NOTE_EXPRESSION = 2
} plugin_host_event_kind;

/** An event in a block. */
typedef struct plugin_host_event {
    size_t size;
    plugin_host_event_kind kind;
    /** Frames from the start of the block. */
    uint32_t frame;
    /** The place in the song, in quarter notes. */
    double position;
    /** MIDI: three bytes. System exclusive: up to 16, from 0xF0 to 0xF7. */
    uint8_t data[16];
    uint32_t data_size;
    /** A note expression alone: of which note, which, and its value. */
    uint32_t channel;
    uint32_t key;
    uint32_t expression;
    float value;
} plugin_host_event;

#define PLUGIN_HOST_PLAYING 1u
#define PLUGIN_HOST_RECORDING 2u
#define PLUGIN_HOST_LOOPING 4u
#define PLUGIN_HOST_WRITING_AUTOMATION 8u
/** The transport jumped, started or stopped. */
#define PLUGIN_HOST_TRANSPORT_CHANGED 16u

/** Where the song is at the first frame of a block. */
typedef struct plugin_host_transport {
    size_t size;
    /** PLUGIN_HOST_PLAYING and so on. */
    uint32_t flags;
    /** Beats a minute. */
    double tempo;
    /** In quarter notes. */
    double position;
    double bar_start;
    double loop_start;
    double loop_end;
    /** In frames since the song's start. */
    uint64_t frame;
    /** The time of the block, in nanoseconds. */
    double system_time;
    uint32_t time_signature_numerator;
    uint32_t time_signature_denominator;
    /** In frames, from and to the sound card. */
    int32_t input_latency;
    int32_t output_latency;
} plugin_host_transport;

/** What a block is filled with. */
typedef struct plugin_host_input {
    size_t size;
    /** The host's block size in frames for each, valid until this plug-in's next block begins. They have what
     * was in them in the last block. */
    float* const* channels;
    size_t channel_count;
} plugin_host_input;

typedef enum plugin_host_tail {
    /** Silent until there is new input. */
    PLUGIN_HOST_SILENT = 0,
    PLUGIN_HOST_SOUNDING = 1,
    /** What still sounds is the tail of earlier input. */
    PLUGIN_HOST_TAIL = 2
} plugin_host_tail;

/** What a block gave. */
typedef struct plugin_host_output {
    size_t size;
    plugin_host_tail tail;
    /** Valid until this plug-in's next block begins. */
    const float* const* channels;
    size_t channel_count;
    /** For plugin_host_plugin_get_event. */
    size_t event_count;
} plugin_host_output;

/** The input isn't live: the plug-in may take its time. */
#define PLUGIN_HOST_OFFLINE 1u
/** Go on although the plug-in is silent and has no input. */
#define PLUGIN_HOST_KEEP_ACTIVE 2u

/** Switches the plug-in on: blocks may follow. No effect on one that is started. Waits for nothing. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_start(plugin_host_plugin* plugin);
/** Switches it off, and waits until the worker is done with it. No effect on one that isn't started. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_stop(plugin_host_plugin* plugin);

/** Begins a block: forgets events and changes of the last one. LATE while the answer to a block that was late
 * is still to come: the channels are memory whose content is dropped then, and events, changes, the transport
 * and the block itself are refused with LATE, until a call of this function returns OK. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_begin(plugin_host_plugin* plugin,
                                                            plugin_host_input* input);

/** Appends an event, in the order of their frames. FULL behind 256. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_add_event(plugin_host_plugin* plugin,
                                                                const plugin_host_event* event);
/** The same for a MIDI message of one to three bytes. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_add_midi(plugin_host_plugin* plugin, uint32_t frame,
                                                               uint8_t status, uint8_t data1, uint8_t data2);
/** Appends a parameter's new value, normalised. FULL behind 4,096. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_add_change(plugin_host_plugin* plugin, uint32_t index,
                                                                 float value, uint32_t frame);
/** Stays until it is set again. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_set_transport(plugin_host_plugin* plugin,
                                                                    const plugin_host_transport* transport);

/** Renders `frames`, 1 to the block size, and waits for the worker. `flags` are PLUGIN_HOST_OFFLINE and
 *  PLUGIN_HOST_KEEP_ACTIVE. `output` may be null. DEAD once the host is gone: the output isn't touched. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_process(plugin_host_plugin* plugin, uint32_t frames,
                                                              uint32_t flags, plugin_host_output* output);

/** An event that the plug-in sent in the last block; NOT_FOUND if that was late. */
PLUGIN_HOST_API plugin_host_status plugin_host_plugin_get_event(plugin_host_plugin* plugin, size_t index,
                                                                plugin_host_event* event);

/* ----------------------------------------------------------------------------------------------------------------
 */
/* Cycles */

/* A block of each of many plug-ins at a time, of any hosts and workers: a fraction of the time that they take
 * one after the other, since each worker is woken once, and workers run side by side. For each cycle begin,
 * events, changes and transport of each plug-in as for a single block, then:
 *
 *     plugin_host_cycle_begin(cycle, blocks, count);
 *     ... do something else ...
 *     plugin_host_cycle_finish(cycle, now + 2000000);
 *
 * These two allocate nothing, take no lock, and make a write for each worker, and reads that wait for
 * answers. One thread at a time for a cycle, and for each worker in it from begin to finish. */

/** A plug-in's block in a cycle. All of a cycle have one size, which the library leaves as it is. */
typedef struct plugin_host_block {
    size_t size;
    /** Once in a cycle. Those of one worker are rendered in the order of the blocks. */
    plugin_host_plugin* plugin;
    /** 1 to the block size. */
    uint32_t frames;
    /** PLUGIN_HOST_OFFLINE, PLUGIN_HOST_KEEP_ACTIVE. */
    uint32_t flags;
    /* By plugin_host_cycle_finish: */
    /** OK, LATE, or why there was no block, as plugin_host_plugin_process would return it. */
    plugin_host_status status;
    plugin_host_tail tail;
    /** Valid until this plug-in's next block begins: what it has rendered; silence if it was late; else null.
     */
    const float* const* channels;
    size_t channel_count;
    /** For plugin_host_plugin_get_event. */
    size_t event_count;
} plugin_host_block;

/** Makes a cycle for up to `capacity` plug-ins, 1 to 8,192. Doesn't block. */
PLUGIN_HOST_API plugin_host_status plugin_host_cycle_create(plugin_host_session* session, size_t capacity,
                                                            plugin_host_cycle** cycle);
/** Destroys a cycle. Blocks of one that isn't finished are given up as if they were late. Doesn't block. */
PLUGIN_HOST_API plugin_host_status plugin_host_cycle_destroy(plugin_host_cycle* cycle);

/** Has all blocks rendered. They stay the library's until plugin_host_cycle_finish. OK also if some of them
 * can't be: their status tells then. INVALID_ARGUMENT for more than there is room for; INVALID_STATE for a
 * cycle that isn't finished; BUSY for one in which another thread is. Waits for nothing. */
PLUGIN_HOST_API plugin_host_status plugin_host_cycle_begin(plugin_host_cycle* cycle,
                                                           plugin_host_block* blocks, size_t count);

/** Takes all answers. `deadline` is a time of CLOCK_MONOTONIC in nanoseconds, at which blocks without an
 * answer are late; 0: waits for them for ever. All that stands behind a late one on its worker is late, too;
 * other workers lose nothing. A late block's answer is dropped as it comes; the plug-in renders again in a
 * cycle that begins later. Returns OK, or the first status of a block that isn't OK. */
PLUGIN_HOST_API plugin_host_status plugin_host_cycle_finish(plugin_host_cycle* cycle, int64_t deadline);

/* ----------------------------------------------------------------------------------------------------------------
 */
/* Scanning */

/** A plug-in in a file, or a file with none. */
typedef struct plugin_host_found {
    size_t size;
    const char* path;
    plugin_host_format format;
    /** PLUGIN_HOST_WIDTH_32 or PLUGIN_HOST_WIDTH_64; 0 if neither can load it. */
    uint32_t width;
    /** Null, or why the file has no plug-in or not all: it crashed, hung, or is none. The rest is empty then.
     */
    const char* error;
    const char* name;
    const char* vendor;
    const char* version;
    const char* category;
    const char* identifier;
    /** PLUGIN_HOST_NOTE_INPUT, PLUGIN_HOST_NOTE_OUTPUT. */
    uint32_t flags;
    size_t input_bus_count;
    size_t output_bus_count;
    size_t input_channel_count;
    size_t output_channel_count;
} plugin_host_found;

/** Reports files again that are in the cache. */
#define PLUGIN_HOST_SCAN_ANEW 1u

typedef struct plugin_host_scan_options {
    size_t size;
    /** Folders, which are gone through with all that is below, or files. */
    const char* const* paths;
    size_t path_count;
    /** Children at a time. 0: as many as processors, at most 8. */
    int32_t parallel;
    /** For each file, in milliseconds. 0: the session's for reports. */
    int32_t timeout;
    /** PLUGIN_HOST_SCAN_ANEW. */
    uint32_t flags;
    /** The first argument of each of the following, which come like all callbacks. Each may be null. */
    void* user_data;
    void (*found)(void* user_data, plugin_host_scan* scan, const plugin_host_found* found);
    void (*progress)(void* user_data, plugin_host_scan* scan, size_t done, size_t total, const char* path);
    /** The last one: OK, CANCELLED, or why it ended early. */
    void (*finished)(void* user_data, plugin_host_scan* scan, plugin_host_status status);
} plugin_host_scan_options;

/** Begins to scan. Each file is loaded by a child that has a time limit: one that crashes or hangs is an
 * entry with the reason. Doesn't block. */
PLUGIN_HOST_API plugin_host_status plugin_host_scan_start(plugin_host_session* session,
                                                          const plugin_host_scan_options* options,
                                                          plugin_host_scan** scan);
/** Ends its children; `finished` follows. Doesn't block. */
PLUGIN_HOST_API plugin_host_status plugin_host_scan_cancel(plugin_host_scan* scan);
/** Waits for the end, at most `timeout` milliseconds, for ever below 0. The callbacks may still follow. */
PLUGIN_HOST_API plugin_host_status plugin_host_scan_wait(plugin_host_scan* scan, int32_t timeout);
/** Cancels it and frees the handle. No callback of it begins afterwards, but for one that another thread is
 * in. Blocks on the end of its children. */
PLUGIN_HOST_API plugin_host_status plugin_host_scan_destroy(plugin_host_scan* scan);

#ifdef __cplusplus
}
#endif

#endif
