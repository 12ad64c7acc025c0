#pragma once

#include "support/Report.h"

/// A benchmark program apart from its measurement: gives the process a `USER` of its own, so that its FIFOs
/// don't collide with others, calls `measure`, prints the report, and writes it as JSON with "--json FILE".
/// Returns the exit status: 1 after a failed measurement, with a line on stderr.
int runBenchmarkProgram(int argumentCount, char** arguments, const char* name, void (*measure)(Report&));
