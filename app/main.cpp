#include "app/CommandLine.h"

#include <iostream>

int main(int argc, char** argv) {
    // The console streams read ahead only when they are free of the C library's buffers.
    std::ios::sync_with_stdio(false);
    return runCommandLine(argc, argv);
}
