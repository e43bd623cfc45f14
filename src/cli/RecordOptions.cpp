#include "cli/RecordOptions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <type_traits>

namespace {

constexpr std::array kVideoFormats = {"mov", "mp4", "m4v", "flv", "avi"};
constexpr std::array kAudioFormats = {"mp3", "wav", "m4a"};

template <class T> bool parseNumber(const std::string& text, T& value) {
    const char* end = text.data() + text.size();
    if constexpr (std::is_floating_point_v<T>) {
        char* stop = nullptr;
        value = std::strtod(text.c_str(), &stop);
        return !text.empty() && stop == end && std::isfinite(value);
    } else {
        int base = 10;
        const char* begin = text.data();
        if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
            base = 16;
            begin += 2;
        }
        auto [ptr, ec] = std::from_chars(begin, end, value, base);
        return !text.empty() && ec == std::errc() && ptr == end;
    }
}

bool parseArea(const std::string& text, RVRect& rect) {
    std::array<int, 4> v{};
    std::size_t start = 0;
    for (std::size_t i = 0; i < v.size(); ++i) {
        const std::size_t comma = text.find(',', start);
        const bool last = i + 1 == v.size();
        if ((comma == std::string::npos) != last)
            return false;
        if (!parseNumber(text.substr(start, last ? std::string::npos : comma - start), v[i]))
            return false;
        start = comma + 1;
    }
    if (v[0] < 0 || v[1] < 0 || v[2] < 2 || v[3] < 2)
        return false;
    rect = {static_cast<double>(v[0]), static_cast<double>(v[1]), static_cast<double>(v[2]),
            static_cast<double>(v[3])};
    return true;
}

template <std::size_t N>
std::optional<unsigned> indexOf(const std::array<const char*, N>& names, const std::string& value) {
    for (std::size_t i = 0; i < N; ++i)
        if (value == names[i])
            return static_cast<unsigned>(i);
    return std::nullopt;
}

} // namespace

bool isVideoFormat(const std::string& format) {
    return std::find(kVideoFormats.begin(), kVideoFormats.end(), format) != kVideoFormats.end();
}

bool isAudioFormat(const std::string& format) {
    return std::find(kAudioFormats.begin(), kAudioFormats.end(), format) != kAudioFormats.end();
}

std::optional<RecordOptions> parseRecordOptions(const std::vector<std::string>& args, std::string& error) {
    RecordOptions o;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& flag = args[i];
        if (flag == "--help" || flag == "-h") {
            o.help = true;
            continue;
        }
        if (flag.rfind("--", 0) != 0) {
            error = "unexpected argument '" + flag + "'";
            return std::nullopt;
        }
        if (i + 1 >= args.size()) {
            error = flag + " needs a value";
            return std::nullopt;
        }
        const std::string& value = args[++i];
        const auto bad = [&](const char* expected) {
            error = "bad value '" + value + "' for " + flag + " (expected " + expected + ")";
            return std::nullopt;
        };
        if (flag == "--mode") {
            static constexpr std::array<const char*, 5> modes = {"full", "area", "window", "camera", "audio"};
            // In the order of the recording kinds.
            const auto mode = indexOf(modes, value);
            if (!mode)
                return bad("full, area, window, camera or audio");
            o.recordVideoType = recordVideoTypeFromInt(*mode);
        } else if (flag == "--area") {
            RVRect rect;
            if (!parseArea(value, rect))
                return bad("X,Y,W,H in pixels, W and H at least 2");
            o.area = rect;
        } else if (flag == "--window") {
            unsigned long long id = 0;
            if (!parseNumber(value, id) || id == 0)
                return bad("an X window id, decimal or 0x hex");
            o.window = id;
        } else if (flag == "--screen") {
            unsigned n = 0;
            if (!parseNumber(value, n))
                return bad("a monitor number from 0");
            o.screen = n;
        } else if (flag == "--audio") {
            static constexpr std::array<const char*, 4> kinds = {"system", "mic", "both", "none"};
            const auto kind = indexOf(kinds, value);
            if (!kind)
                return bad("system, mic, both or none");
            o.recordAudioType = recordAudioTypeFromInt(*kind);
        } else if (flag == "--format") {
            if (!isVideoFormat(value) && !isAudioFormat(value))
                return bad("mov, mp4, m4v, flv, avi, mp3, wav or m4a");
            o.format = value;
        } else if (flag == "--fps") {
            double fps = 0;
            if (!parseNumber(value, fps) || fps < 1 || fps > 120)
                return bad("a rate from 1 to 120");
            o.fps = fps;
        } else if (flag == "--quality") {
            static constexpr std::array<const char*, 3> qualities = {"original", "hd", "sd"};
            auto q = indexOf(qualities, value);
            if (!q)
                return bad("original, hd or sd");
            o.quality = static_cast<int>(*q);
        } else if (flag == "--seconds") {
            double s = 0;
            if (!parseNumber(value, s) || s <= 0)
                return bad("a positive number of seconds");
            o.seconds = s;
        } else if (flag == "--split-time" || flag == "--split-size") {
            int n = 0;
            if (!parseNumber(value, n) || n <= 0)
                return bad("a positive whole number");
            (flag == "--split-time" ? o.splitTime : o.splitSize) = n;
        } else if (flag == "--output") {
            if (value.empty())
                return bad("a file path");
            o.output = value;
        } else if (flag == "--backend") {
            if (value != "x11" && value != "portal")
                return bad("x11 or portal");
            o.backend = value;
        } else {
            error = "unknown flag " + flag;
            return std::nullopt;
        }
    }
    if (o.splitTime && o.splitSize) {
        error = "--split-time and --split-size cannot be combined";
        return std::nullopt;
    }
    return o;
}
