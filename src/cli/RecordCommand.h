#pragma once

#include "cli/RecordOptions.h"
#include "core/KeyValueStore.h"
#include "engine/RecordRequest.h"

#include <cstdio>
#include <string>

// `framedeck record …`: a recording from the command line through the same
// controller and encoder session the main window uses.
//
// `argv[0]` is "record", the flags follow; call it from main() as
//   if (argc > 1 && std::strcmp(argv[1], "record") == 0)
//       return runRecordCommand(argc - 1, argv + 1);
// Prints the path of each file written on stdout, one per line, and nothing
// else there; messages go to stderr. Exit status: 0 done, 1 the recording
// failed, 2 bad flags, 3 no display, 4 no sound server, 5 output not writable,
// 6 the output stopped taking data while recording (what was written is kept).
// Main thread; blocks until the recording ends.
int runRecordCommand(int argc, char** argv);

// The help text of the subcommand (for `framedeck --help` too).
void printRecordUsage(std::FILE* out);

// What one run records, once the stored settings and the flags are merged.
struct RecordPlan {
    RecordRequest request;
    std::string extension; // with the dot
    bool isVideo = true;
    double seconds = 0; // 0: until a signal
};

// Builds the request the main window would build from `settings`, then lets
// the flags override it for this run. Split flags are written into
// `settings` (an overlay: the user's store is not changed). Returns false
// with a message for flags that do not fit together.
bool buildRecordPlan(const RecordOptions& options, KeyValueStore& settings, RecordPlan& plan,
                     std::string& error);
