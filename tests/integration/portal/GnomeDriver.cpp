// Plays the user on a headless mutter for scripts: sees the screen through a
// screen cast of its own and moves and clicks through mutter's
// remote-desktop interface. One command per line on standard input, one
// answer line ("ok" or "error: ...") per command:
//   move X Y     the pointer to X,Y of the primary monitor
//   nudge DX DY  the pointer by DX,DY from where it is (onto other monitors)
//   click X Y    a left click there
//   press        the left button down where the pointer is
//   release      and up again
//   shot PATH    the screen as it is now, as a PNG picture
//   pixel X Y    the colour at X,Y now, answered as "R G B"
#include "MutterSession.h"
#include "StreamTestSupport.h"
#include "platform/portal/StreamSource.h"

#include <QCoreApplication>
#include <QImage>
#include <QThread>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QString error;
    if (!MutterSession::waitForMutter(error)) {
        std::cout << "error: " << error.toStdString() << std::endl;
        return 1;
    }
    MutterSession session(MutterSession::Embedded, error);
    if (!error.isEmpty()) {
        std::cout << "error: " << error.toStdString() << std::endl;
        return 1;
    }

    // The monitor's size is the stream's; the source is asked for nothing
    // smaller than it can deliver.
    ScreenCaptureRequest request;
    request.screen = RVScreen{"primary", 0, 0, 0, 0, true};
    request.fps = 10;
    const uint32_t node = session.node();
    auto source = portalcapture::createStreamSource(request, nullptr, [node](std::string& why) {
        std::optional<portalcapture::SharedScreen> shared(std::in_place);
        shared->remote = streamtest::connectToServer();
        if (shared->remote.get() < 0) {
            why = "cannot connect to PipeWire";
            return std::optional<portalcapture::SharedScreen>();
        }
        shared->node = node;
        return shared;
    });
    std::mutex mutex;
    QImage last;
    source->setVideoCallback([&](const VideoFramePtr& frame) {
        const QImage picture(frame->pixels.row(0), frame->pixels.width, frame->pixels.height,
                             static_cast<qsizetype>(frame->pixels.stride), QImage::Format_RGB32);
        std::lock_guard lock(mutex);
        last = picture.copy();
    });
    std::string startError;
    if (!source->start(startError)) {
        std::cout << "error: " << startError << std::endl;
        return 1;
    }
    // Ready once a picture is there to answer "pixel" and "shot" with.
    for (int i = 0; i < 200; ++i) {
        {
            std::lock_guard lock(mutex);
            if (!last.isNull())
                break;
        }
        QThread::msleep(50);
    }
    std::cout << "ready " << source->frameWidth() << "x" << source->frameHeight() << std::endl;

    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        bool done = false;
        if (command == "move" || command == "click" || command == "nudge") {
            double x = 0, y = 0;
            words >> x >> y;
            done = words && (command == "move"    ? session.movePointer(x, y)
                             : command == "nudge" ? session.nudgePointer(x, y)
                                                  : session.click(x, y));
        } else if (command == "press" || command == "release") {
            done = session.button(command == "press");
        } else if (command == "pixel") {
            int x = -1, y = -1;
            words >> x >> y;
            std::lock_guard lock(mutex);
            if (words && last.valid(x, y)) {
                const QRgb rgb = last.pixel(x, y);
                std::cout << qRed(rgb) << " " << qGreen(rgb) << " " << qBlue(rgb) << std::endl;
                continue;
            }
        } else if (command == "shot") {
            std::string path;
            words >> path;
            std::lock_guard lock(mutex);
            done = words && !last.isNull() && last.save(QString::fromStdString(path), "PNG");
        }
        std::cout << (done ? "ok" : "error: " + line) << std::endl;
    }
    source->stop();
    return 0;
}
