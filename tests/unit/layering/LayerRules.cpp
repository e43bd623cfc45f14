#include "LayerRules.h"

#include <cctype>
#include <filesystem>
#include <optional>

namespace layering {
namespace {

bool isIdentifierChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

// The identifier or number that ends right before text[at]: the prefix of a
// literal (u8, L, R, ...) or the digits before a digit separator.
std::string_view tokenBefore(std::string_view text, std::size_t at) {
    std::size_t start = at;
    while (start > 0 && isIdentifierChar(text[start - 1]))
        --start;
    return text.substr(start, at - start);
}

// Just past the quoted literal that opens at text[open]. An unterminated one
// ends with its line, so one stray quote cannot hide the rest of the file.
std::size_t skipQuoted(std::string_view text, std::size_t open) {
    const char quote = text[open];
    std::size_t i = open + 1;
    while (i < text.size() && text[i] != quote && text[i] != '\n')
        i += text[i] == '\\' ? 2 : 1;
    return i < text.size() && text[i] == quote ? i + 1 : i;
}

// Comments and raw string literals turned into spaces, newlines kept so that
// line numbers stay right. Ordinary literals stay as they are (an include's
// quoted name is one); they are only stepped over, so that a "/*" or "//"
// inside one starts no comment.
std::string blankCommentsAndRawStrings(std::string_view text) {
    std::string out(text);
    const auto blank = [&out](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i)
            if (out[i] != '\n')
                out[i] = ' ';
    };
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n) {
        const char c = text[i];
        const char next = i + 1 < n ? text[i + 1] : '\0';
        if (c == '/' && next == '/') {
            // A backslash at the end of the line carries the comment on.
            std::size_t end = i + 2;
            while (end < n && !(text[end] == '\n' && text[end - 1] != '\\'))
                ++end;
            blank(i, end);
            i = end;
        } else if (c == '/' && next == '*') {
            const std::size_t close = text.find("*/", i + 2);
            const std::size_t end = close == std::string_view::npos ? n : close + 2;
            blank(i, end);
            i = end;
        } else if (c == '"') {
            const std::string_view prefix = tokenBefore(text, i);
            if (prefix == "R" || prefix == "u8R" || prefix == "uR" || prefix == "UR" || prefix == "LR") {
                // R"delim( ... )delim"
                const std::size_t paren = text.find('(', i + 1);
                std::size_t at = std::string_view::npos;
                std::string close;
                if (paren != std::string_view::npos) {
                    close = ")" + std::string(text.substr(i + 1, paren - i - 1)) + "\"";
                    at = text.find(close, paren + 1);
                }
                const std::size_t end = at == std::string_view::npos ? n : at + close.size();
                blank(i, end);
                i = end;
            } else {
                i = skipQuoted(text, i);
            }
        } else if (c == '\'') {
            // 1'000'000: a digit separator, not a character literal.
            const std::string_view before = tokenBefore(text, i);
            const bool separator = !before.empty() && std::isdigit(static_cast<unsigned char>(before[0]));
            i = separator ? i + 1 : skipQuoted(text, i);
        } else {
            ++i;
        }
    }
    return out;
}

std::optional<Include> directiveOn(std::string_view line) {
    std::size_t i = line.find_first_not_of(" \t");
    if (i == std::string_view::npos || line[i] != '#')
        return std::nullopt;
    i = line.find_first_not_of(" \t", i + 1);
    if (i == std::string_view::npos || line.compare(i, 7, "include") != 0)
        return std::nullopt;
    i = line.find_first_not_of(" \t", i + 7);
    if (i == std::string_view::npos || (line[i] != '"' && line[i] != '<'))
        return std::nullopt;
    const std::size_t end = line.find(line[i] == '<' ? '>' : '"', i + 1);
    if (end == std::string_view::npos)
        return std::nullopt;
    return Include{0, line[i], std::string(line.substr(i + 1, end - i - 1))};
}

// The family of a header only src/platform/ may include; empty for others.
std::string_view platformFamily(std::string_view header) {
    if (header.starts_with("xcb/") || header.starts_with("X11/"))
        return "X11/XCB";
    if (header.starts_with("pulse/"))
        return "PulseAudio";
    if (header.starts_with("pipewire/") || header.starts_with("spa/"))
        return "PipeWire";
    if (header == "linux/videodev2.h" || header.starts_with("libv4l"))
        return "V4L2";
    return {};
}

bool isFfmpeg(std::string_view header) {
    for (std::string_view library : {"libavcodec/", "libavformat/", "libavutil/", "libswscale/",
                                     "libswresample/", "libavdevice/", "libavfilter/", "libpostproc/"})
        if (header.starts_with(library))
            return true;
    return false;
}

std::string_view fileName(std::string_view header) {
    const std::size_t slash = header.rfind('/');
    return slash == std::string_view::npos ? header : header.substr(slash + 1);
}

