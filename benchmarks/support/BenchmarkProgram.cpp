#include "support/BenchmarkProgram.h"

#include "core/Exception.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

/// A `USER` for this process alone; removes its directory of FIFOs at the end.
class OwnUser {
public:
    OwnUser() : name("plugin-host-benchmark-" + std::to_string(getpid())) { setenv("USER", name.c_str(), 1); }
    ~OwnUser() {
        std::error_code ignored;
        std::filesystem::remove_all("/tmp/pipes-" + name, ignored);
    }

private:
    std::string name;
};

std::string jsonPath(int count, char** arguments) {
    if (count == 1)
        return {};
    if (count == 3 && std::string(arguments[1]) == "--json")
        return arguments[2];
    throw std::runtime_error(std::string("Usage: ") + arguments[0] + " [--json FILE]");
}

void measureAndReport(int count, char** arguments, const char* name, void (*measure)(Report&)) {
    const std::string path = jsonPath(count, arguments);
    const OwnUser user;
    Report report(name);
    measure(report);
    report.print();
    if (!path.empty())
        report.writeJson(path);
}

} // namespace

int runBenchmarkProgram(int argumentCount, char** arguments, const char* name, void (*measure)(Report&)) {
    try {
        measureAndReport(argumentCount, arguments, name, measure);
        return 0;
    } catch (const base::core::Exception& exception) {
        std::fprintf(stderr, "%s: %s\n", name, exception.getMessage().toStdString().c_str());
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", name, exception.what());
    }
    return 1;
}
