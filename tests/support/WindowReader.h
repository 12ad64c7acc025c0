#pragma once

#include "support/XClient.h"

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

/// Where a window stands in its parent, in pixels.
struct WindowRectangle {
    int32_t x = 0;
    int32_t y = 0;
    int32_t width = 0;
    int32_t height = 0;

    bool operator==(const WindowRectangle&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const WindowRectangle& rectangle) {
    return stream << rectangle.width << "x" << rectangle.height << " at " << rectangle.x << ", "
                  << rectangle.y;
}

/// A property as the server keeps it.
struct WindowProperty {
    std::string type;
    int32_t format = 0; // bits of an item
    std::string bytes;
};

/// A client that reads what others have made of their windows.
class WindowReader : public XClient {
public:
    /// Without a type if the window has no such property.
    WindowProperty property(uint32_t window, const std::string& name) {
        constexpr uint32_t longest = 1024; // words
        const auto cookie =
            xcb_get_property(connection, 0, window, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, longest);
        const auto reply = ownReply(xcb_get_property_reply(connection, cookie, nullptr));
        if (reply == nullptr)
            return {};
        return {atomName(reply->type),
                reply->format,
                {static_cast<const char*>(xcb_get_property_value(reply.get())),
                 static_cast<size_t>(xcb_get_property_value_length(reply.get()))}};
    }

    /// The words of a property of 32-bit items.
    std::vector<uint32_t> words(uint32_t window, const std::string& name) {
        const std::string bytes = property(window, name).bytes;
        std::vector<uint32_t> items(bytes.size() / sizeof(uint32_t));
        bytes.copy(reinterpret_cast<char*>(items.data()), items.size() * sizeof(uint32_t));
        return items;
    }

    /// All zero for a window that isn't there.
    WindowRectangle rectangle(uint32_t window) {
        const auto reply =
            ownReply(xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr));
        if (reply == nullptr)
            return {};
        return {reply->x, reply->y, reply->width, reply->height};
    }

    /// The rectangle on the screen, however deep the window stands.
    WindowRectangle onScreen(uint32_t window) {
        WindowRectangle place = rectangle(window);
        const auto cookie = xcb_translate_coordinates(connection, window, root, 0, 0);
        if (const auto reply = ownReply(xcb_translate_coordinates_reply(connection, cookie, nullptr))) {
            place.x = reply->dst_x;
            place.y = reply->dst_y;
        }
        return place;
    }

    bool isMapped(uint32_t window) { return mapState(window) != XCB_MAP_STATE_UNMAPPED; }
    /// Mapped, and all that it stands in too.
    bool isViewable(uint32_t window) { return mapState(window) == XCB_MAP_STATE_VIEWABLE; }

    /// The lowest first.
    std::vector<uint32_t> children(uint32_t window) {
        const auto reply =
            ownReply(xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
        if (reply == nullptr)
            return {};
        const uint32_t* first = xcb_query_tree_children(reply.get());
        return {first, first + xcb_query_tree_children_length(reply.get())};
    }

    uint32_t parent(uint32_t window) {
        const auto reply =
            ownReply(xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
        return reply != nullptr ? reply->parent : 0;
    }

    /// A plain top-level window, as an application has one; gone with the connection.
    uint32_t makeWindow() {
        const uint32_t window = xcb_generate_id(connection);
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, root, 0, 0, 50, 40, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        sync();
        return window;
    }

private:
    uint8_t mapState(uint32_t window) {
        const auto cookie = xcb_get_window_attributes(connection, window);
        const auto reply = ownReply(xcb_get_window_attributes_reply(connection, cookie, nullptr));
        return reply != nullptr ? reply->map_state : uint8_t{XCB_MAP_STATE_UNMAPPED};
    }
};

} // namespace test_support
