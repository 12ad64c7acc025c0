#include "window/XConnection.h"

#include "core/Log.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <xcb/xcb.h>

XConnection::XConnection() {
    constexpr int noDisplayStatus = 1;
    constexpr int noSetupStatus = 2;
    xcb_connection_t* opened = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(opened) != 0) {
        base::core::logError("Could not open display");
        std::exit(noDisplayStatus);
    }
    connection = opened;
    const xcb_setup_t* setup = xcb_get_setup(opened);
    screen = setup != nullptr ? xcb_setup_roots_iterator(setup).data : nullptr;
    if (screen == nullptr || xcb_setup_roots_length(setup) == 0) {
        base::core::logError("Error getting display setup");
        std::exit(noSetupStatus);
    }

    controlWindow = xcb_generate_id(opened);
    const uint32_t eventMask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_create_window(opened, 0, controlWindow, screen->root, 0, 0, 10, 10, 1, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, XCB_CW_EVENT_MASK, &eventMask);

    internAtoms();
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
    sendToSelf(atomShutdownEvent, 0, 0);
}

void XConnection::sendSettledEvent(uint32_t windowId, uint32_t serial) const {
    sendToSelf(atomSettledEvent, windowId, serial);
}

void XConnection::sendToSelf(uint32_t type, uint32_t first, uint32_t second) const {
    xcb_connection_t* open = connection;
    if (open == nullptr)
        return;
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = controlWindow;
    event.type = type;
    event.data.data32[0] = first;
    event.data.data32[1] = second;
    // With an empty mask the event goes to the client that made the window, which is this one, and wakes its
    // reader.
    xcb_send_event(open, 0, controlWindow, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&event));
    xcb_flush(open);
}

void XConnection::internAtoms() {
    struct {
        const char* name;
        uint32_t* atom;
        xcb_intern_atom_cookie_t cookie{};
    } requests[] = {
        {"UTF8_STRING", &atomUtf8String},        {"WM_PROTOCOLS", &atomProtocols},
        {"WM_DELETE_WINDOW", &atomDeleteWindow}, {"_NET_WM_PING", &atomNetWmPing},
        {"SHUTDOWN_EVENT", &atomShutdownEvent},  {"SETTLED_EVENT", &atomSettledEvent},
    };
    // All are requested before the first reply is awaited: one round trip for all.
    for (auto& request : requests) {
        const auto length = static_cast<uint16_t>(std::strlen(request.name));
        request.cookie = xcb_intern_atom(connection, 0, length, request.name);
    }
    for (const auto& request : requests) {
        const std::unique_ptr<xcb_intern_atom_reply_t, void (*)(void*)> reply(
            xcb_intern_atom_reply(connection, request.cookie, nullptr), std::free);
        if (reply != nullptr)
            *request.atom = reply->atom;
    }
}
