// `framedeck record` flags: the input is split at zero bytes into the
// arguments after "record", as a shell would hand them over.
#include "cli/RecordOptions.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> args(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0)
            args.emplace_back();
        else
            args.back().push_back(static_cast<char>(data[i]));
    }
    std::string error;
    const auto options = parseRecordOptions(args, error);
    if (!options) {
        // A refusal always says which flag was wrong.
        if (error.empty())
            __builtin_trap();
        return 0;
    }
    if (options->format) {
        (void)isVideoFormat(*options->format);
        (void)isAudioFormat(*options->format);
    }
    // The recorder sizes its frames from the area: never below 2 x 2.
    if (options->area && (options->area->width < 2 || options->area->height < 2))
        __builtin_trap();
    return 0;
}
