// Which file under src/ and apps/ may include what. The order is explained for
// people in docs/architecture.md, section "Layers"; a new folder under src/
// gets its place in kLayers and there, in the same change.
#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Lowest first. A file may include its own layer and the layers below it.
// src/<layer>/ owns its nested folders; apps/ sits on top of them all.
constexpr std::array<std::string_view, 13> kLayers = {
    "core",     "encoder",   "engine",     "platform",    "app",   "widgets", "timing",
    "overlays", "selection", "annotation", "preferences", "stack", "cli",
};
constexpr int kApps = static_cast<int>(kLayers.size());
const std::string kOrder = "core < encoder < engine < platform < app < widgets < timing < overlays < "
                           "selection < annotation < preferences < stack < cli < apps/";
const std::string kSeeDocs = "docs/architecture.md, section \"Layers\"";

int rankOf(std::string_view folder) {
    const auto it = std::find(kLayers.begin(), kLayers.end(), folder);
    return it == kLayers.end() ? -1 : static_cast<int>(it - kLayers.begin());
}

// The layer of a path relative to the source root, and its rank: -1 for a
// folder with no place in kLayers, a file directly in src/ or a path elsewhere.
std::pair<std::string, int> layerOf(std::string_view path) {
    if (path.starts_with("apps/"))
        return {"apps", kApps};
    if (!path.starts_with("src/"))
        return {"", -1};
    path.remove_prefix(4);
    const std::size_t slash = path.find('/');
    const std::string top(slash == std::string_view::npos ? "" : path.substr(0, slash));
    return {top, rankOf(top)};
}

// The rank of the project layer a header belongs to; -1 for other headers.
// A relative path is resolved, as it can climb into any layer.
int rankOfHeader(std::string_view path, const std::string& header) {
    if (header.starts_with("./") || header.starts_with("../"))
        return layerOf((fs::path(path).parent_path() / header).lexically_normal().generic_string()).second;
    const std::string top = header.substr(0, header.find('/'));
    if (top == header)
        return -1; // a bare name, from the same folder
    return top == "apps" ? kApps : rankOf(top);
}

// Comments turned into spaces, newlines kept so that line numbers stay right.
// Quoted text is stepped over, so that "/*" inside a string opens no comment.
std::string withoutComments(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            while (++i < text.size() && text[i] != '"' && text[i] != '\n')
                i += text[i] == '\\' ? 1 : 0;
        } else if (text.compare(i, 2, "//") == 0 || text.compare(i, 2, "/*") == 0) {
            const bool toLineEnd = text[i + 1] == '/';
            const std::size_t end = toLineEnd ? text.find('\n', i) : text.find("*/", i + 2);
            const std::size_t stop = end == std::string::npos ? text.size() : toLineEnd ? end : end + 2;
            for (; i < stop; ++i)
                if (text[i] != '\n')
                    text[i] = ' ';
            --i;
        }
    }
    return text;
}

bool startsWithAny(const std::string& header, std::initializer_list<std::string_view> prefixes) {
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&](std::string_view p) { return header.starts_with(p); });
}

struct Violation {
    std::string file; // relative to the source root
    int line = 0;     // 0 when the folder as a whole is wrong
    std::string rule, include, advice;
};

// Everything wrong with one file, given its path relative to the source root.
std::vector<Violation> check(const std::string& path, const std::string& text) {
    std::vector<Violation> found;
    const auto [layer, rank] = layerOf(path);
    if (rank < 0)
        found.push_back({layer.empty() ? path : "src/" + layer + "/", 0, "unknown folder", "",
                         "has no place in the layer order (" + kOrder +
                             "). Give it one in kLayers "
                             "(tests/unit/layering/LayeringTest.cpp) and in " +
                             kSeeDocs + ", or move the file into an existing layer"});
    static const std::regex directive(R"(^\s*#\s*include\s*([<"])([^>"]*)[>"])");
    std::istringstream lines(withoutComments(text));
    std::string line;
    std::smatch match;
    for (int number = 1; std::getline(lines, line); ++number) {
        if (!std::regex_search(line, match, directive))
            continue;
        const std::string header = match[2];
        const std::string written = match[1] == "<" ? "<" + header + ">" : '"' + header + '"';
        const auto report = [&](const char* rule, const std::string& advice) {
            found.push_back({path, number, rule, written, advice});
        };
        if (layer != "platform" && startsWithAny(header, {"X11/", "xcb/", "pulse/", "pipewire/", "spa/",
                                                          "linux/videodev2.h", "libv4l"}))
            report("platform headers",
                   "only src/platform/ includes X11/XCB, PulseAudio, PipeWire and V4L2 "
                   "headers; put the code behind an interface that a backend there implements");
        if (layer != "encoder" &&
            startsWithAny(header, {"libavcodec/", "libavformat/", "libavutil/", "libswscale/",
                                   "libswresample/", "libavdevice/", "libavfilter/"}))
            report("FFmpeg headers", "only src/encoder/ includes FFmpeg; everything else reaches the encoder "
                                     "through EncodeManager (engine/EncodeManager.h)");
        if (layer != "encoder" && layer != "engine" &&
            (header == "MediaEncoder.h" || header.ends_with("/MediaEncoder.h")))
            report("encoder C API", "only src/encoder/ and src/engine/ include libMediaEncoder's C header; "
                                    "use EncodeManager (engine/EncodeManager.h) instead");
        if (const int target = rankOfHeader(path, header); rank >= 0 && target > rank)
            report("layer order",
                   "'" + layer + "' may include only its own layer and those below it (" + kOrder +
                       "), and '" + std::string(target == kApps ? "apps" : kLayers[target]) +
                       "' is above it. Move the code that needs this up, or let a higher layer "
                       "hand it down through an interface (" +
                       kSeeDocs + ")");
    }
    return found;
}

