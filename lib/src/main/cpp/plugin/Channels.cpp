#include "plugin/Channels.h"

String channelName(int32_t hostId, const String& channel) {
    return concat("tanvex/engine/plugin", hostId, "/", channel);
}

String mainChannelName(int32_t hostId) {
    return channelName(hostId, "main");
}

String asyncChannelName(int32_t hostId) {
    return channelName(hostId, "async-replies");
}

String workerChannelName(int32_t hostId, int32_t index) {
    return channelName(hostId, concat("worker", index));
}

String audioBlockName(int32_t hostId, int32_t instanceId) {
    return concat("tanvex-plugin-host", hostId, "-", instanceId);
}
