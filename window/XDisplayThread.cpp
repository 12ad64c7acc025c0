#include "window/XDisplayThread.h"

#include "core/Log.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginWindowActions.h"
#include "window/XConnection.h"

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

XDisplayThread::XDisplayThread(PluginHostContext* host, const XConnection& display)
    : Thread("XDisplayThread"), host(host), display(display) {}

XDisplayThread::~XDisplayThread() {
    join();
}

void XDisplayThread::run() {
    // The top bit marks an event that another client sent: handled as the plain type.
    constexpr uint8_t typeMask = 0x7f;
    xcb_connection_t* connection = display.connection;
    while (!stopRequested) {
        xcb_flush(connection);
        const std::unique_ptr<xcb_generic_event_t, void (*)(void*)> event(xcb_wait_for_event(connection),
                                                                          std::free);
        if (event == nullptr) {
            base::core::logError("xcb connection broken");
            return;
        }
        xcb_flush(connection);
        switch (event->response_type & typeMask) {
        case XCB_CONFIGURE_NOTIFY: {
            const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(*event);
            host->post(new PluginWindowMovedAction(host, configure.window, configure.x, configure.y));
            break;
        }
        case XCB_CLIENT_MESSAGE:
            handleClientMessage(reinterpret_cast<const xcb_client_message_event_t&>(*event));
            break;
        default:
            break;
        }
    }
    xcb_disconnect(connection);
    disconnected = true;
}

void XDisplayThread::handleClientMessage(const xcb_client_message_event_t& message) {
    if (message.type == display.atomShutdownEvent) {
        stopRequested = true;
    } else if (message.type == display.atomSettledEvent) {
        host->post(new PluginWindowSettledAction(host, message.data.data32[0], message.data.data32[1]));
    } else if (message.type == display.atomProtocols) {
        if (message.data.data32[0] == display.atomDeleteWindow)
            host->post(new PluginWindowClosedAction(host, message.window));
        else if (message.data.data32[0] == display.atomNetWmPing)
            answerPing(message);
    }
}

void XDisplayThread::answerPing(const xcb_client_message_event_t& ping) {
    // Oddity ping-event-mask: the usual mask has SUBSTRUCTURE_NOTIFY in the place of the second.
    constexpr uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_client_message_event_t answer = ping;
    answer.window = display.screen->root;
    xcb_send_event(display.connection, 0, answer.window, mask, reinterpret_cast<const char*>(&answer));
}
