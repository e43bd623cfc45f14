// The panel side of the drawing toolbar: its buttons and their pictures,
// the width and colour menus, the font and colour dialogs, its texts and
// dragging it around. The tools and the windows are in
// DrawSettingsWindowController.cpp.
#include "annotation/DrawSettingsWindowController.h"
#include "annotation/DrawToolImages.h"
#include "annotation/DrawToolSettings.h"
#include "app/LanguageManager.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

using C = DrawSettingsWindowController;

struct ButtonSpec {
    const char* name;
    const char* toolTip;
    const char* image;
    void (C::*action)();
};

// In panel order; the index is the Button value.
const ButtonSpec kButtons[C::ButtonCount] = {
    {"cursorBtn", "cursorBtn.toolTip", "鼠标", &C::editpanel},
    {"pencilBtn", "pencilBtn.toolTip", "画笔", &C::pencilpanel},
    {"textBtn", "textBtn.toolTip", "文字", &C::textpanel},
    {"rectBtn", "rectBtn.toolTip", "矩形", &C::rectpanel},
    {"rondBtn", "rondBtn.toolTip", "椭圆", &C::rondpanel},
    {"arrowBtn", "arrowBtn.toolTip", "箭头", &C::arrowpanel},
    {"beelineBtn", "beelineBtn.toolTip", "直线", &C::beelinepanel},
    {"lineWidthBtn", "lineWidthBtn.toolTip", "线宽", &C::linewidthpanel},
    {"colorBtn", "colorBtn.toolTip", "颜色", &C::colorpanel},
    {"eraseBtn", "eraseBtn.toolTip", "橡皮擦", &C::erasepanel},
    {"whiteBtn", "whiteBtn.toolTip", "白板", &C::whitepanel},
    {"undoBtn", "undoBtn.toolTip", "撤销", &C::undopanel},
    {"clearBtn", "clearBtn.toolTip", "清除", &C::clearpanel},
    {"fontBtn", "fontBtn.toolTip", "字体", &C::openFontPanel},
    {"redoBtn", "redoBtn.toolTip", "重做", &C::redopanel},
    {"closeBtn", "Draw_Close", "关闭", &C::closeWindow},
};

const char* const kWidthNames[] = {"Draw_Width_Thin", "Draw_Width_Medium", "Draw_Width_Thick"};

QIcon swatch(const QColor& color) {
    QPixmap pixmap(16, 16);
    pixmap.fill(color);
    QPainter(&pixmap).drawRect(0, 0, 15, 15);
    return QIcon(pixmap);
}

} // namespace

void DrawSettingsWindowController::buildButtons() {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(16, 6, 6, 6); // the left margin is the grip
    column->setSpacing(4);
    auto* row = new QHBoxLayout;
    row->setSpacing(2);
    column->addLayout(row);
    // The title doubles as a handle: presses on it reach the panel, which
    // moves.
    title_ = new QLabel(this);
    title_->setStyleSheet("color: #5a5e68;");
    row->addWidget(title_);
    row->addSpacing(6);
    for (int i = 0; i < ButtonCount; ++i) {
        auto* b = new QToolButton(this);
        b->setObjectName(kButtons[i].name);
        b->setAutoRaise(true);
        b->setIconSize({24, 24});
        b->setFixedSize(34, 34);
        connect(b, &QToolButton::clicked, this, kButtons[i].action);
        if (i == fontBtn)
            row->addSpacing(6);
        row->addWidget(b);
        buttons_[i] = b;
    }
    note_ = new QLabel(this);
    note_->setWordWrap(true);
    note_->hide();
    column->addWidget(note_);
}

void DrawSettingsWindowController::buildMenus() {
    widthMenu_ = new QMenu(this);
    for (int i = 0; i < 3; ++i) {
        QAction* action = widthMenu_->addAction(QString());
        action->setCheckable(true);
        connect(action, &QAction::triggered, this, [this, i] { changeLineWidth(i); });
    }
    colorMenu_ = new QMenu(this);
    const QList<QColor> presets = DrawToolSettings::presetColors();
    for (int i = 0; i < presets.size(); ++i) {
        QAction* action = colorMenu_->addAction(swatch(presets[i]), presets[i].name());
        connect(action, &QAction::triggered, this, [this, i] { changeLineColor(i); });
    }
    colorMenu_->addSeparator();
    QAction* more = colorMenu_->addAction(QString());
    more->setObjectName("moreColors");
    connect(more, &QAction::triggered, this, &DrawSettingsWindowController::openColorPanel);
}

