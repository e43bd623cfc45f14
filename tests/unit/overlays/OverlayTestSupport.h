#pragma once

#include "core/SampleBuffers.h"

#include <QGuiApplication>
#include <QImage>
#include <gtest/gtest.h>
#include <memory>

// Text rendering needs a GUI application; the offscreen platform serves.
class GuiEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        if (QGuiApplication::instance())
            return;
        qputenv("QT_QPA_PLATFORM", "offscreen");
        app_ = std::make_unique<QGuiApplication>(argc_, argv_);
    }
    void TearDown() override { app_.reset(); }

private:
    int argc_ = 1;
    char name_[16] = "unit_overlays";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QGuiApplication> app_;
};

// A frame filled with one colour, in a QImage whose memory is the frame's.
struct TestFrame {
    TestFrame(int width, int height, QRgb fill = qRgb(0, 0, 0))
        : image(width, height, QImage::Format_ARGB32_Premultiplied) {
        image.fill(fill);
    }
    PixelBufferView view() {
        return {image.bits(), image.width(), image.height(), static_cast<int>(image.bytesPerLine())};
    }
    // Pixel at column x, row y (row 0 at the top).
    QRgb at(int x, int y) const { return image.pixel(x, y); }
    QImage image;
};