std::string describe(const Violation& v) {
    return v.file + (v.line > 0 ? ":" + std::to_string(v.line) : "") + ": [" + v.rule + "] " +
           (v.include.empty() ? "" : "#include " + v.include + ": ") + v.advice;
}

// Made-up files, each rule failing: a rule that stopped firing would let the
// real tree pass whatever it holds. (A rule firing where it must not fails
// the real tree below, so allowed includes need no made-up file.)
TEST(Layering, RulesOnMadeUpFiles) {
    struct Case {
        const char* path;
        const char* text;
        std::vector<std::string> expected; // "line rule"
    };
    const Case cases[] = {
        {"src/engine/capture/Factory.cpp",
         "#include \"engine/capture/CaptureSource.h\"\n#include \"platform/x11/X11Inventory.h\"\n"
         "#include <app/AppDelegate.h>\n#include \"../../widgets/MainWindow.h\"\n",
         {"2 layer order", "3 layer order", "4 layer order"}},
        {"src/cli/RecordCommand.cpp", "#include \"apps/FrameDeckApp.h\"\n", {"1 layer order"}},
        {"src/selection/WindowPicker.cpp",
         "#include <xcb/xcb.h>\n#include <X11/Xlib.h>\n",
         {"1 platform headers", "2 platform headers"}},
        {"apps/FrameDeckApp.cpp",
         "#include <pulse/pulseaudio.h>\n#include <pipewire/pipewire.h>\n#include <linux/videodev2.h>\n",
         {"1 platform headers", "2 platform headers", "3 platform headers"}},
        {"src/engine/EncodeManager.cpp",
         "extern \"C\" {\n  #include <libavcodec/avcodec.h>\n}\n",
         {"2 FFmpeg headers"}},
        {"src/app/AppDelegate.cpp",
         "#include \"MediaEncoder.h\"\n#include \"encoder/MediaEncoder.h\"\n",
         {"1 encoder C API", "2 encoder C API"}},
        {"src/engine/RVRecordManager.cpp",
         "// #include \"app/x.h\"\n  //#include <xcb/xcb.h>\n/*\n#include \"widgets/MainWindow.h\"\n*/\n"
         "const char* glob = \"/tmp/*\";\n#include \"selection/Shot.h\" // */\n",
         {"7 layer order"}},
        {"src/gadgets/Gadget.cpp",
         "#include \"core/EMLog.h\"\n#include <xcb/xcb.h>\n",
         {"0 unknown folder", "2 platform headers"}},
        {"src/apps/Main.cpp", "", {"0 unknown folder"}},
    };
    for (const Case& c : cases) {
        std::vector<std::string> found;
        for (const Violation& v : check(c.path, c.text))
            found.push_back(std::to_string(v.line) + " " + v.rule);
        EXPECT_EQ(found, c.expected) << c.path;
    }
}

// The real tree; every violation is reported, not just the first.
TEST(Layering, SourceTreeFollowsTheLayers) {
    const fs::path root = FRAMEDECK_SOURCE_DIR;
    ASSERT_TRUE(fs::exists(root / "apps/main.cpp")) << root; // a wrong root would find nothing and pass
    std::set<std::string> problems;                          // a folder's problem once, not once per file
    for (const char* top : {"src", "apps"})
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root / top)) {
            const std::string ext = entry.path().extension().string();
            const bool code = entry.is_regular_file() && (ext == ".h" || ext == ".cpp");
            if (!code && !entry.is_directory())
                continue;
            std::string text;
            if (code) {
                std::ifstream in(entry.path(), std::ios::binary);
                text.assign(std::istreambuf_iterator<char>(in), {});
            }
            const std::string path =
                entry.path().lexically_relative(root).generic_string() + (code ? "" : "/");
            for (const Violation& v : check(path, text))
                problems.insert(describe(v));
        }
    for (const std::string& problem : problems)
        ADD_FAILURE() << problem;
}

} // namespace
