#pragma once

/// While it lives, what this process prints goes nowhere; a program that is launched meanwhile stays silent
/// for its life. Keeps the log lines of hosts out of the tables.
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
