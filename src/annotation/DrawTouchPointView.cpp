#include "annotation/DrawTouchPointView.h"

#include "annotation/CanvasTextField.h"
#include "core/EMLog.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

DrawTouchPointView::DrawTouchPointView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setFocusPolicy(Qt::ClickFocus);
    setMouseTracking(false);
}

// The history's text items delete their fields; they must go while the
// fields' parent, this widget, still exists.
DrawTouchPointView::~DrawTouchPointView() {
    history_ = ActionHistory();
}

void DrawTouchPointView::setDoodleType(int doodleType) {
    pen_.doodleType = doodleType;
}

void DrawTouchPointView::setIsEarse(bool isEarse) {
    if (isEarse)
        finishPendingText();
    pen_.setIsEarse(isEarse);
}

void DrawTouchPointView::setStrokeColor(const QColor& color) {
    pen_.lineColor = color;
    if (CanvasTextField* field = editingTextField())
        field->setColor(color);
}

void DrawTouchPointView::setStrokeWidth(double width) {
    pen_.lineWidth = width;
}

void DrawTouchPointView::setFont(const QFont& font) {
    font_ = font;
    if (CanvasTextField* field = editingTextField())
        field->setFont(font);
}

void DrawTouchPointView::setCanDrawLine(bool canDrawLine) {
    pen_.canDrawLine = canDrawLine;
}

void DrawTouchPointView::addText(QPointF viewPoint) {
    // Only the newest item is ever finished: a field left open under a new
    // one would stay a field for good.
    finishPendingText();
    auto field = std::make_shared<CanvasTextField>(this, toQt(viewPoint), font_, pen_.lineColor);
    history_.append({nullptr, std::move(field)});
    currentStroke = nullptr;
}

void DrawTouchPointView::revokeScreen() {
    if (pen_.isEarse)
        pen_.setIsEarse(false);
    isEditing_ = false;
    currentStroke = nullptr;
    history_.revoke();
    update();
}

void DrawTouchPointView::undoRevokeScreen() {
    isEditing_ = false;
    currentStroke = nullptr;
    history_.undoRevoke();
    update();
}

void DrawTouchPointView::clearScreen() {
    if (pen_.isEarse)
        pen_.setIsEarse(false);
    isEditing_ = false;
    currentStroke = nullptr;
    history_.clear();
    update();
}

CanvasTextField* DrawTouchPointView::editingTextField() const {
    const QList<ActionItem>& items = history_.actionStroks();
    if (items.isEmpty() || !items.last().text || !items.last().text->isEditing())
        return nullptr;
    return dynamic_cast<CanvasTextField*>(items.last().text.get());
}

void DrawTouchPointView::finishPendingText() {
    if (!history_.actionStroks().isEmpty() && history_.actionStroks().last().isText()) {
        history_.finishPendingText();
        setFocus(Qt::OtherFocusReason); // away from the field that had it
        update();
    }
}

void DrawTouchPointView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    const QPointF point = toView(event->position());
    isEditing_ = true;
    currentStroke = nullptr;
    if (pen_.canDrawLine && pen_.doodleType != static_cast<int>(DoodleType::Text)) {
        // A field left open when the tool changed would otherwise stay a
        // field for good: only the newest item is ever finished.
        finishPendingText();
        std::unique_ptr<DWStroke> stroke = pen_.newStroke(point);
        if (stroke) {
            currentStroke = stroke.get();
            history_.append({std::shared_ptr<DWStroke>(std::move(stroke)), nullptr});
        }
        update();
        return;
    }
    touchupCurrentPoint_ = point;
    if (pen_.doodleType == static_cast<int>(DoodleType::Text))
        addText(point); // finishes the field typed before it first
}

void DrawTouchPointView::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton))
        return;
    if (!pen_.canDrawLine) {
        EMLog::showMessage("_canDrawLine:%d", pen_.canDrawLine ? 1 : 0);
        return;
    }
    if (!currentStroke)
        return; // text mode, or the press went elsewhere
    currentStroke->moved(toView(event->position()));
    EMLog::showMessage("_doodleType:%ld", static_cast<long>(pen_.doodleType));
    update();
}

void DrawTouchPointView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    currentStroke = nullptr;
    emit strokeEnded();
}

void DrawTouchPointView::keyPressEvent(QKeyEvent* event) {
    // A field being typed in takes its own Ctrl+Z first; these reach the
    // canvas only when no field has the keyboard.
    const Qt::KeyboardModifiers mods = event->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier);
    if (event->key() == Qt::Key_Z && mods == Qt::ControlModifier) {
        revokeScreen();
        return;
    }
    if (event->key() == Qt::Key_Z && mods == (Qt::ControlModifier | Qt::ShiftModifier)) {
        undoRevokeScreen();
        return;
    }
    QWidget::keyPressEvent(event);
}

void DrawTouchPointView::renderInto(QImage& layer) const {
    layer.fill(Qt::transparent);
    QPainter painter(&layer);
    painter.setRenderHint(QPainter::Antialiasing);
    // Strokes live in view coordinates: y up from the bottom edge.
    const QTransform flip(1, 0, 0, -1, 0, height());
    for (const ActionItem& item : history_.actionStroks()) {
        if (item.stroke) {
            painter.setTransform(flip);
            item.stroke->strokeWithContext(painter);
        } else if (auto* field = dynamic_cast<const CanvasTextField*>(item.text.get())) {
            painter.resetTransform();
            field->drawInto(painter);
        }
    }
}

QImage DrawTouchPointView::snapsHotView() const {
    QImage layer(size(), QImage::Format_ARGB32_Premultiplied);
    renderInto(layer);
    return layer;
}

void DrawTouchPointView::paintEvent(QPaintEvent*) {
    const qreal ratio = devicePixelRatioF();
    QImage layer(size() * ratio, QImage::Format_ARGB32_Premultiplied);
    layer.setDevicePixelRatio(ratio);
    renderInto(layer);
    QPainter(this).drawImage(QPointF(0, 0), layer);
}
