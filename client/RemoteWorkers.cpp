#include "client/RemoteWorkers.h"

RemoteWorkers::RemoteWorkers(int32_t hostId, int32_t blockSize) : blockSize(blockSize), hostId(hostId) {}

RemoteWorkers::~RemoteWorkers() = default;
