// A minimal program with an X connection. "leave" connects and ends; "stay" sleeps on the connection.

#include <cstring>
#include <unistd.h>
#include <xcb/xcb.h>

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection) != 0)
        return 1;
    if (std::strcmp(argv[1], "stay") == 0) {
        xcb_wait_for_event(connection);
    }
    xcb_disconnect(connection);
    return 0;
}
