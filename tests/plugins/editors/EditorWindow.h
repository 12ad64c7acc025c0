#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

struct xcb_connection_t;

/// The window of a plug-in: a connection of its own with one mapped window in a window of the host's.
class EditorWindow {
public:
    static constexpr uint16_t defaultWidth = 200; // pixels
    static constexpr uint16_t defaultHeight = 120;
    static constexpr int16_t offset = 7; // from the parent's corner, until a host puts it elsewhere

    /// Returns once the window is there. A parent that is gone leaves it without one.
    explicit EditorWindow(uint32_t parent, uint16_t width = defaultWidth, uint16_t height = defaultHeight);
    /// Returns once the window has gone.
    ~EditorWindow();
    EditorWindow(const EditorWindow&) = delete;
    EditorWindow& operator=(const EditorWindow&) = delete;

private:
    /// The server has carried out what was asked before once it answers.
    void awaitServer();

    xcb_connection_t* connection;
    uint32_t window = 0;
};

/// A thread of a plug-in's own that works from time to time until its end, which joins it.
class EditorThread {
public:
    /// Runs `work` after each `milliseconds`, as long as it answers true.
    EditorThread(int milliseconds, std::function<bool()> work);
    ~EditorThread();
    EditorThread(const EditorThread&) = delete;
    EditorThread& operator=(const EditorThread&) = delete;

private:
    /// False if the end has come meanwhile.
    bool pause(int milliseconds);

    std::mutex mutex;
    std::condition_variable ending;
    bool mustEnd = false;
    std::thread thread;
};
