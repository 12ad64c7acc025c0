#pragma once

#include "plugin/CoreNames.h"

/// Writes the path of each plug-in file under `path`, one to a line: files whose names end in ".so", in the
/// order of the file system. Symbolic links are followed, also around a circle until the system refuses. A
/// folder that can't be read and a name that is no UTF-8 are one line of the log each, and are passed over.
/// Loads nothing. Throws `IOException` if `stream` does.
void listPlugins(const String& path, OutputStream& stream);
