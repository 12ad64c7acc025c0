#pragma once

#include "plugin/CoreNames.h"

class PluginHost;

/// Adds all formats of this program to a host. Call before the first plug-in is loaded.
void addPluginFormats(PluginHost& host);