void DrawSettingsWindowController::changeLanguage() {
    setWindowTitle(L("Draw_Title"));
    title_->setText(L("Draw_Title"));
    for (int i = 0; i < ButtonCount; ++i)
        buttons_[i]->setToolTip(L(kButtons[i].toolTip));
    for (int i = 0; i < 3; ++i)
        widthMenu_->actions()[i]->setText(L(kWidthNames[i]));
    colorMenu_->actions().last()->setText(L("Draw_MoreColors"));
    note_->setText(L("Draw_NeedsCompositor"));
    adjustSize();
}

QString DrawSettingsWindowController::imageLabel(Button which) const {
    const bool selected = which == selectedTool_ || (which == whiteBtn && isShowWhite_);
    return QString::fromUtf8(kButtons[which].image) + (selected ? kSelectedSuffix : QString());
}

void DrawSettingsWindowController::resetToolImage() {
    for (int i = 0; i < ButtonCount; ++i)
        buttons_[i]->setIcon(drawToolImage(imageLabel(Button(i))));
}

void DrawSettingsWindowController::linewidthpanel() {
    for (int i = 0; i < 3; ++i)
        widthMenu_->actions()[i]->setChecked(DrawToolSettings::lineWidthForIndex(i) == lineWidth_);
    widthMenu_->popup(buttons_[lineWidthBtn]->mapToGlobal(QPoint(0, buttons_[lineWidthBtn]->height())));
}

void DrawSettingsWindowController::changeLineWidth(int index) {
    lineWidth_ = DrawToolSettings::lineWidthForIndex(index);
    DrawToolSettings::storeLineWidth(settings_, lineWidth_);
    changeAttributes();
}

void DrawSettingsWindowController::colorpanel() {
    colorMenu_->popup(buttons_[colorBtn]->mapToGlobal(QPoint(0, buttons_[colorBtn]->height())));
}

void DrawSettingsWindowController::changeLineColor(int presetIndex) {
    const QList<QColor> presets = DrawToolSettings::presetColors();
    if (presetIndex >= 0 && presetIndex < presets.size())
        changeColor(presets[presetIndex]);
}

void DrawSettingsWindowController::openColorPanel() {
    if (const std::optional<QColor> color = choosers_.color(lineColor_, this))
        changeColor(*color);
}

void DrawSettingsWindowController::changeColor(const QColor& color) {
    lineColor_ = color;
    lineColor_.setAlphaF(1);
    DrawToolSettings::storeLineColor(settings_, lineColor_);
    changeAttributes();
}

void DrawSettingsWindowController::openFontPanel() {
    if (const std::optional<QFont> font = choosers_.font(font_, this))
        changeFont(*font);
}

void DrawSettingsWindowController::changeFont(const QFont& font) {
    font_ = font;
    DrawToolSettings::storeTextFont(settings_, font_);
    changeAttributes();
}

void DrawSettingsWindowController::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        dragOffset_ = event->globalPosition().toPoint() - pos();
}

void DrawSettingsWindowController::mouseMoveEvent(QMouseEvent* event) {
    // The panel bypasses the window manager, so it moves itself.
    if (event->buttons() & Qt::LeftButton)
        move(event->globalPosition().toPoint() - dragOffset_);
}

void DrawSettingsWindowController::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(rect(), QColor(246, 246, 248));
    p.setPen(QColor(190, 192, 198));
    p.drawRect(rect().adjusted(0, 0, -1, -1));
    // The grip: two columns of dots on the left edge.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(160, 162, 170));
    const int middle = 6 + 17;
    for (int row = -2; row <= 2; ++row)
        for (int col : {5, 10})
            p.drawEllipse(QPointF(col, middle + row * 5), 1.3, 1.3);
}
