// A minimal host process: opens two FIFOs and answers each command with SIZE bytes, of
// which a worker sends 4. Uses the C library alone.
//
//     bare-answerer COMMANDS ANSWERS SIZE

#include "support/BareCommand.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    const int commands = open(argv[1], O_RDONLY);
    const int answers = open(argv[2], O_WRONLY);
    char command[bareCommandSize];
    const size_t size = std::strtoul(argv[3], nullptr, 10);
    char* const answer = static_cast<char*>(std::calloc(size, 1));
    while (read(commands, command, sizeof command) > 0) {
        // Blocks until all is written.
        if (write(answers, answer, size) < 0)
            return 1;
    }
    return 0;
}
