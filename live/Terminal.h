#pragma once

#include <string>
#include <termios.h>

/// The user's side: on a terminal, a line that is rewritten in place, and keys without a return; elsewhere
/// neither. Main thread. The terminal is as before once it has ended.
class Terminal {
public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    [[nodiscard]] bool showsLine() const noexcept { return isShowing; }
    /// Rewrites the line, cut to the width of the terminal.
    void showLine(const std::string& text);
    /// Takes the line away.
    void clearLine();
    /// Logs to stderr, in a line of its own that begins with the program's name.
    void report(const std::string& text);
    /// The same for a line of a plug-in's or of its host, as it is.
    void pass(const std::string& line);

    /// Takes keys from now on. What polls as readable with one; -1 while there are none, in the background.
    int getKeyDescriptor();
    /// The next key; 0 for none, and 'q' for the keys that interrupt.
    char readKey();

private:
    bool takeKeys();

    bool isShowing;
    bool hasLine = false;
    bool hasKeys = false;
    bool isAtEnd = false;
    termios former{};
};
