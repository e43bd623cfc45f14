#pragma once

#include "annotation/ActionHistory.h"

#include <QColor>
#include <QFont>
#include <QLineEdit>
#include <QPointer>

class QPainter;
class QWidget;

// A text on the annotation canvas: while it is typed, a borderless-looking
// line edit with a dashed frame in the text's colour over a transparent
// background; once finished, the field hides and the canvas draws the text
// itself as an outline of its glyphs, so it lands in the drawing (and under
// a later eraser) like any stroke.
//
// Main thread only. The field is a child of the canvas; it goes when the item
// goes (dropped from both history lists) or with the canvas.
class CanvasTextField : public TextItem {
public:
    // A field with its left edge at `qtPoint` (widget coordinates),
    // vertically centred on it, focused and ready for typing.
    CanvasTextField(QWidget* canvas, QPointF qtPoint, const QFont& font, const QColor& color);
    ~CanvasTextField() override;

    QString text() const override;
    bool isEditing() const override { return editing_; }
    void finishEditing() override;
    void setOnCanvas(bool onCanvas) override;

    // The toolbar's choices reach a text still being typed.
    void setFont(const QFont& font);
    void setColor(const QColor& color);

    // Draws the finished text where the field showed it (widget coordinates).
    void drawInto(QPainter& painter) const;

    QLineEdit* field() const { return field_; }

private:
    void restyle();
    void fitToText();

    QPointer<QLineEdit> field_;
    QColor color_;
    bool editing_ = true;
};
