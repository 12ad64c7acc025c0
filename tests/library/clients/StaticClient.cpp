// A program with templates, threads and exceptions of its own beside the static library. The arguments are
// the host's program and the plug-in.

#include <plugin-host/client.hpp>

#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

int sumOf(const std::vector<int>& numbers) {
    std::map<int, std::string> texts;
    for (const int number : numbers)
        texts[number] = std::to_string(number);
    if (texts.size() != numbers.size())
        throw std::runtime_error("a number is missing");
    int sum = 0;
    for (const auto& [number, text] : texts)
        sum += std::stoi(text);
    return sum;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    int sum = 0;
    std::thread([&] { sum = sumOf({3, 1, 2}); }).join();
    bool isCaught = false;
    try {
        sumOf({1, 1});
    } catch (const std::runtime_error&) {
        isCaught = true;
    }
    plugin_host::session_options options;
    options.program_32 = argv[1];
    options.program_64 = argv[1];
    options.cache_directory = "";
    plugin_host::session session(options);
    const plugin_host::plugin plugin(session, {.path = argv[2]});
    bool isThrown = false;
    try {
        plugin_host::inspect("/nothing.so");
    } catch (const plugin_host::error&) {
        isThrown = true;
    }
    std::cout << plugin.describe().name << std::endl;
    return sum == 6 && isCaught && isThrown ? 0 : 1;
}
