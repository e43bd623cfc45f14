#pragma once

#include "annotation/ActionHistory.h"
#include "annotation/DoodlePen.h"

#include <QFont>
#include <QImage>
#include <QWidget>

class CanvasTextField;

// The transparent drawing surface laid over the desktop: the pointer draws
// strokes of the pen's kind, a click in text mode opens a text field, and
// undo, redo and clear walk the history. Strokes are kept in view
// coordinates (origin bottom left, y up); the flip to Qt's y-down space
// happens only at this widget's edge (mouse events in, painter out).
//
// Everything is drawn into an offscreen premultiplied ARGB layer first: the
// eraser's "destination in" then clears our own drawing only, never the
// desktop that shows through the window around it.
//
// Main thread only. The toolbar (DrawSettingsWindowController) drives it
// through the setters below; when it leaves the eraser for another tool it
// calls setIsEarse(false) before setDoodleType(), as leaving the eraser
// selects the pencil.
class DrawTouchPointView : public QWidget {
    Q_OBJECT
public:
    explicit DrawTouchPointView(QWidget* parent = nullptr);
    ~DrawTouchPointView() override;

    // The kind of the next stroke (DoodleType's numbers, 5 for text).
    void setDoodleType(int doodleType);
    // The eraser on (keeps the pen, width 20, drawing allowed) or off (the
    // pen comes back). Either way the kind becomes the pencil.
    void setIsEarse(bool isEarse);
    void eraseSreen() { setIsEarse(true); }
    void setStrokeColor(const QColor& color);
    void setStrokeWidth(double width);
    // The font of new texts (and of the one being typed). It hides
    // QWidget::setFont on purpose: the canvas itself shows no text of its own.
    void setFont(const QFont& font);
    // False lets the pointer through without drawing (texts still open).
    void setCanDrawLine(bool canDrawLine);

    // Opens a text field at `viewPoint` (view coordinates, y up) in the
    // canvas's font and colour and appends it to the history, after
    // finishing the one being typed (dropped when empty).
    void addText(QPointF viewPoint);

    void revokeScreen();     // undo
    void undoRevokeScreen(); // redo
    void clearScreen();

    // The drawing as it is now, at the canvas's size: strokes and finished
    // texts over transparency (fields still being typed are not in it).
    QImage snapsHotView() const;

    // The state, for the toolbar and for tests.
    bool isEditing() const { return isEditing_; }
    bool canDrawLine() const { return pen_.canDrawLine; }
    bool isEarse() const { return pen_.isEarse; }
    int doodleType() const { return pen_.doodleType; }
    QColor lineColor() const { return pen_.lineColor; }
    double lineWidth() const { return pen_.lineWidth; }
    float oldLineWidth() const { return pen_.oldLineWidth; }
    std::optional<QColor> oldLineColor() const { return pen_.oldLineColor; }
    QFont font() const { return font_; }
    QPointF touchupCurrentPoint() const { return touchupCurrentPoint_; }
    const QList<ActionItem>& actionStroks() const { return history_.actionStroks(); }
    const QList<ActionItem>& redoActionStroks() const { return history_.redoActionStroks(); }
    // The field of the text being typed, nullptr when none is.
    CanvasTextField* editingTextField() const;

signals:
    // The pointer was released: a stroke (or a click) has ended.
    void strokeEnded();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QPointF toView(QPointF qtPoint) const { return {qtPoint.x(), height() - qtPoint.y()}; }
    QPointF toQt(QPointF viewPoint) const { return {viewPoint.x(), height() - viewPoint.y()}; }
    // Finishes the text being typed (an empty one is dropped) and takes the
    // keyboard back from its field.
    void finishPendingText();
    // Draws the history into `layer`, whose device size may exceed the
    // widget's by its pixel ratio.
    void renderInto(QImage& layer) const;

    DoodlePen pen_;
    ActionHistory history_;
    QFont font_;
    bool isEditing_ = false;
    QPointF touchupCurrentPoint_;
    DWStroke* currentStroke = nullptr; // owned by the history
};
