#include "client/RemoteWorkers.h"

RemoteWorkers::RemoteWorkers(int32_t blockSize) : blockSize(blockSize), hostId(hostIdClaim.getId()) {}

RemoteWorkers::~RemoteWorkers() = default;
