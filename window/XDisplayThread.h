#pragma once

#include "core/Thread.h"

#include <cstdint>

class PluginHostContext;
class XConnection;
struct xcb_client_message_event_t;

/// Reads the events of the host's X connection and turns them into actions on the host's queue; touches no
/// plug-in and no window. Pings of the window manager are answered here, so that a window stays alive for it
/// while a plug-in keeps the main thread. Started and joined by `PluginWindows`; ends by the message of
/// `XConnection::sendShutdownEvent`, or when the server goes away.
class XDisplayThread : public base::core::Thread {
public:
    /// Both are borrowed.
    XDisplayThread(PluginHostContext* host, const XConnection& display);
    ~XDisplayThread() override;

    /// Whether the thread ended by the message and has disconnected. After `join`.
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
