#include "window/XConnection.h"

#include "core/StdStreams.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <xcb/xcb.h>

using base::core::standardError;

XConnection::XConnection() {
    constexpr int noDisplayStatus = 1;
    constexpr int noSetupStatus = 2;
    xcb_connection_t* opened = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(opened) != 0) {
        standardError().printLine("Could not open display");
        std::exit(noDisplayStatus);
    }
    connection = opened;
    const xcb_setup_t* setup = xcb_get_setup(opened);
    screen = setup != nullptr ? xcb_setup_roots_iterator(setup).data : nullptr;
    if (screen == nullptr || xcb_setup_roots_length(setup) == 0) {
        standardError().printLine("Error getting display setup");
        std::exit(noSetupStatus);
    }

    controlWindow = xcb_generate_id(opened);
    const uint32_t eventMask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_create_window(opened, 0, controlWindow, screen->root, 0, 0, 10, 10, 1, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, XCB_CW_EVENT_MASK, &eventMask);

    atomUtf8String = internAtom("UTF8_STRING");
    atomProtocols = internAtom("WM_PROTOCOLS");
    atomDeleteWindow = internAtom("WM_DELETE_WINDOW");
    atomNetWmPing = internAtom("_NET_WM_PING");
    atomShutdownEvent = internAtom("SHUTDOWN_EVENT");
}

XConnection::~XConnection() {
    disconnect();
}

void XConnection::disconnect() {
    if (xcb_connection_t* open = connection) {
        connection = nullptr;
        xcb_disconnect(open);
    }
}

void XConnection::sendShutdownEvent() const {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = controlWindow;
    event.type = atomShutdownEvent;
    // With an empty mask the event goes to the client that made the window: this one, which wakes its reader.
    xcb_send_event(connection, 0, controlWindow, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(connection);
}

uint32_t XConnection::internAtom(const char* name) const {
    const xcb_intern_atom_cookie_t cookie =
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
    const std::unique_ptr<xcb_intern_atom_reply_t, void (*)(void*)> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr), std::free);
    constexpr uint32_t none = XCB_ATOM_NONE;
    return reply != nullptr ? reply->atom : none;
}
