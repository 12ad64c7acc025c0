#include "Terminal.h"

#include <algorithm>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr size_t usualWidth = 80;
constexpr char interruptKey = 3; // ctrl-C
constexpr char endKey = 4;       // ctrl-D
constexpr char quitKey = 28;

size_t widthOfTerminal() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usualWidth;
}

} // namespace

Terminal::Terminal() : isShowing(isatty(STDOUT_FILENO) != 0) {}

Terminal::~Terminal() {
    clearLine();
    if (hasKeys)
        tcsetattr(STDIN_FILENO, TCSANOW, &former);
}

void Terminal::showLine(const std::string& text) {
    std::printf("\r\033[K%s", text.substr(0, widthOfTerminal() - 1).c_str());
    std::fflush(stdout);
    hasLine = true;
}

void Terminal::clearLine() {
    if (!hasLine)
        return;
    std::fputs("\r\033[K", stdout);
    std::fflush(stdout);
    hasLine = false;
}

void Terminal::report(const std::string& text) {
    std::string line = text;
    std::replace(line.begin(), line.end(), '\n', ' ');
    pass("plugin-host-live: " + line);
}

void Terminal::pass(const std::string& line) {
    clearLine();
    std::fprintf(stderr, "%s\n", line.c_str());
}

bool Terminal::takeKeys() {
    // In the background a read or a change of settings would stop the process.
    if (isAtEnd || isatty(STDIN_FILENO) == 0 || tcgetpgrp(STDIN_FILENO) != getpgrp())
        return false;
    termios settings{};
    if (tcgetattr(STDIN_FILENO, &settings) != 0)
        return false;
    if (!hasKeys)
        former = settings;
    // Without signals: ctrl-Z would stop the sound.
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 0;
    return tcsetattr(STDIN_FILENO, TCSANOW, &settings) == 0;
}

int Terminal::getKeyDescriptor() {
    // A shell that has brought it back to the foreground has changed the settings meanwhile.
    if (!takeKeys())
        return -1;
    hasKeys = true;
    return STDIN_FILENO;
}

char Terminal::readKey() {
    char key = 0;
    const ssize_t count = read(STDIN_FILENO, &key, 1);
    // A terminal that is gone polls as readable for ever.
    if (count < 0)
        isAtEnd = true;
    if (count != 1)
        return 0;
    return key == interruptKey || key == endKey || key == quitKey ? 'q' : key;
}
