// A minimal host process: opens two FIFOs and answers each command with 4 bytes, as a worker does. Uses the C
// library alone.
//
//     bare-answerer COMMANDS ANSWERS

#include "support/BareCommand.h"

#include <fcntl.h>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const int commands = open(argv[1], O_RDONLY);
    const int answers = open(argv[2], O_WRONLY);
    char command[bareCommandSize];
    constexpr char answer[bareAnswerSize] = {};
    while (read(commands, command, sizeof command) > 0) {
        if (write(answers, answer, sizeof answer) < 0)
            return 1;
    }
    return 0;
}
