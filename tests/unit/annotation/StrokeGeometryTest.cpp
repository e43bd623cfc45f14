// The shapes of the stroke kinds, in view coordinates (y up), without a display.
#include "annotation/ToolStrokes.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

void expectNear(QPointF actual, QPointF expected, const char* what) {
    EXPECT_NEAR(actual.x(), expected.x(), 1e-3) << what;
    EXPECT_NEAR(actual.y(), expected.y(), 1e-3) << what;
}

// Which side of the line tail -> tip a point lies on: > 0 left (y up).
double side(QPointF tail, QPointF tip, QPointF p) {
    const QPointF d = tip - tail;
    const QPointF v = p - tail;
    return d.x() * v.y() - d.y() * v.x();
}

} // namespace

TEST(RoundRectGeometry, RectAndRadiusRules) {
    struct Case {
        QPointF began, end;
        QRectF rect;
        double radius;
        const char* what;
    } cases[] = {
        {{10, 10}, {10, 10}, {10, 10, 0.1, 0.1}, 0.05, "a click leaves 0.1 x 0.1"},
        {{50, 40}, {10, 20}, {10, 20, 40, 20}, 5, "dragged down-left: origin at the smaller corner"},
        {{0, 0}, {30, 0}, {0, 0, 30, 0.1}, 0.05, "flat: only the height becomes 0.1"},
        {{0, 0}, {6, 30}, {0, 0, 6, 30}, 3, "narrow: half the width"},
        {{0, 0}, {30, 4}, {0, 0, 30, 4}, 2, "low: half the height"},
        {{0, 0}, {8, 4}, {0, 0, 8, 4}, 4, "both short: the width decides"},
        {{0, 0}, {10, 10}, {0, 0, 10, 10}, 5, "exactly twice the radius keeps it"},
    };
    for (const Case& c : cases) {
        const RoundRectStroke::Geometry g = RoundRectStroke::geometry(c.began, c.end, 5);
        EXPECT_EQ(g.rect, c.rect) << c.what;
        EXPECT_DOUBLE_EQ(g.radius, c.radius) << c.what;
    }
}

TEST(RoundRectGeometry, OutlineStartsOnTheBottomEdgeAndRoundsTheCorners) {
    const RoundRectStroke::Geometry g{{10, 20, 40, 20}, 5};
    const QPainterPath path = RoundRectStroke::outline(g);
    expectNear(path.elementAt(0), {30, 20}, "the middle of the bottom edge (y up)");
    expectNear(path.boundingRect().topLeft(), {10, 20}, "bounds");
    expectNear(path.boundingRect().bottomRight(), {50, 40}, "bounds");
    for (QPointF corner : {QPointF(10, 20), QPointF(50, 20), QPointF(50, 40), QPointF(10, 40)}) {
        const QPointF inward((corner.x() < 30 ? 1 : -1) * 0.5, (corner.y() < 30 ? 1 : -1) * 0.5);
        EXPECT_FALSE(path.contains(corner + inward)) << "rounded off at " << corner.x() << "," << corner.y();
        EXPECT_TRUE(path.contains(corner + inward * 4)) << "but not more than the radius";
    }
    // A click's outline stays within its 0.1 square.
    const QPainterPath click = RoundRectStroke::outline(RoundRectStroke::geometry({3, 3}, {3, 3}, 5));
    EXPECT_NEAR(click.boundingRect().width(), 0.1, 1e-9);
    EXPECT_NEAR(click.boundingRect().height(), 0.1, 1e-9);
}

TEST(ArrowGeometry, PointsAtTheEndInEveryQuadrant) {
    const QPointF began(100, 100);
    struct Case {
        QPointF end;
        float angle;
    } cases[] = {
        {{130, 130}, 315},
        {{70, 130}, 225},
        {{70, 70}, 135},
        {{130, 70}, 45},
        {{160, 100}, 0},                                 // right along the axis
        {{100, 40}, 90},                                 // straight down
        {{110, 160}, 360 - std::atan(6.0f) * 57.29578f}, // steep, up and right
        {{40, 95}, 180 - std::atan(5.0f / 60) * 57.29578f},
    };
    for (const Case& c : cases) {
        const ArrowStroke::Geometry g = ArrowStroke::geometry(began, c.end, 8);
        ASSERT_EQ(g.corners.size(), 8);
        EXPECT_NEAR(g.angle, c.angle, 1e-3) << c.end.x() << "," << c.end.y();
        expectNear(g.corners[0], began, "the tail on the press");
        expectNear(g.corners[4], c.end, "the tip on the end point");
        // The head is symmetric: one barb each side of the shaft.
        EXPECT_GT(side(began, c.end, g.corners[3]), 0);
        EXPECT_LT(side(began, c.end, g.corners[5]), 0);
    }
}

TEST(ArrowGeometry, ExactlyLeftOrExactlyUpPointsTheOtherWay) {
    // These two drags come out reversed, and stay so: the tip lands on the
    // end point mirrored through the press.
    const QPointF began(100, 100);
    for (QPointF end : {QPointF(40, 100), QPointF(100, 170)}) {
        const ArrowStroke::Geometry g = ArrowStroke::geometry(began, end, 8);
        expectNear(g.corners[4], 2 * began - end, "tip mirrored");
    }
    EXPECT_FLOAT_EQ(ArrowStroke::geometry(began, {40, 100}, 8).angle, 0);
    EXPECT_FLOAT_EQ(ArrowStroke::geometry(began, {100, 170}, 8).angle, 90);
}

TEST(PencilPath, KeepsRawPointsAndSmoothsOnlyTheDrawing) {
    PencilStroke pencil;
    const QPointF zigzag[] = {{0, 0}, {10, 10}, {20, 0}, {30, 10}, {40, 0}};
    pencil.began(zigzag[0]);
    for (int i = 1; i < 5; ++i)
        pencil.moved(zigzag[i]);
    ASSERT_EQ(pencil.path.elementCount(), 5);
    for (int i = 0; i < 5; ++i)
        expectNear(pencil.path.elementAt(i), zigzag[i], "raw point kept");

    const QPainterPath smooth = PathStroke::smoothedPath(pencil.path);
    expectNear(smooth.elementAt(0), {0, 0}, "starts where the hand did");
    expectNear(smooth.currentPosition(), {40, 0}, "ends where the hand did");
    // Curves cut the corners: the sharp peaks are no longer reached.
    EXPECT_LT(smooth.boundingRect().height(), 10);
    EXPECT_GT(smooth.boundingRect().height(), 4);
    // Two points draw their straight segment.
    QPainterPath two;
    two.moveTo(1, 1);
    two.lineTo(5, 5);
    expectNear(PathStroke::smoothedPath(two).currentPosition(), {5, 5}, "a single segment stays");
}
