#pragma once

// Diagnostics of the library itself (overflow counts, file problems, the
// progress of a long finishing step). They go to stderr with a prefix; the
// application's own trace is not reachable from here. Thread-safe.
namespace me {
void log(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Quietens FFmpeg's own chatter once per process (warnings and worse only).
void setUpFfmpegLogging();
} // namespace me
