// The drawing tools in the real application on the test desktop: drawn with
// the real pointer and keyboard (XTEST) during a full-screen recording, and
// found again in the recorded frames; the pointer tool lets clicks through
// to the window below a drawing.
#include "AppFixture.h"
#include "annotation/DrawSettingsWindowController.h"
#include "annotation/DrawTouchPointView.h"
#include "integration/selection/DesktopHelpers.h"
#include "widgets/StatusItem.h"

#include <QAction>
#include <QElapsedTimer>
#include <QMenu>
#include <QWindow>
#include <functional>

namespace {

using C = DrawSettingsWindowController;

using ColourTest = std::function<bool(QRgb)>;
const ColourTest isRed = [](QRgb c) {
    return qRed(c) > 150 && qGreen(c) < 100 && qBlue(c) < 100;
};
const ColourTest isBlue = [](QRgb c) {
    return qBlue(c) > 150 && qRed(c) < 100 && qGreen(c) < 160;
};
const ColourTest isGreen = [](QRgb c) {
    return qGreen(c) > 120 && qRed(c) < 110 && qBlue(c) < 120;
};
const ColourTest isMagenta = [](QRgb c) {
    return qRed(c) > 150 && qBlue(c) > 150 && qGreen(c) < 110;
};

// How many pixels of `box` pass `test`.
int countIn(const QImage& frame, const QRect& box, const ColourTest& test) {
    int n = 0;
    for (int y = box.top(); y <= box.bottom(); ++y)
        for (int x = box.left(); x <= box.right(); ++x)
            n += frame.valid(x, y) && test(frame.pixel(x, y));
    return n;
}
// Some pixels of the colour near `p` (a thick line through it).
bool near(const QImage& frame, QPoint p, const ColourTest& test) {
    return countIn(frame, QRect(p - QPoint(6, 6), QSize(13, 13)), test) >= 8;
}

// A window of this test process that counts the presses it receives.
class ClickCounter : public QWidget {
public:
    ClickCounter() : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint) {
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(60, 110, 140));
        setPalette(palette);
        setAutoFillBackground(true);
        setGeometry(1350, 700, 300, 200);
    }
    int presses = 0;

protected:
    void mousePressEvent(QMouseEvent*) override { ++presses; }
};

// Counts the times a window was hidden (unmapped).
class HideCounter : public QObject {
public:
    int hides = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        hides += event->type() == QEvent::Hide;
        return false;
    }
};

} // namespace

