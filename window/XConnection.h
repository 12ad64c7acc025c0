#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

struct xcb_connection_t;
struct xcb_screen_t;

/// The host's one connection to the X server, its atoms, and the hidden window for messages of the host to
/// itself. Made on the main thread; only `connection` changes afterwards, and libxcb is thread-safe.
class XConnection : public NonCopyable, public NonMovable {
public:
    /// Connects to the server of `DISPLAY`. Without one, logs "Could not open display" to stderr and exits
    /// with 1; without a screen, "Error getting display setup" and 2.
    XConnection();
    /// Disconnects if that hasn't been done.
    ~XConnection();

    /// Ends the connection, which must not be used after this. No effect if it has ended.
    void disconnect();

    /// Sends the message that ends the display thread.
    void sendShutdownEvent() const;
    /// Sends a message that arrives after all events of earlier requests for a window: the display thread
    /// turns it into a `PluginWindowSettledAction`. `serial` is the instance's `windowSerial`. No effect on a
    /// connection that has ended.
    void sendSettledEvent(uint32_t windowId, uint32_t serial) const;

    // In the order of `internAtoms`.
    uint32_t atomUtf8String = 0;
    uint32_t atomDeleteWindow = 0;
    uint32_t atomNetWmPing = 0;
    uint32_t atomProtocols = 0;
    uint32_t atomShutdownEvent = 0;
    uint32_t atomSettledEvent = 0;
    /// Null after `disconnect`; stays set if the server breaks the connection.
    PublishedPointer<xcb_connection_t> connection;
    /// The first screen of the setup, on which all windows are made.
    xcb_screen_t* screen = nullptr;
    /// Never mapped.
    uint32_t controlWindow = 0;

private:
    void internAtoms();
    /// To the display thread, through the server.
    void sendToSelf(uint32_t type, uint32_t first, uint32_t second) const;
};
