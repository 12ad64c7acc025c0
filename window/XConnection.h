#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

struct xcb_connection_t;
struct xcb_screen_t;

/// The host's one connection to the X server, its atoms, and the hidden window by which the host talks to
/// itself. Made on the main thread; nothing but `connection` changes afterwards, and libxcb may be called
/// from any thread.
class XConnection : public NonCopyable, public NonMovable {
public:
    /// Connects to the server that `DISPLAY` names. Without one, writes "Could not open display" to the
    /// standard error stream and exits with 1; without a screen, "Error getting display setup" and 2.
    XConnection();
    /// Disconnects, if that hasn't been done.
    ~XConnection();

    /// Ends the connection; nothing may use it after this. Harmless when it has ended.
    void disconnect();

    /// Sends the message that ends the display thread.
    void sendShutdownEvent() const;
    /// Sends the message that comes behind all events of what was done to a window so far: the display thread
    /// turns it into a `PluginWindowSettledAction`. `serial` is the instance's `windowSerial`. Does nothing
    /// on a connection that has ended.
    void sendSettledEvent(uint32_t windowId, uint32_t serial) const;

    // The order in which the atoms are interned is that of `internAtoms`.
    uint32_t atomUtf8String = 0;
    uint32_t atomDeleteWindow = 0;
    uint32_t atomNetWmPing = 0;
    uint32_t atomProtocols = 0;
    uint32_t atomShutdownEvent = 0;
    uint32_t atomSettledEvent = 0;
    /// Null once it has ended in order; a connection that the server broke stays.
    PublishedPointer<xcb_connection_t> connection;
    /// The first screen of the setup, the only one that windows are made on.
    xcb_screen_t* screen = nullptr;
    /// Never mapped.
    uint32_t controlWindow = 0;

private:
    void internAtoms();
    /// To the display thread, by way of the server.
    void sendToSelf(uint32_t type, uint32_t first, uint32_t second) const;
};
