// A program whose assertion fails, for a debugger to run.

#include "core/Assertion.h"
#include "core/Debugger.h"
#include "core/StdStreams.h"

using namespace base::core;

int main() {
    standardOutput().printLine(isDebuggerAttached() ? "A debugger is attached" : "No debugger is attached");
    BASE_FAIL("Unknown state");
    standardOutput().printLine("The program went on");
    return 0;
}
