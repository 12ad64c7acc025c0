#include "app/CommandLine.h"
#include "core/StdStreams.h"

int main(int argc, char** argv) {
    base::core::occupyConsoleDescriptors();
    return runCommandLine(argc, argv);
}
