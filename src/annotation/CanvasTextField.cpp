#include "annotation/CanvasTextField.h"

#include <QFontMetricsF>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace {

// The field's frame, and the margins QLineEdit keeps inside it around the
// text (2 across, 1 up and down): the finished text is drawn at the same
// spot so it does not jump when the field hides.
constexpr int kBorder = 1;
constexpr int kTextMarginX = 2;
constexpr int kTextMarginY = 1;
// Room for the cursor and an empty field the user can see and click into.
constexpr int kCursorRoom = 8;
constexpr int kMinimumWidth = 40;

} // namespace

CanvasTextField::CanvasTextField(QWidget* canvas, QPointF qtPoint, const QFont& font, const QColor& color)
    : field_(new QLineEdit(canvas)), color_(color) {
    field_->setFont(font);
    field_->setAttribute(Qt::WA_TranslucentBackground);
    restyle();
    fitToText();
    field_->move(QPoint(qRound(qtPoint.x()), qRound(qtPoint.y() - field_->height() / 2.0)));
    QObject::connect(field_, &QLineEdit::textChanged, field_, [this] { fitToText(); });
    field_->show();
    field_->setFocus(Qt::MouseFocusReason);
}

CanvasTextField::~CanvasTextField() {
    delete field_.data(); // null once the canvas has gone
}

QString CanvasTextField::text() const {
    return field_ ? field_->text() : QString();
}

void CanvasTextField::finishEditing() {
    editing_ = false;
    if (!field_)
        return;
    field_->setReadOnly(true);
    restyle();
    field_->clearFocus();
    field_->hide();
}

void CanvasTextField::setOnCanvas(bool onCanvas) {
    if (field_)
        field_->setVisible(onCanvas && editing_);
}

void CanvasTextField::setFont(const QFont& font) {
    if (!field_ || !editing_)
        return;
    field_->setFont(font);
    fitToText();
}

void CanvasTextField::setColor(const QColor& color) {
    if (!editing_)
        return;
    color_ = color;
    restyle();
}

void CanvasTextField::drawInto(QPainter& painter) const {
    if (!field_ || editing_ || field_->text().isEmpty())
        return;
    const QFontMetricsF metrics(field_->font());
    const double inner = field_->height() - 2 * (kBorder + kTextMarginY);
    const QPointF baseline(field_->x() + kBorder + kTextMarginX,
                           field_->y() + kBorder + kTextMarginY +
                               std::floor((inner - metrics.height() + 1) / 2) + metrics.ascent());
    QPainterPath glyphs;
    glyphs.addText(baseline, field_->font(), field_->text());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(glyphs, color_);
    painter.restore();
}

void CanvasTextField::restyle() {
    if (!field_)
        return;
    const QString rgba = QStringLiteral("rgba(%1, %2, %3, %4)")
                             .arg(color_.red())
                             .arg(color_.green())
                             .arg(color_.blue())
                             .arg(color_.alpha());
    const QString border = editing_ ? QStringLiteral("%1px dashed %2").arg(kBorder).arg(rgba)
                                    : QStringLiteral("%1px solid transparent").arg(kBorder);
    field_->setStyleSheet(QStringLiteral("QLineEdit { background: transparent; padding: 0px; border: %1; "
                                         "color: %2; }")
                              .arg(border, rgba));
}

void CanvasTextField::fitToText() {
    if (!field_)
        return;
    const QFontMetrics metrics(field_->font());
    const int width = metrics.horizontalAdvance(field_->text()) + 2 * (kBorder + kTextMarginX) + kCursorRoom;
    const int height = metrics.height() + 2 * (kBorder + kTextMarginY) + 2;
    field_->resize(std::max(width, kMinimumWidth), height);
}
