// The layers of the source tree and which system headers each may use. The
// order itself is in LayerRules.h (kLayers) and is explained for people in
// docs/architecture.md, section "Layers".
#include "LayerRules.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <utility>

namespace {

using layering::Rule;
using Found = std::vector<std::pair<int, Rule>>; // (line, rule)

Found found(std::string_view path, std::string_view text) {
    Found result;
    for (const layering::Violation& v : layering::violations(path, text))
        result.emplace_back(v.line, v.rule);
    return result;
}

struct Case {
    const char* what;
    const char* path;
    const char* text;
    Found expected;
};

// Made-up files: each rule shown failing, and the includes that must pass.
TEST(LayerRules, TableOfFiles) {
    const Case cases[] = {
        {"upward includes, each on its own line",
         "src/engine/capture/DefaultCaptureFactory.cpp",
         "#include \"engine/capture/CaptureSource.h\"\n"
         "#include \"platform/x11/X11Inventory.h\"\n"
         "#include \"app/AppDelegate.h\"\n",
         {{2, Rule::LayerOrder}, {3, Rule::LayerOrder}}},
        {"includes from lower layers and from its own",
         "src/selection/SelectionSession.cpp",
         "#include \"core/EMLog.h\"\n#include \"engine/controller/RVRecordManager.h\"\n"
         "#include \"platform/x11/X11Connection.h\"\n#include \"timing/CircleCounter.h\"\n"
         "#include \"selection/ClipModel.h\"\n#include <QTimer>\n#include <vector>\n",
         {}},
        {"bare names from the same folder",
         "src/encoder/Session.cpp",
         "#include \"Session.h\"\n#include \"MediaEncoder.h\"\n#include \"Log.h\"\n",
         {}},
        {"apps/ may include every layer",
         "apps/main.cpp",
         "#include \"FrameDeckApp.h\"\n"
         "#include \"cli/RecordCommand.h\"\n"
         "#include \"stack/RecordingStack.h\"\n",
         {}},
        {"nothing under src/ includes apps/",
         "src/cli/RecordCommand.cpp",
         "#include \"apps/FrameDeckApp.h\"\n",
         {{1, Rule::LayerOrder}}},
        {"stack sits above the decorations and below cli",
         "src/stack/RecordingStack.cpp",
         "#include \"platform/x11capture/X11Capture.h\"\n#include \"overlays/RecordingDecorations.h\"\n"
         "#include \"annotation/Canvas.h\"\n#include \"cli/RecordCommand.h\"\n",
         {{4, Rule::LayerOrder}}},
        {"overlays may not reach the stack",
         "src/overlays/RecordingDecorations.cpp",
         "#include \"stack/PlatformLoader.h\"\n",
         {{1, Rule::LayerOrder}}},
        {"a relative path is resolved, not trusted",
         "src/engine/capture/FrameCompositor.cpp",
         "#include \"./FramePushQueue.h\"\n#include \"../../platform/v4l2/V4l2Camera.h\"\n",
         {{2, Rule::LayerOrder}}},
        {"angle brackets name project headers too",
         "src/core/EMLog.cpp",
         "#include <engine/EncodeManager.h>\n",
         {{1, Rule::LayerOrder}}},
        {"commented-out includes are not includes",
         "src/engine/controller/RVRecordManager.cpp",
         "// #include \"app/x.h\"\n  //#include <xcb/xcb.h>\n/*\n#include \"widgets/MainWindow.h\"\n*/\n"
         "// a comment that goes on \\\n#include <libavcodec/avcodec.h>\n",
         {}},
        {"a comment opener inside a literal starts no comment",
         "src/engine/EncodeManager.cpp",
         "const char* glob = \"/tmp/*\"; char quote = '\"';\n#include \"app/AppDelegate.h\"\n"
         "#include \"selection/Screenshot.h\" // */\n"
         "int big = 1'000; /* before:\n#include \"app/Old.h\"\n*/\n",
         {{2, Rule::LayerOrder}, {3, Rule::LayerOrder}}},
        {"includes inside a raw string are text",
         "src/engine/EncodeManager.cpp",
         "auto sample = R\"x(\n#include \"app/x.h\"\n)x\";\n#include \"widgets/MainWindow.h\"\n",
         {{4, Rule::LayerOrder}}},
        {"X11 in selection",
         "src/selection/X11WindowServer.cpp",
         "#include <xcb/xcb.h>\n#include <X11/Xlib.h>\n",
         {{1, Rule::PlatformHeader}, {2, Rule::PlatformHeader}}},
        {"PulseAudio, PipeWire and V4L2 outside platform",
         "apps/FrameDeckApp.cpp",
         "#include <pulse/pulseaudio.h>\n"
         "#include <pipewire/pipewire.h>\n"
         "#include <spa/param/audio/format.h>\n"
         "#include <linux/videodev2.h>\n"
         "#include <libv4l2.h>\n"
         "#include <libv4lconvert.h>\n"
         "#include <linux/input.h>\n",
         {{1, Rule::PlatformHeader},
          {2, Rule::PlatformHeader},
          {3, Rule::PlatformHeader},
          {4, Rule::PlatformHeader},
          {5, Rule::PlatformHeader},
          {6, Rule::PlatformHeader}}},
        {"platform headers where they belong",
         "src/platform/x11capture/X11Sources.cpp",
         "#include <xcb/shm.h>\n#include <pulse/pulseaudio.h>\n#include <libv4lconvert.h>\n",
         {}},
        {"FFmpeg in the engine, even in extern \"C\"",
         "src/engine/EncodeManager.cpp",
         "extern \"C\" {\n    #include <libavcodec/avcodec.h>\n}\n#  include <libswscale/swscale.h>\n",
         {{2, Rule::FfmpegHeader}, {4, Rule::FfmpegHeader}}},
        {"FFmpeg in a backend",
         "src/platform/v4l2/V4l2Camera.cpp",
         "#include <libavutil/frame.h>\n",
         {{1, Rule::FfmpegHeader}}},
        {"FFmpeg in the encoder",
         "src/encoder/FfmpegPtr.h",
         "#include <libavcodec/avcodec.h>\n"
         "#include <libavformat/avformat.h>\n"
         "#include <libswresample/swresample.h>\n",
         {}},
        {"the encoder's C API outside the engine",
         "src/app/AppDelegate.cpp",
         "#include \"MediaEncoder.h\"\n#include \"encoder/MediaEncoder.h\"\n",
         {{1, Rule::EncoderApi}, {2, Rule::EncoderApi}}},
        {"a folder with no place in the order",
         "src/gadgets/Gadget.cpp",
         "#include \"core/EMLog.h\"\n#include <xcb/xcb.h>\n",
         {{0, Rule::UnknownFolder}, {2, Rule::PlatformHeader}}},
        {"apps/ is not a folder under src/", "src/apps/Main.cpp", "", {{0, Rule::UnknownFolder}}},
        {"a file directly in src/", "src/main.cpp", "", {{0, Rule::UnknownFolder}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(found(c.path, c.text), c.expected);
    }
}

TEST(LayerRules, MessageNamesFileLineRuleAndInclude) {
    const auto v = layering::violations("src/engine/capture/DefaultCaptureFactory.cpp",
                                        "\n#include \"platform/x11capture/X11Capture.h\"\n");
    ASSERT_EQ(v.size(), 1u);
    const std::string text = layering::describe(v[0]);
    EXPECT_NE(text.find("src/engine/capture/DefaultCaptureFactory.cpp:2:"), std::string::npos) << text;
    EXPECT_NE(text.find("[layer order]"), std::string::npos) << text;
    EXPECT_NE(text.find("#include \"platform/x11capture/X11Capture.h\""), std::string::npos) << text;
    EXPECT_NE(text.find("'platform' is above"), std::string::npos) << text;
}

// The real tree. Every violation is reported, not just the first.
namespace fs = std::filesystem;
const fs::path kRoot = FRAMEDECK_SOURCE_DIR;

TEST(LayeringTree, EveryFolderUnderSrcHasAPlace) {
    ASSERT_TRUE(fs::is_directory(kRoot / "src")) << kRoot;
    for (const fs::directory_entry& entry : fs::directory_iterator(kRoot / "src")) {
        const std::string name = entry.path().filename().string();
        if (entry.is_directory() && (layering::rankOf(name) < 0 || name == "apps"))
            ADD_FAILURE() << "src/" << name
                          << "/: [unknown folder] has no place in the layer order; give it one "
                          << "in kLayers (tests/unit/layering/LayerRules.h) and in docs/architecture.md, "
                          << "section \"Layers\"";
    }
}

TEST(LayeringTree, IncludesFollowTheLayers) {
    std::vector<std::string> files;
    for (const char* top : {"src", "apps"})
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(kRoot / top)) {
            const fs::path& p = entry.path();
            if (entry.is_regular_file() && (p.extension() == ".h" || p.extension() == ".cpp"))
                files.push_back(p.lexically_relative(kRoot).generic_string());
        }
    std::sort(files.begin(), files.end());
    // A wrong root would find nothing and pass.
    ASSERT_TRUE(std::binary_search(files.begin(), files.end(), "apps/main.cpp")) << kRoot;

    std::set<std::string> unknownFolders; // reported once, not once per file
    int count = 0;
    for (const std::string& file : files) {
        std::ifstream in(kRoot / file, std::ios::binary);
        ASSERT_TRUE(in) << file;
        std::ostringstream text;
        text << in.rdbuf();
        for (const layering::Violation& v : layering::violations(file, text.str())) {
            if (v.rule == Rule::UnknownFolder && !unknownFolders.insert(layering::layerOf(file)).second)
                continue;
            ADD_FAILURE() << layering::describe(v);
            ++count;
        }
    }
    EXPECT_EQ(count, 0) << "include rule violations in " << files.size() << " files";
}

} // namespace
