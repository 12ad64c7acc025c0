#pragma once

#include <cstdint>
#include <jack/jack.h>
#include <plugin-host/client.hpp>

/// The transport of a JACK server, as plug-ins get it. Audio thread. Without a timebase master there are 120
/// beats a minute and bars of four quarters from the first frame on.
class JackTransport {
public:
    /// At the start of a period.
    plugin_host_transport read(const jack_client_t* client, jack_nframes_t frames) noexcept;

private:
    bool wasRolling = false;
    jack_nframes_t expected = 0;
};
