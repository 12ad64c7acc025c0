// Runs the self-test over several plug-ins, with hosts and a bound of the caller's choice:
// self-test-program SECONDS HOST PLUGIN..., where HOST is the path of the program that hosts run, or "local".

#include "app/SelfTest.h"

#include <cstdlib>
#include <iostream>

int main(int argumentCount, char** arguments) {
    if (argumentCount < 3)
        return EXIT_FAILURE;
    std::ios::sync_with_stdio(false);
    const String host = arguments[2];
    Ref<TestProxyProvider> provider(new LocalTestProxyProvider);
    if (host != "local")
        provider = new SandboxedTestProxyProvider(host);
    const std::vector<String> files(arguments + 3, arguments + argumentCount);
    return SelfTest(provider, files, std::atof(arguments[1])).run();
}
