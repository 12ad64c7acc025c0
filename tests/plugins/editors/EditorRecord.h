#pragma once

#include "support/CallLog.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

/// What a test plug-in with an editor and the test that has loaded it know of each other. One for a module;
/// the test finds it by `editorRecord`.
struct EditorRecord {
    /// What the editor was asked, a line each. Any thread.
    test_support::CallLog calls;
    /// How often the open editor was given time.
    std::atomic<int32_t> idles = 0;
    /// Runs inside of each opening, with the host's window, before the plug-in makes its own. Set by the
    /// test.
    std::function<void(uint32_t parent)> onOpen;
    /// Makes the window of an editor that is open without one. Set by the plug-in; any thread, one at a time.
    std::function<void()> makeWindow;
    /// Has the editor ask its host for another size, in pixels, on the thread that the plug-in does it on.
    std::function<void(int32_t width, int32_t height)> requestSize;

    /// Keeps the call and runs `onOpen`.
    void openedIn(uint32_t parent, const std::string& call);
};

/// The record of the module that this is called in.
extern "C" __attribute__((visibility("default"))) EditorRecord* editorRecord();
