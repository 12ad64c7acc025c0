#include "real-plugins/BareWindow.h"

#include "real-plugins/BareRun.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace bare {

namespace {

std::uint16_t sizeOf(std::int32_t length) {
    return static_cast<std::uint16_t>(std::clamp(length, 1, 4096));
}

} // namespace

Window::Window(std::int32_t width, std::int32_t height) : connection(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection) != 0) {
        fail("no X server");
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    id = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, id, screen->root, 0, 0, sizeOf(width), sizeOf(height),
                      0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_map_window(connection, id);
    // Answered once the server has the window: the plug-in looks for it by a connection of its own.
    std::free(xcb_get_geometry_reply(connection, xcb_get_geometry(connection, id), nullptr));
}

Window::~Window() {
    xcb_disconnect(connection);
}

void Window::resize(std::int32_t width, std::int32_t height) {
    const std::uint32_t size[] = {sizeOf(width), sizeOf(height)};
    xcb_configure_window(connection, id, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
    xcb_flush(connection);
}

void Window::show(const std::function<void()>& idle) {
    constexpr int times = 50;
    constexpr std::chrono::milliseconds interval(40);
    for (int time = 0; time < times; ++time) {
        idle();
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection)) {
            std::free(event);
        }
        std::this_thread::sleep_for(interval);
    }
}

} // namespace bare
