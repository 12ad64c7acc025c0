#pragma once

#include "plugin/CoreNames.h"

#include <cstdint>

// The names by which client and host find each other; none of them is ever sent. `hostId` is the number that
// the client gave to its host.

/// The logical name of a pipe: the directory of one host, then the channel.
String channelName(int32_t hostId, const String& channel);

/// Requests, and the answers to pings.
String mainChannelName(int32_t hostId);
/// Asynchronous replies and notifications.
String asyncChannelName(int32_t hostId);
/// The commands of one audio worker; `index` counts from 0.
String workerChannelName(int32_t hostId, int32_t index);

/// The logical name of an instance's audio block.
String audioBlockName(int32_t hostId, int32_t instanceId);
