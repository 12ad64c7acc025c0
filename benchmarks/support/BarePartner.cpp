#include "support/BarePartner.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

int check(int result, const char* call) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), call);
    return result;
}

std::string makeDirectory() {
    char path[] = "/tmp/plugin-host-benchmark-XXXXXX";
    if (mkdtemp(path) == nullptr)
        check(-1, "mkdtemp");
    return path;
}

} // namespace

BarePartner::BarePartner(size_t answerSize)
    : directory(makeDirectory()), program(new base::core::ChildProcess), answer(answerSize) {
    const std::string commandPath = directory + "/commands";
    const std::string answerPath = directory + "/answers";
    check(mkfifo(commandPath.c_str(), 0600), "mkfifo");
    check(mkfifo(answerPath.c_str(), 0600), "mkfifo");
    program->launch(
        {BARE_ANSWERER, commandPath.c_str(), answerPath.c_str(), std::to_string(answerSize).c_str()});
    commands = check(open(commandPath.c_str(), O_WRONLY | O_CLOEXEC), "open");
    answers = check(open(answerPath.c_str(), O_RDONLY | O_CLOEXEC), "open");
}

BarePartner::~BarePartner() {
    close(commands);
    close(answers);
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

void BarePartner::exchange() {
    constexpr char command[bareCommandSize] = {};
    if (write(commands, command, sizeof command) != sizeof command)
        check(-1, "write");
    for (size_t done = 0; done < answer.size();) {
        const ssize_t count = read(answers, answer.data() + done, answer.size() - done);
        if (count <= 0)
            check(-1, "read");
        done += static_cast<size_t>(count);
    }
}
