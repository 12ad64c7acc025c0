#pragma once

#include <cstdint>
#include <functional>

#include <xcb/xcb.h>

namespace bare {

/// A window of the X server's that DISPLAY names, for a plug-in's editor. Fails the run where there is none.
class Window {
public:
    Window(std::int32_t width, std::int32_t height);
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    [[nodiscard]] std::uint32_t getId() const { return id; }
    void resize(std::int32_t width, std::int32_t height);
    /// Shows it for two seconds, and calls `idle` every 40 ms.
    void show(const std::function<void()>& idle);

private:
    xcb_connection_t* connection;
    std::uint32_t id = 0;
};

} // namespace bare