// The layer of a project header named in a file at `path`; empty when the
// header is not one (a system header, or a bare name from the same folder).
std::string layerOfInclude(std::string_view path, std::string_view header) {
    if (header.starts_with("./") || header.starts_with("../")) {
        // A relative path can climb out of its folder into any layer.
        const std::filesystem::path resolved =
            (std::filesystem::path(path).parent_path() / std::filesystem::path(header)).lexically_normal();
        return layerOf(resolved.generic_string());
    }
    const std::size_t slash = header.find('/');
    if (slash == std::string_view::npos)
        return {};
    const std::string_view first = header.substr(0, slash);
    return rankOf(first) >= 0 ? std::string(first) : std::string();
}

std::string orderText() {
    std::string text;
    for (std::string_view layer : kLayers)
        text += (text.empty() ? "" : " < ") + std::string(layer);
    return text;
}

std::string_view ruleName(Rule rule) {
    switch (rule) {
    case Rule::UnknownFolder:
        return "unknown folder";
    case Rule::LayerOrder:
        return "layer order";
    case Rule::PlatformHeader:
        return "platform headers";
    case Rule::FfmpegHeader:
        return "FFmpeg headers";
    case Rule::EncoderApi:
        return "encoder C API";
    }
    return "?";
}

} // namespace

std::vector<Include> includesOf(std::string_view text) {
    const std::string code = blankCommentsAndRawStrings(text);
    std::vector<Include> found;
    int lineNumber = 1;
    for (std::size_t start = 0; start <= code.size(); ++lineNumber) {
        std::size_t end = code.find('\n', start);
        if (end == std::string::npos)
            end = code.size();
        if (auto include = directiveOn(std::string_view(code).substr(start, end - start))) {
            include->line = lineNumber;
            found.push_back(std::move(*include));
        }
        start = end + 1;
    }
    return found;
}

std::string layerOf(std::string_view path) {
    if (path.starts_with("apps/"))
        return "apps";
    if (!path.starts_with("src/"))
        return {};
    const std::string_view rest = path.substr(4);
    const std::size_t slash = rest.find('/');
    return slash == std::string_view::npos ? std::string() : std::string(rest.substr(0, slash));
}

int rankOf(std::string_view layer) {
    for (std::size_t i = 0; i < kLayers.size(); ++i)
        if (kLayers[i] == layer)
            return static_cast<int>(i);
    return -1;
}

std::vector<Violation> violations(std::string_view path, std::string_view text) {
    std::vector<Violation> found;
    const bool inSrc = path.starts_with("src/");
    if (!inSrc && !path.starts_with("apps/"))
        return found;
    const std::string layer = layerOf(path);
    // apps/ is a layer, but not as a folder under src/.
    int rank = inSrc && layer == "apps" ? -1 : rankOf(layer);
    if (rank < 0) {
        const std::string advice =
            layer.empty()
                ? "a file directly in src/ belongs to no layer; move it into the folder of its layer"
                : "src/" + layer + "/ has no place in the layer order (" + orderText() +
                      "). Give it one in kLayers (tests/unit/layering/LayerRules.h) and in "
                      "docs/architecture.md, section \"Layers\", or move the file into an existing layer";
        found.push_back({std::string(path), 0, Rule::UnknownFolder, "", advice});
    }
    const bool inPlatform = inSrc && layer == "platform";
    const bool inEncoder = inSrc && layer == "encoder";
    const bool inEngine = inSrc && layer == "engine";

    for (const Include& include : includesOf(text)) {
        const std::string written =
            include.open == '<' ? "<" + include.header + ">" : '"' + include.header + '"';
        const auto report = [&](Rule rule, std::string advice) {
            found.push_back({std::string(path), include.line, rule, written, std::move(advice)});
        };
        if (const std::string_view family = platformFamily(include.header); !family.empty() && !inPlatform)
            report(
                Rule::PlatformHeader,
                "only src/platform/ includes X11/XCB, PulseAudio, PipeWire and V4L2 headers (this one is " +
                    std::string(family) +
                    "). Put the code behind an interface that a backend in src/platform/ implements");
        if (isFfmpeg(include.header) && !inEncoder)
            report(Rule::FfmpegHeader,
                   "this is an FFmpeg header; only src/encoder/ (libMediaEncoder) includes "
                   "FFmpeg. Everything else reaches the encoder through its C API, which "
                   "src/engine/ calls");
        if (fileName(include.header) == "MediaEncoder.h" && !inEncoder && !inEngine)
            report(Rule::EncoderApi, "this is libMediaEncoder's C API, which only src/engine/ calls; use "
                                     "EncodeManager (engine/EncodeManager.h) instead");
        if (rank < 0)
            continue;
        const std::string target = layerOfInclude(path, include.header);
        if (rankOf(target) > rank)
            report(Rule::LayerOrder,
                   "'" + layer + "' may include only its own layer and the ones below it (" + orderText() +
                       "), and '" + target +
                       "' is above it. Move the code that needs this up, or let a higher layer hand it "
                       "down through an interface (docs/architecture.md, section \"Layers\")");
    }
    return found;
}

std::string describe(const Violation& violation) {
    std::string text = violation.file;
    if (violation.line > 0)
        text += ":" + std::to_string(violation.line);
    text += ": [" + std::string(ruleName(violation.rule)) + "] ";
    if (!violation.include.empty())
        text += "#include " + violation.include + ": ";
    return text + violation.advice;
}

} // namespace layering
