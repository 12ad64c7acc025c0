#pragma once

#include "plugin/CoreNames.h"

class PluginHost;

/// Has a host load plug-ins of all formats that this program knows. Before the first plug-in is loaded.
void addPluginFormats(PluginHost& host);
