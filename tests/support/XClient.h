#pragma once

#include "support/Eventually.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <linux/sockios.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>
#include <xcb/xcb.h>

namespace test_support {

template <class Reply>
using XReply = std::unique_ptr<Reply, void (*)(void*)>;

template <class Reply>
XReply<Reply> ownReply(Reply* reply) {
    return {reply, std::free};
}

/// Another client of the X server, as a window manager or the application would be.
class XClient {
public:
    XClient() : connection(xcb_connect(nullptr, nullptr)) {
        if (xcb_connection_has_error(connection) != 0)
            throw std::runtime_error("the test cannot open the display");
        root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    }
    ~XClient() { xcb_disconnect(connection); }
    XClient(const XClient&) = delete;
    XClient& operator=(const XClient&) = delete;

    uint32_t atom(const std::string& name) {
        const auto cookie = xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.c_str());
        const auto reply = ownReply(xcb_intern_atom_reply(connection, cookie, nullptr));
        return reply != nullptr ? reply->atom : 0;
    }

    /// Empty for a number that is no atom.
    std::string atomName(uint32_t atom) {
        const auto reply =
            ownReply(xcb_get_atom_name_reply(connection, xcb_get_atom_name(connection, atom), nullptr));
        if (reply == nullptr)
            return {};
        return {xcb_get_atom_name_name(reply.get()),
                static_cast<size_t>(xcb_get_atom_name_name_length(reply.get()))};
    }

    bool windowExists(uint32_t window) {
        return ownReply(xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr)) !=
               nullptr;
    }

    void selectOnRoot(uint32_t eventMask) {
        xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &eventMask);
        sync();
    }

    /// Sends a client message to the owner of `destination`.
    void sendMessage(uint32_t destination, uint32_t window, uint32_t type, uint32_t first,
                     uint32_t second = 0, uint32_t third = 0, uint32_t fourth = 0, uint32_t fifth = 0) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window;
        event.type = type;
        event.data.data32[0] = first;
        event.data.data32[1] = second;
        event.data.data32[2] = third;
        event.data.data32[3] = fourth;
        event.data.data32[4] = fifth;
        send(destination, &event);
    }

    /// Sends a configure event, as window managers do, to the owner of `destination`.
    void sendConfigure(uint32_t destination, uint32_t window, int16_t x, int16_t y) {
        xcb_configure_notify_event_t event{};
        event.response_type = XCB_CONFIGURE_NOTIFY;
        event.event = window;
        event.window = window;
        event.x = x;
        event.y = y;
        event.width = 999;
        event.height = 999;
        send(destination, &event);
    }

    void sendExpose(uint32_t destination, uint32_t window) {
        xcb_expose_event_t event{};
        event.response_type = XCB_EXPOSE;
        event.window = window;
        send(destination, &event);
    }

    void moveWindow(uint32_t window, uint32_t x, uint32_t y) {
        const uint32_t values[] = {x, y};
        xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
        sync();
    }

    /// Waits for a client message that fits; null if none comes.
    XReply<xcb_client_message_event_t>
    awaitMessage(const std::function<bool(const xcb_client_message_event_t&)>& fits) {
        XReply<xcb_client_message_event_t> found{nullptr, std::free};
        eventually([&] {
            while (xcb_generic_event_t* event = xcb_poll_for_event(connection)) {
                auto message = ownReply(reinterpret_cast<xcb_client_message_event_t*>(event));
                if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && fits(*message)) {
                    found = std::move(message);
                    return true;
                }
            }
            return false;
        });
        return found;
    }

    /// Returns once the server has carried out all that was sent before.
    void sync() { ownReply(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr)); }

    /// Returns once the server has carried out what another connection of this process had written before, by
    /// no use of that one but a look at its socket: what it has forgotten in a buffer stays there. False if
    /// the server reads nothing. Turns of this client alone would prove nothing, since the server
    /// serves its clients in an order of its own.
    bool syncWith(xcb_connection_t* other) {
        const bool isRead = eventually([&] {
            int unread = 0;
            return ioctl(xcb_get_file_descriptor(other), SIOCOUTQ, &unread) != 0 || unread == 0;
        });
        if (!isRead)
            return false;
        // What was read may be under way.
        constexpr int turns = 3;
        for (int i = 0; i < turns; ++i)
            sync();
        return true;
    }

    xcb_connection_t* connection;
    uint32_t root = 0;

private:
    void send(uint32_t destination, const void* event) {
        xcb_send_event(connection, 0, destination, XCB_EVENT_MASK_NO_EVENT, static_cast<const char*>(event));
        sync();
    }
};

} // namespace test_support
