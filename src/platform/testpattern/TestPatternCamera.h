#pragma once

#include "engine/capture/CaptureSource.h"
#include "engine/capture/CaptureTypes.h"

#include <memory>

// A camera that needs no hardware: eight vertical colour bars with a white
// square moving across them, 640 x 480 at 30 frames a second, delivered on
// "VideoOutputQueue" like a real camera. Test desktops have no camera; the
// capture factory offers this one only when FRAMEDECK_TEST_CAMERA=1.
namespace testpattern {

inline constexpr int kWidth = 640;
inline constexpr int kHeight = 480;
inline constexpr double kFps = 30;
inline constexpr const char* kDeviceName = "testpattern";

// Any thread. True when the environment asks for the test-pattern camera.
bool requestedByEnvironment();

// The bar colour (0xAARRGGBB) at column x of the pattern.
uint32_t barColorAt(int x);

std::unique_ptr<CaptureSource> createCamera();

} // namespace testpattern
