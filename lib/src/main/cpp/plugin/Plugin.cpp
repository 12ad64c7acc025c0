#include "plugin/Plugin.h"

Plugin::Plugin(const String& path) : path(path) {}

Plugin::~Plugin() = default;
