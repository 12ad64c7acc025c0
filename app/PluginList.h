#pragma once

#include "plugin/CoreNames.h"

/// Writes the path of each plug-in file under `path`, one to a line: files whose names end in ".so", in the
/// order of the file system. Symbolic links are followed, also around a circle until the system refuses. A
/// folder that can't be read and a name that isn't UTF-8 are logged and left out. Loads nothing. Throws
/// `IOException` if `stream` does.
void listPlugins(const String& path, OutputStream& stream);
