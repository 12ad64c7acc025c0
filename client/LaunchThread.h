#pragma once

#include <functional>

/// Runs `work` on a thread of this process that never ends, one after the other, and returns when it is done.
/// The kernel ends a child with the thread that started it. Throws what `work` throws, `IOException` if there
/// is no memory for the thread. Any thread but that one; also in a fork of the process, which gets its own.
void runOnLaunchThread(const std::function<void()>& work);
