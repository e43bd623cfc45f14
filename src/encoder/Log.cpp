#include "Log.h"

#include "FfmpegPtr.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace me {

void log(const char* format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    std::fprintf(stderr, "MediaEncoder: %s\n", text);
}

void setUpFfmpegLogging() {
    static std::once_flag once;
    std::call_once(once, [] {
        // FRAMEDECK_ENCODER_DEBUG=1 shows what the codecs and muxers say.
        const char* debug = std::getenv("FRAMEDECK_ENCODER_DEBUG");
        av_log_set_level(debug && *debug == '1' ? AV_LOG_VERBOSE : AV_LOG_ERROR);
    });
}

} // namespace me
