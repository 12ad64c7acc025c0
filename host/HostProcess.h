#pragma once

class PluginHost;

/// The `host` action: a plug-in host for the client that started this process. Takes "sampleRate blockSize
/// hostId audioThreadCount" as decimal integers; a text that is none throws `NumberFormatException`, and a
/// pipe that can't be opened `IOException`. Opens the pipes, starts the threads and turns the calling thread
/// into the main thread. Exits with 0 when the client ends it or goes away, with 255 when the main loop
/// throws, and doesn't return. `addFormats` is to give the host its formats.
[[noreturn]] void runHostProcess(const char* const arguments[4], void (*addFormats)(PluginHost&));
