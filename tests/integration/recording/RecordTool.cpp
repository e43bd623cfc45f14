// The `framedeck record` subcommand as a program of its own, so the
// recording tests can run it as a separate process (signals, exit status,
// stdout) without the GUI executable.
#include "cli/RecordCommand.h"

#include <cstring>

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "record") == 0)
        return runRecordCommand(argc - 1, argv + 1);
    printRecordUsage(stderr);
    return 2;
}
