#pragma once

#include "plugin/CoreNames.h"

/// Writes the path of each plug-in file under `path`, one to a line: files whose names end in ".so", in the
/// order of the file system. Symbolic links are followed. Loads nothing. Throws `IOException`.
void listPlugins(const String& path, OutputStream& stream);