TEST_F(App, DrawingsAreRecordedAndThePointerToolClicksThrough) {
    ClickCounter below;
    below.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&below));

    chooseKind(0);
    ASSERT_TRUE(startRecording());
    QElapsedTimer clock; // the recording's time, roughly
    clock.start();
    std::map<std::string, double> at; // when each step was done, in seconds
    auto mark = [&](const char* step) {
        settle(1500);
        at[step] = clock.elapsed() / 1000.0;
        settle(1500);
    };

    frameDeck->statusItem().stateItems()[4]->trigger();
    C* tools = frameDeck->drawTools();
    ASSERT_NE(tools, nullptr);
    ASSERT_TRUE(tools->isOpen());
    ASSERT_NE(tools->drawView(), nullptr) << "the test desktop runs a compositor";
    DrawCanvasWindow* screenWindow = tools->drawWindows().front().get();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(screenWindow));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(tools));
    const WId drawingWindowId = screenWindow->winId();
    HideCounter unmapped;
    screenWindow->installEventFilter(&unmapped);
    const char* const languages[] = {"en", "zh-Hans", "zh-Hant"};
    for (int language : {1, 2, 0}) {
        app->setLange(language);
        settle(200);
        savePicture(tools, QString("drawing-toolbar-") + languages[language]);
    }
    frameDeck->statusItem().stateItems()[4]->trigger(); // a second time only raises it
    EXPECT_EQ(frameDeck->drawTools(), tools);
    EXPECT_EQ(tools->drawView(), screenWindow->drawView());
    mark("open");

    tools->widthMenu()->actions()[2]->trigger(); // thick
    tools->button(C::rectBtn)->click();
    tools->changeLineColor(0); // red
    xdotoolDrag({300, 300}, {600, 500});
    mark("rect");
    tools->button(C::arrowBtn)->click();
    tools->changeLineColor(4); // blue
    xdotoolDrag({700, 600}, {1000, 450});
    mark("arrow");
    tools->button(C::pencilBtn)->click();
    tools->changeLineColor(3); // green
    xdotoolDrag({1400, 800}, {1600, 800});
    EXPECT_EQ(below.presses, 0) << "a drawing tool keeps the pointer";
    mark("pencil");

    tools->setChoosers({boldFont, magenta});
    tools->button(C::fontBtn)->click();
    tools->colorMenu()->actions().last()->trigger(); // "more colours": the dialog's answer
    tools->button(C::textBtn)->click();
    xdotool({"mousemove", "300", "700", "click", "1"});
    xdotool({"type", "--delay", "60", "Hello"});
    mark("text");
    tools->button(C::undoBtn)->click();
    mark("undo");

    tools->button(C::whiteBtn)->click();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(tools->drawWindow()));
    mark("board");
    tools->button(C::whiteBtn)->click();
    mark("boardOff");

    // The pointer tool: a click on the pencil line reaches the window below,
    // and the drawing window stays the same mapped window all along.
    tools->button(C::cursorBtn)->click();
    settle(300);
    xdotool({"mousemove", "1500", "800", "click", "1"});
    EXPECT_TRUE(QTest::qWaitFor([&] { return below.presses == 1; }, 5000));
    tools->button(C::pencilBtn)->click();
    settle(300);
    xdotool({"mousemove", "1500", "850", "click", "1"});
    EXPECT_EQ(below.presses, 1);
    EXPECT_EQ(screenWindow->winId(), drawingWindowId);
    EXPECT_TRUE(screenWindow->windowHandle()->isExposed());
    EXPECT_EQ(unmapped.hides, 0) << "tool changes never unmap the drawing window";

    stopRecording();
    tools->button(C::closeBtn)->click();
    EXPECT_FALSE(tools->isVisible());
    EXPECT_TRUE(tools->drawWindows().empty());

    const QString path = app->outputPath;
    // Each step was marked halfway between its end and the next one's start.
    auto frameAfter = [&](const char* step) {
        return frameAt(path, at[step]);
    };
    const QImage opened = frameAfter("open");
    const QImage withText = frameAfter("text");
    const QImage undone = frameAfter("undo");
    const QImage board = frameAfter("board");
    const QImage after = frameAfter("boardOff");
    ASSERT_FALSE(opened.isNull());
    ASSERT_FALSE(after.isNull());
    const QString dir = QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/app/";
    withText.save(dir + "drawing-frame.png");
    board.scaled(board.size() / 4).save(dir + "drawing-board-frame.png");

    const QPoint rectEdge(450, 300), arrowMiddle(850, 525), pencilPoint(1450, 800);
    const QRect textBox(290, 650, 240, 110);
    EXPECT_FALSE(near(opened, rectEdge, isRed)) << "nothing drawn yet";
    EXPECT_TRUE(near(frameAfter("rect"), rectEdge, isRed));
    EXPECT_TRUE(near(frameAfter("rect"), QPoint(300, 400), isRed));
    EXPECT_TRUE(near(frameAfter("arrow"), arrowMiddle, isBlue));
    EXPECT_TRUE(near(frameAfter("pencil"), pencilPoint, isGreen));
    for (const QImage* frame : {&withText, &undone, &after}) {
        EXPECT_TRUE(near(*frame, rectEdge, isRed));
        EXPECT_TRUE(near(*frame, arrowMiddle, isBlue));
        EXPECT_TRUE(near(*frame, pencilPoint, isGreen));
    }
    EXPECT_GT(countIn(withText, textBox, isMagenta), 150) << "the typed text";
    EXPECT_EQ(countIn(undone, textBox, isMagenta), 0) << "undone";
    EXPECT_EQ(countIn(after, textBox, isMagenta), 0);

    // The board covers the screen in white; only the toolbar sits on it.
    int white = 0, all = 0;
    for (int y = 0; y < board.height(); y += 8)
        for (int x = 0; x < board.width(); x += 8) {
            ++all;
            const QRgb c = board.pixel(x, y);
            white += qRed(c) > 235 && qGreen(c) > 235 && qBlue(c) > 235;
        }
    EXPECT_GT(white, all * 9 / 10);
    EXPECT_FALSE(near(board, rectEdge, isRed)) << "the board hides the screen's drawings";
}
