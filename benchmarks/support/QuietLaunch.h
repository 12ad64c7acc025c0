#pragma once

/// For a scope, discards the output of this process, and all output of programs launched in it. Keeps the log
/// lines of hosts out of the tables.
class QuietLaunch {
public:
    QuietLaunch();
    ~QuietLaunch();
    QuietLaunch(const QuietLaunch&) = delete;
    QuietLaunch& operator=(const QuietLaunch&) = delete;

private:
    int savedOutput;
    int savedError;
};
