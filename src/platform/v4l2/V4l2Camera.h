#pragma once

#include "engine/capture/CaptureSource.h"
#include "engine/capture/CaptureTypes.h"

#include <memory>
#include <vector>

// Cameras through Video4Linux2. The formats cameras really offer, YUYV and
// MJPEG, become 32-bit BGRA pictures on "VideoOutputQueue".
namespace v4l2camera {

// The capture devices among /dev/video*, in device order; empty without one.
// Any thread (opens each node briefly).
std::vector<CameraInfo> listCameras();

// The camera at request.device, or the first one. Asks for 1280 x 720 and
// takes what the driver offers closest to it.
std::unique_ptr<CaptureSource> createCamera(const CameraCaptureRequest& request);

// YUYV (4:2:2, BT.601 limited range) to BGRA. Exposed for tests.
void yuyvToBgra(const uint8_t* yuyv, int width, int height, int srcStride, PixelBufferView& out);

} // namespace v4l2camera
