#pragma once

#include "support/OwnXServer.h"
#include "support/WindowReader.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

/// A display of the test's own with a window manager and a user.
class Desktop {
public:
    Desktop() {
        if (!server.isUp)
            throw std::runtime_error("no X server within 10 s");
        manager.emplace(std::vector<std::string>{"openbox", "--sm-disable"});
        test_support::WindowReader reader;
        const uint32_t probe = reader.makeWindow();
        if (!test_support::eventually([&] { return isManaged(reader, probe); }))
            throw std::runtime_error("no window manager within 10 s");
    }

    /// What the user does with mouse and keyboard, in the words of xdotool.
    static bool userDoes(const std::string& actions) {
        return std::system(("xdotool " + actions + " >/dev/null 2>&1").c_str()) == 0;
    }

protected:
    test_support::OwnXServer server{{"1280x800x24"}};
    std::optional<test_support::OwnProgram> manager;

private:
    /// Whether the manager answers questions. It takes the screen long before.
    static bool isManaged(test_support::WindowReader& reader, uint32_t probe) {
        xcb_client_message_event_t question{};
        question.response_type = XCB_CLIENT_MESSAGE;
        question.format = 32;
        question.window = probe;
        question.type = reader.atom("_NET_REQUEST_FRAME_EXTENTS");
        xcb_send_event(reader.connection, 0, reader.root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&question));
        return !reader.words(probe, "_NET_FRAME_EXTENTS").empty();
    }
};
