#include "window/XcbPluginWindow.h"

#include "core/Log.h"
#include "plugin/Extensions.h"
#include "plugin/PluginHostContext.h"
#include "plugin/PluginHostNotifications.h"
#include "plugin/PluginInstance.h"
#include "plugin/RunLoop.h"
#include "window/PluginWindows.h"
#include "window/WindowPlacement.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

namespace {

constexpr uint32_t noWindow = 0;
constexpr uint16_t firstWidth = 400; // pixels, until the plug-in's size is known
constexpr uint16_t firstHeight = 300;
constexpr int rounds = 20;
constexpr useconds_t roundLength = 50000; // microseconds

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// Allocated by libxcb.
template <class T>
using Reply = std::unique_ptr<T, Free>;

Reply<xcb_get_geometry_reply_t> askGeometry(xcb_connection_t* connection, uint32_t drawable) {
    return Reply<xcb_get_geometry_reply_t>(
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, drawable), nullptr));
}

// The given place, moved onto a screen if the server answers for all screens.
ScreenPoint findPlace(xcb_connection_t* connection, uint32_t window, int32_t x, int32_t y) {
    std::vector<ScreenRectangle> screens;
    for (auto screen = xcb_setup_roots_iterator(xcb_get_setup(connection)); screen.rem > 0;
         xcb_screen_next(&screen)) {
        const auto root = askGeometry(connection, screen.data->root);
        if (root == nullptr)
            return {x, y};
        screens.push_back({root->x, root->y, root->width, root->height});
    }
    const auto geometry = askGeometry(connection, window);
    if (geometry == nullptr)
        return {x, y};
    return placeOnScreen({x, y, geometry->width, geometry->height}, screens);
}

xcb_size_hints_t staticGravity() {
    xcb_size_hints_t hints{};
    xcb_icccm_size_hints_set_win_gravity(&hints, XCB_GRAVITY_STATIC);
    return hints;
}

// Saturates: the server truncates a length to 16 bits. A negative length, here a huge number, becomes 0,
// which the server refuses: the window keeps its size.
uint32_t lengthForServer(uint32_t length) {
    return length > INT32_MAX ? 0 : std::min(length, uint32_t{UINT16_MAX});
}

void configurePlace(xcb_connection_t* connection, uint32_t window, ScreenPoint place) {
    const uint32_t values[] = {static_cast<uint32_t>(place.x), static_cast<uint32_t>(place.y)};
    xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
}

} // namespace

XcbPluginWindow::XcbPluginWindow(PluginWindows& windows, PluginInstance* instance, uint32_t parentWindow)
    : windows(windows), instance(instance), parentWindow(parentWindow) {}

XcbPluginWindow::~XcbPluginWindow() {
    // This may be the last reference to the instance.
    const Ref<PluginInstance> lastReference = windows.remove(windowId);
    if (xcb_connection_t* connection = windows.display.connection) {
        xcb_unmap_window(connection, windowId);
        xcb_destroy_window(connection, windowId);
        xcb_flush(connection);
    }
    tellClient();
}

void XcbPluginWindow::tellClient() const noexcept try {
    if (PluginHostProxyHandler* handler = windows.host->handler.get()) {
        const Ref<PluginHostNotification> notification(
            new PluginWindowClosedNotification(instance->instanceId, handler));
        handler->sendNotification(*notification);
    }
} catch (...) {
    // The client is gone, or memory has run out. A destructor can't throw: ends the process as an uncaught
    // exception would.
    _exit(-1);
}

