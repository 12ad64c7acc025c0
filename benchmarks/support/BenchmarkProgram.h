#pragma once

#include "support/Report.h"

/// The whole of a benchmark program but the measuring: gives the process a `USER` of its own, so that its
/// FIFOs meet nobody else's, calls `measure`, prints the report, and writes it as JSON to FILE of "--json
/// FILE". Returns the exit status: a failure to measure is one line on the standard error stream and 1.
int runBenchmarkProgram(int argumentCount, char** arguments, const char* name, void (*measure)(Report&));
