#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

// Which file may include what. Pure functions over a path and a file's text,
// so that the rules can be shown failing on made-up files as well as run over
// the real tree.
namespace layering {

// The layers, lowest first. A file may include project headers from its own
// layer and from the layers before it, never from one after it. Everything
// under src/<layer>/ belongs to that layer, nested folders included; apps/
// sits on top of them all.
//
// The order is explained for people in docs/architecture.md, section
// "Layers". A new folder under src/ gets its place here and there, in the
// same change.
inline constexpr std::array<std::string_view, 13> kLayers = {
    "core",     "encoder",   "engine",     "platform", "app", "widgets", "timing",
    "overlays", "selection", "annotation", "stack",    "cli", "apps",
};

enum class Rule {
    UnknownFolder,  // a folder under src/ that has no place in kLayers
    LayerOrder,     // a project header from a higher layer
    PlatformHeader, // X11/XCB, PulseAudio, PipeWire or V4L2 outside src/platform/
    FfmpegHeader,   // FFmpeg outside src/encoder/
    EncoderApi,     // libMediaEncoder's C header outside src/encoder/ and src/engine/
};

struct Violation {
    std::string file; // relative to the source root, e.g. "src/engine/capture/X.cpp"
    int line = 0;     // 1-based; 0 when the file as a whole is wrong
    Rule rule = Rule::LayerOrder;
    std::string include; // as written, delimiters too: "\"app/AppDelegate.h\"", "<xcb/xcb.h>"
    std::string advice;  // what is wrong and what to do instead
};

struct Include {
    int line = 0;
    char open = '"'; // '"' or '<'
    std::string header;
};

// The #include directives of a C++ text, with those inside comments and raw
// string literals left out. (Directives inside #if 0 still count.)
std::vector<Include> includesOf(std::string_view text);

// The layer a file belongs to, by its path relative to the source root:
// "src/engine/capture/X.cpp" -> "engine", "apps/main.cpp" -> "apps". Empty
// for a path outside src/ and apps/ or directly inside src/; otherwise the
// folder's name, which may be one kLayers does not know.
std::string layerOf(std::string_view path);

// Where `layer` stands in kLayers; -1 when it has no place there.
int rankOf(std::string_view layer);

// Everything wrong with the includes of one file. `path` is relative to the
// source root and uses '/'.
std::vector<Violation> violations(std::string_view path, std::string_view text);

// One line for a person: file, line, rule, include and advice.
std::string describe(const Violation& violation);

} // namespace layering
