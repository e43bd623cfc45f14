#include "MediaProbe.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace probe {

std::string run(const std::string& command, int* status) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        return out;
    char buffer[65536];
    std::size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        out.append(buffer, n);
    const int rc = pclose(pipe);
    if (status)
        *status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    return out;
}

std::string quote(const std::string& text) {
    std::string q = "'";
    for (char c : text)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

Media probe(const std::string& file) {
    Media media;
    const std::string text = run(
        "ffprobe -v error -show_entries "
        "stream=codec_type,codec_name,width,height,sample_rate,channels,start_time,duration:format=duration "
        "-of flat " +
        quote(file));
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        const auto eq = line.find('=');
        if (eq == std::string::npos)
            continue;
        std::string key = line.substr(0, eq);
        std::string value = line.substr(eq + 1);
        if (value.size() >= 2 && value.front() == '"')
            value = value.substr(1, value.size() - 2);
        if (key == "format.duration") {
            media.duration = std::atof(value.c_str());
            continue;
        }
        unsigned index = 0;
        char field[64] = {};
        if (std::sscanf(key.c_str(), "streams.stream.%u.%63s", &index, field) != 2)
            continue;
        if (media.streams.size() <= index)
            media.streams.resize(index + 1);
        Stream& s = media.streams[index];
        const std::string f = field;
        if (f == "codec_type")
            s.type = value;
        else if (f == "codec_name")
            s.codec = value;
        else if (f == "width")
            s.width = std::atoi(value.c_str());
        else if (f == "height")
            s.height = std::atoi(value.c_str());
        else if (f == "sample_rate")
            s.sampleRate = std::atoi(value.c_str());
        else if (f == "channels")
            s.channels = std::atoi(value.c_str());
        else if (f == "start_time")
            s.startTime = std::atof(value.c_str());
        else if (f == "duration")
            s.duration = std::atof(value.c_str());
    }
    return media;
}

std::vector<uint8_t> frameAt(const std::string& file, double seconds, int width, int height) {
    const std::string bytes = run("ffmpeg -v error -ss " + std::to_string(seconds) + " -i " + quote(file) +
                                  " -frames:v 1 -f rawvideo -pix_fmt rgb24 -");
    if (bytes.size() != static_cast<std::size_t>(width) * height * 3)
        return {};
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

std::vector<std::vector<uint8_t>> frames(const std::string& file, const std::string& filter, int width,
                                         int height) {
    const std::string bytes =
        run("ffmpeg -v error -i " + quote(file) + " -vf " + filter + " -f rawvideo -pix_fmt rgb24 -");
    const std::size_t size = static_cast<std::size_t>(width) * height * 3;
    std::vector<std::vector<uint8_t>> out;
    for (std::size_t at = 0; at + size <= bytes.size(); at += size)
        out.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                         bytes.begin() + static_cast<std::ptrdiff_t>(at + size));
    return out;
}

bool near(const std::vector<uint8_t>& rgb, int width, int x, int y, uint32_t colour, int tolerance) {
    const std::size_t i = (static_cast<std::size_t>(y) * width + x) * 3;
    return i + 2 < rgb.size() && std::abs(rgb[i] - int(colour >> 16 & 0xff)) <= tolerance &&
           std::abs(rgb[i + 1] - int(colour >> 8 & 0xff)) <= tolerance &&
           std::abs(rgb[i + 2] - int(colour & 0xff)) <= tolerance;
}

double audioLevel(const std::string& file, double from, double to) {
    const std::string bytes =
        run("ffmpeg -v error -ss " + std::to_string(from) + " -t " + std::to_string(to - from) + " -i " +
            quote(file) + " -vn -f s16le -ac 1 -ar 8000 -");
    const std::size_t count = bytes.size() / 2;
    if (count == 0)
        return 0;
    double sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        int16_t v;
        std::memcpy(&v, bytes.data() + i * 2, 2);
        sum += static_cast<double>(v) * v;
    }
    return std::sqrt(sum / static_cast<double>(count));
}

