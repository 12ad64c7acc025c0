#include "plugins/editors/EditorWindow.h"

#include <chrono>
#include <cstdlib>
#include <utility>
#include <xcb/xcb.h>

EditorWindow::EditorWindow(uint32_t parent, uint16_t width, uint16_t height)
    : connection(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection) != 0)
        return;
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    window = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, parent, offset, offset, width, height, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual, XCB_CW_BACK_PIXEL,
                      &screen.white_pixel);
    xcb_map_window(connection, window);
    awaitServer();
}

EditorWindow::~EditorWindow() {
    xcb_destroy_window(connection, window);
    awaitServer();
    xcb_disconnect(connection);
}

void EditorWindow::awaitServer() {
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

EditorThread::EditorThread(int milliseconds, std::function<bool()> work)
    : thread([this, milliseconds, work = std::move(work)] {
          while (pause(milliseconds) && work()) {
          }
      }) {}

EditorThread::~EditorThread() {
    {
        const std::lock_guard lock(mutex);
        mustEnd = true;
    }
    ending.notify_one();
    thread.join();
}

bool EditorThread::pause(int milliseconds) {
    std::unique_lock lock(mutex);
    return !ending.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return mustEnd; });
}
