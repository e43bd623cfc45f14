#pragma once

#include <string>

// The name of part `part` of a recording split into several files: the
// first part keeps the path (`part` 0), later ones get "_1", "_2", ... before
// the extension ("a/20240131_235959.mp4" -> "a/20240131_235959_1.mp4").
// The encoder library names the files it writes with it, and the command
// line finds them with it. Header-only, so the encoder library exports
// nothing more than its C interface. Any thread.
inline std::string splitPartPath(const std::string& path, int part) {
    if (part <= 0)
        return path;
    const auto slash = path.find_last_of('/');
    auto dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        dot = path.size();
    return path.substr(0, dot) + "_" + std::to_string(part) + path.substr(dot);
}
