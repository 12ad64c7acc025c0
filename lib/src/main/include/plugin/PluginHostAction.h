#pragma once

#include "plugin/CoreNames.h"

/// A unit of work for the thread that runs the host's queue.
class PluginHostAction : public Object {
public:
    ~PluginHostAction() override;

    /// On the main thread.
    virtual void run() = 0;
};
