#include "core/EMLog.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <sys/stat.h>

namespace {

struct LogState {
    std::mutex mutex;
    std::string path;
    std::size_t maxBytes = EMLog::kDefaultMaxBytes;
    std::FILE* file = nullptr;
    std::size_t written = 0;
    bool echo = true;
};

LogState& state() {
    static LogState s;
    return s;
}

void closeFile(LogState& s) {
    if (s.file) {
        std::fclose(s.file);
        s.file = nullptr;
    }
}

void openFile(LogState& s) {
    if (s.path.empty())
        return;
    s.file = std::fopen(s.path.c_str(), "a");
    struct stat st {};
    s.written = (s.file && ::stat(s.path.c_str(), &st) == 0) ? static_cast<std::size_t>(st.st_size) : 0;
}

std::string timestamp() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t t = system_clock::to_time_t(now);
    const auto ms = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
    localtime_r(&t, &local);
    char buf[96];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%03lld", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<long long>(ms));
    return buf;
}

} // namespace

void EMLog::showMessage(const char* format, ...) {
    if (!format)
        return;
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string text;
    if (needed > 0) {
        text.resize(static_cast<std::size_t>(needed) + 1);
        std::vsnprintf(text.data(), text.size(), format, args);
        text.resize(static_cast<std::size_t>(needed));
    }
    va_end(args);

    const std::string line = timestamp() + " " + text + "\n";
    LogState& s = state();
    std::lock_guard lock(s.mutex);
    if (s.echo)
        std::fputs(line.c_str(), stderr);
    if (!s.file)
        return;
    if (s.written + line.size() > s.maxBytes) {
        closeFile(s);
        const std::string old = s.path + ".1";
        std::rename(s.path.c_str(), old.c_str());
        openFile(s);
        if (!s.file)
            return;
    }
    if (std::fputs(line.c_str(), s.file) >= 0) {
        s.written += line.size();
        std::fflush(s.file);
    }
}

void EMLog::setLogFile(const std::string& path, std::size_t maxBytes) {
    LogState& s = state();
    std::lock_guard lock(s.mutex);
    closeFile(s);
    s.path = path;
    s.maxBytes = maxBytes > 0 ? maxBytes : kDefaultMaxBytes;
    openFile(s);
}

std::string EMLog::logFile() {
    LogState& s = state();
    std::lock_guard lock(s.mutex);
    return s.path;
}

void EMLog::setEchoToStderr(bool echo) {
    LogState& s = state();
    std::lock_guard lock(s.mutex);
    s.echo = echo;
}