namespace {

double toDouble(const std::string& v) {
    return v.empty() || v == "N/A" ? -1 : std::stod(v);
}

// The first stream of `type`'s packets in decoding order, with their
// durations.
std::vector<PacketInfo> packetsOf(const std::string& path, const char* type) {
    const std::string out =
        run(std::string("ffprobe -v error -select_streams ") + type +
            ":0 -show_entries packet=pts_time,dts_time,duration_time,flags -of csv=p=0 '" + path +
            "' 2>/dev/null");
    std::vector<PacketInfo> packets;
    std::istringstream in(out);
    std::string line;
    while (std::getline(in, line)) {
        // pts_time,dts_time,duration_time,flags; AVI knows only decode times.
        std::istringstream fields(line);
        std::string pts, dts, duration, flags;
        if (!std::getline(fields, pts, ',') || !std::getline(fields, dts, ',') ||
            !std::getline(fields, duration, ','))
            continue;
        std::getline(fields, flags);
        const double time = toDouble(pts);
        packets.push_back({time < 0 ? toDouble(dts) : time, std::max(toDouble(duration), 0.0),
                           flags.find('K') != std::string::npos});
    }
    return packets;
}

} // namespace

double lastPacketEnd(const std::string& path, const char* type) {
    double end = -1;
    for (const PacketInfo& p : packetsOf(path, type))
        if (p.time >= 0)
            end = std::max(end, p.time + p.duration);
    return end;
}

std::vector<PacketInfo> videoPackets(const std::string& path) {
    return packetsOf(path, "v");
}

int decodeAll(const std::string& path, std::string* errors) {
    int status = 0;
    const std::string out = run("ffmpeg -nostdin -v error -i '" + path + "' -map 0 -f null - 2>&1", &status);
    if (errors)
        *errors = out;
    return status;
}

int decodedVideoFrames(const std::string& path) {
    const std::string out = run("ffprobe -v error -count_frames -select_streams v:0 -show_entries "
                                "stream=nb_read_frames -of csv=p=0 '" +
                                path + "' 2>/dev/null");
    return out.empty() ? 0 : std::atoi(out.c_str());
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string env(const char* name, const char* fallback) {
    const char* v = std::getenv(name);
    return v && *v ? v : fallback;
}

Child::Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
             const std::string& stderrFile) {
    int fds[2];
    if (pipe(fds) != 0)
        return;
    pid_ = fork();
    if (pid_ == 0) {
        // A group of its own, so a shell pipeline goes down as one.
        setpgid(0, 0);
        if (!stderrFile.empty()) {
            const int err = open(stderrFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(err, STDERR_FILENO);
            close(err);
        }
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        for (const auto& [k, v] : env)
            setenv(k.c_str(), v.c_str(), 1);
        std::vector<char*> args;
        for (const auto& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    close(fds[1]);
    stdoutFd_ = fds[0];
}

Child::~Child() {
    if (pid_ > 0) {
        kill(-pid_, SIGKILL);
        wait();
    }
    if (stdoutFd_ >= 0)
        close(stdoutFd_);
}

void Child::signal(int signo) {
    if (pid_ > 0)
        kill(-pid_, signo);
}

bool Child::running() {
    if (pid_ <= 0)
        return false;
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) != pid_)
        return true;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    pid_ = -1;
    return false;
}

int Child::wait(std::string* out) {
    std::string text;
    char buffer[4096];
    ssize_t n;
    while (stdoutFd_ >= 0 && (n = read(stdoutFd_, buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<std::size_t>(n));
    if (pid_ > 0) {
        int status = 0;
        waitpid(pid_, &status, 0);
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    pid_ = -1;
    if (out)
        *out = text;
    return status_;
}

bool waitForLog(Child& child, const std::string& log, const std::string& text) {
    while (readFile(log).find(text) == std::string::npos) {
        if (!child.running())
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

} // namespace probe
