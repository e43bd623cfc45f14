// DrawTouchPointView driven with the mouse and the keyboard on Qt's offscreen
// platform; what it drew is read back from its snapshot.
#include "QtAppEnvironment.h"
#include "annotation/CanvasTextField.h"
#include "annotation/DrawTouchPointView.h"

#include <QApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QTest>
#include <gtest/gtest.h>

namespace {

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QApplication, true>);

class Canvas : public ::testing::Test {
protected:
    Canvas() {
        canvas.resize(240, 200);
        canvas.show();
    }

    // A left-button drag through `points` (widget coordinates, y down).
    void drag(std::initializer_list<QPointF> points) {
        const QPointF first = *points.begin();
        QTest::mousePress(&canvas, Qt::LeftButton, {}, first.toPoint());
        for (QPointF p : points) {
            QMouseEvent move(QEvent::MouseMove, p, canvas.mapToGlobal(p), Qt::NoButton, Qt::LeftButton, {});
            QApplication::sendEvent(&canvas, &move);
        }
        QTest::mouseRelease(&canvas, Qt::LeftButton, {}, (*(points.end() - 1)).toPoint());
    }
    void click(QPoint p) { drag({p}); }

    QColor at(const QImage& image, int x, int y) const { return image.pixelColor(x, y); }
    static int paintedPixels(const QImage& image) {
        int n = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                n += qAlpha(image.pixel(x, y)) != 0;
        return n;
    }

    DrawTouchPointView canvas;
};

} // namespace

TEST_F(Canvas, EraserClearsOnlyWhereItPasses) {
    int ended = 0;
    QObject::connect(&canvas, &DrawTouchPointView::strokeEnded, [&] { ++ended; });
    canvas.setStrokeColor(Qt::red);
    canvas.setStrokeWidth(6);
    canvas.setDoodleType(0);
    drag({{20, 30}, {100, 80}, {200, 150}});
    EXPECT_EQ(ended, 1);
    ASSERT_EQ(canvas.actionStroks().size(), 1);
    // Stored y up: the press at the top of the widget is high in the view.
    EXPECT_EQ(canvas.actionStroks()[0].stroke->beganPoint, QPointF(20, 170));

    canvas.eraseSreen();
    drag({{110, 0}, {110, 60}, {110, 100}});
    ASSERT_EQ(canvas.actionStroks().size(), 2);
    EXPECT_EQ(canvas.actionStroks()[1].stroke->blendMode, 22);

    const QImage shot = canvas.snapsHotView();
    EXPECT_EQ(shot.size(), QSize(240, 200));
    EXPECT_EQ(at(shot, 60, 30), QColor(Qt::red)) << "top edge where y down put it";
    EXPECT_EQ(at(shot, 20, 90), QColor(Qt::red)) << "left edge";
    EXPECT_EQ(at(shot, 150, 150), QColor(Qt::red)) << "bottom edge";
    EXPECT_EQ(at(shot, 110, 30).alpha(), 0) << "erased";
    EXPECT_EQ(at(shot, 60, 90).alpha(), 0) << "inside: never filled";
    EXPECT_EQ(at(shot, 230, 10).alpha(), 0) << "outside";
    EXPECT_EQ(at(shot, 110, 150), QColor(Qt::red)) << "below the eraser's end";
}

TEST_F(Canvas, DraggingWithoutAPenDrawsNothing) {
    canvas.setCanDrawLine(false);
    drag({{10, 10}, {100, 100}});
    EXPECT_TRUE(canvas.actionStroks().isEmpty());
    EXPECT_EQ(canvas.touchupCurrentPoint(), QPointF(10, 190));
    EXPECT_TRUE(canvas.isEditing());

    canvas.setCanDrawLine(true);
    canvas.setDoodleType(5);
    drag({{10, 10}, {100, 100}});
    ASSERT_EQ(canvas.actionStroks().size(), 1) << "the press opened a field, the drag drew nothing";
    EXPECT_TRUE(canvas.actionStroks()[0].isText());
    EXPECT_EQ(paintedPixels(canvas.snapsHotView()), 0);
}

TEST_F(Canvas, TypedTextIsDrawnOnceFinishedAndFollowsUndoRedo) {
    canvas.setStrokeColor(QColor(0, 0, 255));
    QFont font = canvas.font();
    font.setPixelSize(28);
    canvas.setFont(font);
    canvas.setDoodleType(5);
    click({30, 60});
    CanvasTextField* field = canvas.editingTextField();
    ASSERT_TRUE(field);
    EXPECT_TRUE(field->field()->isVisible());
    QTest::keyClicks(field->field(), "Hello");
    const QRect fieldRect = field->field()->geometry();
    EXPECT_EQ(paintedPixels(canvas.snapsHotView()), 0) << "still a field, not yet drawing";

    // Ctrl+Z inside the field is the field's own, not the canvas's undo.
    QTest::keyClick(field->field(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(canvas.actionStroks().size(), 1);

    QTest::keyClicks(field->field(), "Hello");
    click({150, 170}); // finishes it and opens the next, empty field
    EXPECT_FALSE(field->field()->isVisible());
    ASSERT_EQ(canvas.actionStroks().size(), 2);
    const QImage drawn = canvas.snapsHotView();
    EXPECT_GT(paintedPixels(drawn), 40);
    // The glyphs sit where the field showed them, in the text's colour.
    EXPECT_EQ(paintedPixels(drawn.copy(fieldRect)), paintedPixels(drawn));
    bool blue = false;
    for (int x = fieldRect.left(); x < fieldRect.right(); ++x)
        blue = blue || at(drawn, x, fieldRect.center().y()) == QColor(0, 0, 255);
    EXPECT_TRUE(blue);

    // The empty field goes first, then the text; Ctrl+Z on the canvas.
    canvas.revokeScreen();
    QTest::keyClick(&canvas, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(canvas.actionStroks().isEmpty());
    EXPECT_EQ(canvas.redoActionStroks().size(), 2);
    EXPECT_EQ(paintedPixels(canvas.snapsHotView()), 0);
    QTest::keyClick(&canvas, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(canvas.snapsHotView(), drawn);
    EXPECT_FALSE(field->field()->isVisible()) << "finished: drawn, not shown as a field";

    canvas.clearScreen();
    EXPECT_EQ(paintedPixels(canvas.snapsHotView()), 0);
    EXPECT_EQ(canvas.redoActionStroks().size(), 1);
}
