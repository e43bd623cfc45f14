#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A rectangle in pixels. Capture rectangles are relative to their monitor,
// origin at its top left, y down (the selection overlay converts from its own
// space before handing one over). The zero rectangle means "the whole monitor".
struct RVRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool isZero() const { return x == 0 && y == 0 && width == 0 && height == 0; }
    bool operator==(const RVRect&) const = default;
};

struct RVPoint {
    double x = 0;
    double y = 0;
    bool operator==(const RVPoint&) const = default;
};

// One monitor, in root-window pixels (RandR monitor geometry).
struct RVScreen {
    std::string name;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    // RandR's primary monitor (the whole root window, where RandR lists none).
    bool primary = false;
    bool isValid() const { return width > 0 && height > 0; }
};

// One entry of the on-screen window list, front to back. `number` is the X
// window id; bounds are the frame's, in root coordinates.
struct CaptureWindowInfo {
    uint64_t number = 0;
    std::string ownerName;
    std::string name;
    RVRect bounds;
};

struct CameraInfo {
    std::string device; // "/dev/video0", or "testpattern"
    std::string name;   // what the camera calls itself
};

struct ScreenCaptureRequest {
    RVScreen screen;
    RVRect captureRect; // zero: the whole monitor
    double fps = 25;
};

struct WindowCaptureRequest {
    uint64_t window = 0;
    // Size of every frame: the window's size at the start, evened.
    int width = 0;
    int height = 0;
    double fps = 25;
};

struct CameraCaptureRequest {
    std::string device; // empty: the first camera
};

struct AudioCaptureRequest {
    // PulseAudio source name; empty: the server's default source.
    std::string device;
    int sampleRate = 44100;
    int channels = 2;
};
