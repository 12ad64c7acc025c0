#pragma once

class PluginHost;

/// The `host` action: a plug-in host for the client that started this process. Takes "sampleRate blockSize
/// hostId audioThreadCount" as decimal integers; any other text throws `NumberFormatException`, a pipe that
/// can't be opened `IOException`. Opens the pipes, starts the threads and turns the calling thread into the
/// main thread. Exits with 0 when the client ends it or is gone, with 255 when the main loop throws; doesn't
/// return. `addFormats` adds the formats to the host.
[[noreturn]] void runHostProcess(const char* const arguments[4], void (*addFormats)(PluginHost&));
