#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Small helpers over the ffmpeg tools and child processes for the recording
// tests.
namespace probe {

struct Stream {
    std::string type; // "video" / "audio"
    std::string codec;
    int width = 0;
    int height = 0;
    int sampleRate = 0;
    int channels = 0;
    double startTime = 0;
    double duration = 0;
};
struct Media {
    std::vector<Stream> streams;
    double duration = 0;
    const Stream* stream(const std::string& type) const {
        for (const auto& s : streams)
            if (s.type == type)
                return &s;
        return nullptr;
    }
    // The first video stream's size, "320x240"; "" without one.
    std::string videoSize() const {
        const Stream* v = stream("video");
        return v ? std::to_string(v->width) + "x" + std::to_string(v->height) : "";
    }
};

// Runs `command` through the shell; its stdout, and the exit status in `status`.
std::string run(const std::string& command, int* status = nullptr);
std::string quote(const std::string& text);
Media probe(const std::string& file);
// One RGB24 picture of the video at `seconds`.
std::vector<uint8_t> frameAt(const std::string& file, double seconds, int width, int height);
// Every frame of the video after the ffmpeg filter `filter`, as RGB24 pictures
// of `width` x `height`.
std::vector<std::vector<uint8_t>> frames(const std::string& file, const std::string& filter, int width,
                                         int height);
// The pixel at x, y of an RGB24 picture `width` wide is `colour` (0xRRGGBB),
// each channel within `tolerance`; false when no picture was decoded.
bool near(const std::vector<uint8_t>& rgb, int width, int x, int y, uint32_t colour, int tolerance);
// Root mean square of the mono 16-bit audio between the two times (0..32767).
double audioLevel(const std::string& file, double from, double to);

// End of the last packet of the first stream of `type` ("v" or "a"), in
// seconds; -1 when there is none.
double lastPacketEnd(const std::string& path, const char* type);
// The first video stream's packets in decoding order: presentation time in
// seconds (decoding time where there is none) and the keyframe flag.
struct PacketInfo {
    double time = 0;
    double duration = 0;
    bool keyframe = false;
};
std::vector<PacketInfo> videoPackets(const std::string& path);
// Decodes every stream to the end; returns ffmpeg's exit status and its
// error output in `errors`.
int decodeAll(const std::string& path, std::string* errors = nullptr);
// Number of video frames decoded from the file.
int decodedVideoFrames(const std::string& path);

std::string readFile(const std::string& path);
// The variable's value; `fallback` when it is unset or empty.
std::string env(const char* name, const char* fallback = "");

// A child process with its stdout in a pipe.
class Child {
public:
    // `argv[0]` is a full path; stderr goes to `stderrFile` when given.
    Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env = {},
          const std::string& stderrFile = {});
    ~Child();
    void signal(int signo);
    // Waits for the end; returns the exit status, stdout in `out`.
    int wait(std::string* out = nullptr);
    // Its stdout, to read as it comes (wait() reads what is left).
    int stdoutFd() const { return stdoutFd_; }
    // False once the process has ended (it is then collected, not left a zombie).
    bool running();

private:
    int pid_ = -1;
    int stdoutFd_ = -1;
    int status_ = -1;
};

// Polls the child's stderr log until `text` is in it (by default, the
// recorder's line for the encoder's start); false when the child ended first.
bool waitForLog(Child& child, const std::string& log, const std::string& text = "====开始编码");

} // namespace probe
