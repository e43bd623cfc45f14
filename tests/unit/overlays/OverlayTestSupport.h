#pragma once

#include "QtAppEnvironment.h"
#include "core/SampleBuffers.h"

#include <QGuiApplication>
#include <QImage>
#include <gtest/gtest.h>

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