bool XcbPluginWindow::create() {
    xcb_connection_t* connection = windows.display.connection;
    if (connection == nullptr)
        return false;
    const xcb_screen_t& screen = *windows.display.screen;
    windowId = xcb_generate_id(connection);
    const uint32_t values[] = {screen.black_pixel,
                               XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE};
    const xcb_void_cookie_t made = xcb_create_window_checked(
        connection, XCB_COPY_FROM_PARENT, windowId, screen.root, 0, 0, firstWidth, firstHeight, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    xcb_atom_t protocols[] = {windows.display.atomDeleteWindow, windows.display.atomNetWmPing};
    xcb_icccm_set_wm_protocols(connection, windowId, windows.display.atomProtocols, 2, protocols);
    if (parentWindow != noWindow)
        xcb_icccm_set_wm_transient_for(connection, windowId, parentWindow);
    if (const Reply<xcb_generic_error_t> error{xcb_request_check(connection, made)}; error != nullptr) {
        base::core::logError("Could not create window: X11 Error code ", int32_t{error->error_code});
        return false;
    }
    xcb_flush(connection);
    windows.add(windowId, instance);
    return true;
}

void XcbPluginWindow::setResizable() {}

void XcbPluginWindow::hide() {
    if (xcb_connection_t* connection = windows.display.connection) {
        xcb_unmap_window(connection, windowId);
        xcb_flush(connection);
    }
}

void XcbPluginWindow::show() {
    if (xcb_connection_t* connection = windows.display.connection) {
        xcb_map_window(connection, windowId);
        xcb_flush(connection);
    }
}

void XcbPluginWindow::setTitle(const String& title) {
    xcb_connection_t* connection = windows.display.connection;
    if (connection == nullptr)
        return;
    const std::string text = title.toStdString();
    xcb_icccm_set_wm_name(connection, windowId, windows.display.atomUtf8String, 8,
                          static_cast<uint32_t>(text.size()), text.data());
    xcb_flush(connection);
}

void XcbPluginWindow::resize(uint32_t width, uint32_t height) {
    xcb_connection_t* connection = windows.display.connection;
    if (connection == nullptr)
        return;
    const uint32_t values[] = {lengthForServer(width), lengthForServer(height)};
    const auto hintedWidth = static_cast<int32_t>(values[0]);
    const auto hintedHeight = static_cast<int32_t>(values[1]);
    xcb_size_hints_t hints = staticGravity();
    xcb_icccm_size_hints_set_min_size(&hints, hintedWidth, hintedHeight);
    xcb_icccm_size_hints_set_max_size(&hints, hintedWidth, hintedHeight);
    xcb_icccm_set_wm_normal_hints(connection, windowId, &hints);
    constexpr uint16_t mask = XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT;
    xcb_configure_window(connection, windowId, mask, values);
    if (const uint32_t child = childWindow; child != noWindow)
        xcb_configure_window(connection, child, mask, values);
    xcb_flush(connection);
}

void XcbPluginWindow::move(int32_t x, int32_t y) {
    xcb_connection_t* connection = windows.display.connection;
    if (connection == nullptr)
        return;
    const ScreenPoint place = findPlace(connection, windowId, x, y);
    configurePlace(connection, windowId, place);
    xcb_size_hints_t hints = staticGravity();
    constexpr int byProgram = 0;
    xcb_icccm_size_hints_set_position(&hints, byProgram, place.x, place.y);
    xcb_icccm_set_wm_normal_hints(connection, windowId, &hints);
    xcb_flush(connection);
}

// An editor may need its run loop to make its window.
void XcbPluginWindow::letPluginWork() const {
    if (isEnabled(Extension::runLoop) && windows.host != nullptr)
        windows.host->getRunLoop().callFor(roundLength);
    else
        usleep(roundLength);
}

bool XcbPluginWindow::waitForPluginWindow() {
    xcb_connection_t* connection = windows.display.connection;
    for (int round = 0; connection != nullptr && round < rounds; ++round) {
        const Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(connection, xcb_query_tree(connection, windowId), nullptr));
        if (tree != nullptr && tree->children_len > 0) {
            childWindow = xcb_query_tree_children(tree.get())[0];
            configurePlace(connection, childWindow, {0, 0});
            return true;
        }
        letPluginWork();
    }
    // Oddity misspelt-texts: "it's".
    base::core::logError("VST plugin did not create it's window inside the plugin window");
    return false;
}
