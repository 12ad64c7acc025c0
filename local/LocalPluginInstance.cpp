#include "local/LocalPluginInstance.h"

LocalPluginInstance::~LocalPluginInstance() = default;
