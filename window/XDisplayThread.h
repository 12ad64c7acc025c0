#pragma once

#include "core/Thread.h"

#include <cstdint>

class PluginHostContext;
class XConnection;
struct xcb_client_message_event_t;

/// Reads the events of the host's X connection and posts them as actions to the host's queue; calls no
/// plug-in and no window. Answers pings of the window manager itself, so that windows count as responsive
/// while a plug-in blocks the main thread. Started and joined by `PluginWindows`; ends on the message of
/// `XConnection::sendShutdownEvent`, or when the connection breaks.
class XDisplayThread : public base::core::Thread {
public:
    /// Both are borrowed.
    XDisplayThread(PluginHostContext* host, const XConnection& display);
    ~XDisplayThread() override;

    /// Whether the thread ended on that message and has disconnected. After `join`.
    bool hasDisconnected() const { return disconnected; }

protected:
    void run() override;

private:
    void handleClientMessage(const xcb_client_message_event_t& message);
    void answerPing(const xcb_client_message_event_t& ping);

    PluginHostContext* host;
    const XConnection& display;
    bool stopRequested = false;
    bool disconnected = false;
};
