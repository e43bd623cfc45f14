// Stop-to-file-ready benchmark for the MPEG-4 family.
//
// While recording, MP4/MOV/M4V/M4A files are fragments (they survive a
// kill); at stop they become ordinary files. This measures that last step
// for recordings of several lengths (default 1, 10 and 60 minutes of
// 1920x1080 at 30 fps, H.264 at 5 Mbit/s with a two-second keyframe interval
// and AAC, the recorder's own settings) and compares it with the usual way
// of doing it, FFmpeg's command line remuxing the same fragmented file to a
// fast-start file. The fragmented files are made by looping a 10-second
// clip with stream copy, with the muxer options the recorder uses, so that an
// hour of media takes seconds to prepare. Both run on a warm page cache.
//
//   finish_bench [minutes ...]      (needs ffmpeg and ffprobe; uses /tmp)

#include "IndexAtEnd.h"
#include "MediaEncoder.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

bool run(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string capture(const std::string& command) {
    std::string out;
    if (FILE* p = popen(command.c_str(), "r")) {
        char buf[256];
        while (std::fgets(buf, sizeof buf, p))
            out += buf;
        pclose(p);
    }
    while (!out.empty() && (out.back() == '\n' || out.back() == ' '))
        out.pop_back();
    return out;
}

double seconds(Clock::time_point since) {
    return std::chrono::duration<double>(Clock::now() - since).count();
}

std::string boxes(const std::string& path) {
    // The first few top-level boxes, to show the layout (ftyp mdat moov).
    return capture("ffprobe -v trace -i '" + path +
                   "' 2>&1 | grep -o \"type:'[a-z0-9 ]*' parent:'root'\" | "
                   "cut -d\\' -f2 | uniq | head -4 | tr '\\n' ' '");
}

} // namespace

int main(int argc, char** argv) {
    std::vector<int> minutes;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--help") {
            std::puts("finish_bench [minutes ...]   (default: 1 10 60)");
            return 0;
        }
        minutes.push_back(std::atoi(argv[i]));
    }
    if (minutes.empty())
        minutes = {1, 10, 60};

    const fs::path dir = fs::temp_directory_path() / "framedeck-finish-bench";
    fs::remove_all(dir);
    fs::create_directories(dir);
    const std::string clip = (dir / "clip.mp4").string();
    std::puts("making a 10 s 1080p30 clip (x264 veryfast 5 Mbit/s, keyframe every 2 s, AAC)...");
    if (!run("ffmpeg -y -f lavfi -i testsrc2=size=1920x1080:rate=30 -f lavfi -i "
             "sine=frequency=440:sample_rate=44100 "
             "-t 10 -c:v libx264 -preset veryfast -b:v 5000k -g 60 -pix_fmt yuv420p -c:a aac -ac 2 '" +
             clip + "'")) {
        std::fputs("finish_bench: ffmpeg could not make the clip\n", stderr);
        return 1;
    }

    std::printf("\n%8s %10s %9s | %12s %12s | %9s | %s\n", "minutes", "size MB", "samples", "FrameDeck s",
                "ffmpeg s", "ratio", "layout after");
    for (int m : minutes) {
        const std::string frag = (dir / "fragments.mp4").string();
        const std::string ours = (dir / "indexed.mp4").string();
        const std::string theirs = (dir / "faststart.mp4").string();
        const int loops = m * 6;
        if (!run("ffmpeg -y -stream_loop " + std::to_string(loops - 1) + " -i '" + clip +
                 "' -c copy -movflags +frag_keyframe+empty_moov+default_base_moof -frag_duration 1000000 '" +
                 frag + "'")) {
            std::fputs("finish_bench: ffmpeg could not make the fragmented file\n", stderr);
            return 1;
        }
        fs::copy_file(frag, ours, fs::copy_options::overwrite_existing);
        const double megabytes = static_cast<double>(fs::file_size(frag)) / 1e6;

        me::FinishJob job;
        job.path = ours;
        job.muxerName = "mp4";
        // Only the time matters here; where the edit lists start is checked
        // by the tests.
        auto start = Clock::now();
        const int ret = me::writeIndexAtEnd(job);
        const double oursSeconds = seconds(start);

        start = Clock::now();
        const bool remuxed = run("ffmpeg -y -i '" + frag + "' -c copy -movflags +faststart '" + theirs + "'");
        const double theirsSeconds = seconds(start);

        long long packets = 0;
        const std::string counts =
            capture("ffprobe -v error -count_packets -show_entries stream=nb_read_packets -of csv=p=0 '" +
                    ours + "'");
        for (size_t pos = 0; pos < counts.size();) {
            packets += std::atoll(counts.c_str() + pos);
            const size_t next = counts.find('\n', pos);
            pos = next == std::string::npos ? counts.size() : next + 1;
        }
        std::printf("%8d %10.0f %9lld | %12.3f %12.3f | %8.0fx | %s%s\n", m, megabytes, packets, oursSeconds,
                    theirsSeconds, oursSeconds > 0 ? theirsSeconds / oursSeconds : 0.0, boxes(ours).c_str(),
                    ret == ME_OK && remuxed ? "" : "  (FAILED)");
        std::fflush(stdout);
        fs::remove(frag);
        fs::remove(ours);
        fs::remove(theirs);
    }
    fs::remove_all(dir);
    return 0;
}
