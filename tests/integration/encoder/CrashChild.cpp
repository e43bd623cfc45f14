// Helper of the crash-safety test: records synthetic media in real time into
// the file named on the command line and prints, after every video frame, how
// many milliseconds it has pushed. The test kills it with SIGKILL.

#include "EncoderTestSupport.h"

#include <chrono>
#include <cstdio>
#include <thread>

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    enctest::RecordingOptions o;
    const std::string path = argv[1];
    const auto dot = path.find_last_of('.');
    const std::string ext = path.substr(dot + 1);
    o.video = ext != "mp3" && ext != "wav" && ext != "m4a";
    void* h = enctest::startRecording(path, o);
    if (!h)
        return 1;
    enctest::SyntheticVideo video(o.width, o.height);
    enctest::SyntheticAudio audio(o.channels, o.sampleRate);
    const auto start = std::chrono::steady_clock::now();
    int64_t samples = 0;
    for (int i = 0;; ++i) {
        const int64_t ms = static_cast<int64_t>(i * 1000 / o.fps);
        std::this_thread::sleep_until(start + std::chrono::milliseconds(ms));
        if (o.video) {
            const EncoderVideoFrame f = video.frame(i);
            apiEncoderPushVideo(h, &f, ms);
        }
        while (samples < (ms + 33) * o.sampleRate / 1000) {
            const EncoderAudioFrame a = audio.next(441);
            apiEncoderPushAudio(h, &a);
            samples += 441;
        }
        std::printf("%lld\n", static_cast<long long>(ms));
        std::fflush(stdout);
    }
}
