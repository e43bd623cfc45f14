#pragma once

#include <cstddef>
#include <string>

// The one trace channel of the application. Every line goes to stderr and,
// once a log file is set, to that file, which is capped in size: when it
// passes the cap it is renamed to "<file>.1" (replacing an older one) and a
// new file is started, so the log never grows without bound.
//
// Thread-safe: capture, encode and main threads all log through it.
class EMLog {
public:
    // printf-style. Lines get a time stamp and a trailing newline.
    static void showMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));

    // Sets (or, with an empty path, clears) the log file. The folder must exist.
    static void setLogFile(const std::string& path, std::size_t maxBytes = kDefaultMaxBytes);
    static std::string logFile();

    // Mutes stderr (the file still receives every line); used by tests that
    // provoke many failures on purpose.
    static void setEchoToStderr(bool echo);

    // Five megabytes hold days of traces of normal use, yet never fill a disk.
    static constexpr std::size_t kDefaultMaxBytes = 5 * 1000 * 1000;
};
