#include "annotation/DrawSettingsWindowController.h"

#include "annotation/DrawToolSettings.h"
#include "annotation/DrawTouchPointView.h"
#include "app/LanguageManager.h"
#include "core/EMLog.h"
#include "platform/x11/X11Connection.h"

#include <QCloseEvent>
#include <QColorDialog>
#include <QCursor>
#include <QFontDialog>
#include <QGuiApplication>
#include <QLabel>
#include <QMenu>

namespace {

using C = DrawSettingsWindowController;

// The kind of stroke each drawing tool makes (DoodleType's numbers).
int doodleTypeFor(C::Button tool) {
    switch (tool) {
    case C::rectBtn:
        return static_cast<int>(DoodleType::RoundRect);
    case C::rondBtn:
        return static_cast<int>(DoodleType::Rond);
    case C::arrowBtn:
        return static_cast<int>(DoodleType::Arrow);
    case C::beelineBtn:
        return static_cast<int>(DoodleType::Beeline);
    case C::textBtn:
        return static_cast<int>(DoodleType::Text);
    default:
        return static_cast<int>(DoodleType::Pencil);
    }
}

// Translucent windows show black where they should be clear unless a
// compositor blends them; Wayland always composites.
bool translucentWindowsWork() {
    if (QGuiApplication::platformName() != "xcb")
        return true;
    x11::Connection connection;
    return connection.isOpen() && connection.hasCompositingManager(connection.screenNumber());
}

} // namespace

DrawSettingsWindowController::DrawSettingsWindowController(SettingsStore& settings,
                                                           std::function<bool()> canDrawOnScreen)
    : QWidget(nullptr,
              Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint),
      settings_(settings),
      canDrawOnScreen_(canDrawOnScreen ? std::move(canDrawOnScreen) : translucentWindowsWork) {
    choosers_.font = [](const QFont& current, QWidget* parent) -> std::optional<QFont> {
        bool ok = false;
        const QFont font = QFontDialog::getFont(&ok, current, parent);
        return ok ? std::optional(font) : std::nullopt;
    };
    choosers_.color = [](const QColor& current, QWidget* parent) -> std::optional<QColor> {
        const QColor color = QColorDialog::getColor(current, parent);
        return color.isValid() ? std::optional(color) : std::nullopt;
    };
    buildButtons();
    buildMenus();
    changeLanguage();
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &DrawSettingsWindowController::changeLanguage);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &DrawSettingsWindowController::addScreen);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &DrawSettingsWindowController::removeScreen);
}

DrawSettingsWindowController::~DrawSettingsWindowController() = default;

void DrawSettingsWindowController::initDraw() {
    if (open_) {
        raiseAll();
        return;
    }
    open_ = true;
    lineWidth_ = DrawToolSettings::readLineWidth(settings_);
    lineColor_ = DrawToolSettings::readLineColor(settings_);
    font_ = DrawToolSettings::readTextFont(settings_);
    selectedTool_ = cursorBtn;
    onScreen_ = canDrawOnScreen_();
    note_->setVisible(!onScreen_);
    if (onScreen_) {
        // The primary screen first: its canvas is drawView.
        addScreen(QGuiApplication::primaryScreen());
        for (QScreen* screen : QGuiApplication::screens())
            addScreen(screen);
    } else {
        EMLog::showMessage("no compositing manager: drawing on the screen is off, the white board works");
    }
    resetToolImage();
    adjustSize();
    if (!placed_) {
        placed_ = true;
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        move(screen.center().x() - width() / 2, screen.top() + 40);
    }
    show();
    raiseAll();
}

void DrawSettingsWindowController::addScreen(QScreen* screen) {
    if (!open_ || !onScreen_ || !screen)
        return;
    for (const auto& w : windows_)
        if (w->targetScreen() == screen)
            return;
    auto window = std::make_unique<DrawCanvasWindow>(screen, DrawCanvasWindow::Backdrop::Transparent);
    connect(screen, &QScreen::geometryChanged, window.get(), &DrawCanvasWindow::fitToScreen);
    watchCanvas(window->drawView());
    applyPen(*window->drawView());
    applyTool(*window->drawView());
    window->setPassesMouse(selectedTool_ == cursorBtn);
    window->show();
    windows_.push_back(std::move(window));
    raiseAll();
}

void DrawSettingsWindowController::removeScreen(QScreen* screen) {
    std::erase_if(windows_, [screen](const auto& w) { return w->targetScreen() == screen; });
}

void DrawSettingsWindowController::watchCanvas(DrawTouchPointView* canvas) {
    connect(canvas, &DrawTouchPointView::strokeEnded, this, [this, canvas] {
        lastDrawn_ = canvas;
        // Typed keys must reach the text field that click opened.
        if (selectedTool_ == textBtn)
            canvas->window()->activateWindow();
    });
}

void DrawSettingsWindowController::raiseAll() {
    for (const auto& w : windows_)
        w->raise();
    if (board_ && isShowWhite_)
        board_->raise();
    raise();
}

DrawTouchPointView* DrawSettingsWindowController::drawView() const {
    return windows_.empty() ? nullptr : windows_.front()->drawView();
}

std::vector<DrawTouchPointView*> DrawSettingsWindowController::canvases() const {
    std::vector<DrawTouchPointView*> all;
    for (const auto& w : windows_)
        all.push_back(w->drawView());
    if (board_ && isShowWhite_)
        all.push_back(board_->drawView());
    return all;
}

DrawTouchPointView* DrawSettingsWindowController::activeCanvas() const {
    if (board_ && isShowWhite_)
        return board_->drawView();
    for (const auto& w : windows_)
        if (w->drawView() == lastDrawn_)
            return lastDrawn_;
    return drawView();
}

void DrawSettingsWindowController::selectTool(Button tool) {
    selectedTool_ = tool;
    EMLog::showMessage("%s", qUtf8Printable(imageLabel(tool)));
    resetToolImage();
    changeAttributes();
}

void DrawSettingsWindowController::applyPen(DrawTouchPointView& canvas) const {
    canvas.setFont(font_);
    canvas.setStrokeColor(lineColor_);
    canvas.setStrokeWidth(lineWidth_);
}

void DrawSettingsWindowController::applyTool(DrawTouchPointView& canvas) const {
    switch (selectedTool_) {
    case cursorBtn:
        // Strokes stay visible and drawable; the window lets clicks through.
        canvas.setCanDrawLine(true);
        break;
    case eraseBtn:
        canvas.eraseSreen();
        break;
    default:
        // Leaving the eraser selects the pencil, so it goes off first; it
        // also brings back the pen it kept, which applyPen then confirms.
        canvas.setIsEarse(false);
        canvas.setDoodleType(doodleTypeFor(selectedTool_));
        canvas.setCanDrawLine(selectedTool_ != textBtn);
        applyPen(canvas);
        break;
    }
}

void DrawSettingsWindowController::changeAttributes() {
    for (DrawTouchPointView* canvas : canvases()) {
        applyPen(*canvas);
        applyTool(*canvas);
        canvas->update();
    }
    applyInputMode();
}

void DrawSettingsWindowController::applyInputMode() {
    const bool passes = selectedTool_ == cursorBtn;
    for (const auto& w : windows_)
        w->setPassesMouse(passes);
    if (board_)
        board_->setPassesMouse(passes);
    if (selectedTool_ != textBtn)
        return;
    // Only the text tool takes the keyboard; the others draw without
    // stealing it from the application being shown.
    if (board_ && isShowWhite_) {
        board_->activateWindow();
        return;
    }
    for (const auto& w : windows_)
        if (w->geometry().contains(QCursor::pos())) {
            w->activateWindow();
            return;
        }
    if (!windows_.empty())
        windows_.front()->activateWindow();
}

void DrawSettingsWindowController::editpanel() {
    selectTool(cursorBtn);
}
void DrawSettingsWindowController::pencilpanel() {
    selectTool(pencilBtn);
}
void DrawSettingsWindowController::textpanel() {
    selectTool(textBtn);
}
void DrawSettingsWindowController::rectpanel() {
    selectTool(rectBtn);
}
void DrawSettingsWindowController::rondpanel() {
    selectTool(rondBtn);
}
void DrawSettingsWindowController::arrowpanel() {
    selectTool(arrowBtn);
}
void DrawSettingsWindowController::beelinepanel() {
    selectTool(beelineBtn);
}
void DrawSettingsWindowController::erasepanel() {
    selectTool(eraseBtn);
}

void DrawSettingsWindowController::whitepanel() {
    isShowWhite_ = !isShowWhite_;
    EMLog::showMessage("%s", qUtf8Printable(imageLabel(whiteBtn)));
    if (isShowWhite_) {
        if (!board_) {
            board_ = std::make_unique<DoodleWhiteWindow>(QGuiApplication::primaryScreen());
            watchCanvas(board_->drawView());
        }
        board_->show();
        changeAttributes();
        raiseAll();
    } else if (board_) {
        board_->hide();
        changeAttributes();
    }
    resetToolImage();
}

void DrawSettingsWindowController::undopanel() {
    if (DrawTouchPointView* canvas = activeCanvas())
        canvas->revokeScreen();
    // Undo leaves the eraser on the canvas: the panel follows.
    if (selectedTool_ == eraseBtn)
        selectTool(pencilBtn);
}

void DrawSettingsWindowController::redopanel() {
    if (DrawTouchPointView* canvas = activeCanvas())
        canvas->undoRevokeScreen();
}

void DrawSettingsWindowController::clearpanel() {
    // "Clear all": every screen, or the board while it is shown.
    if (board_ && isShowWhite_)
        board_->drawView()->clearScreen();
    else
        for (const auto& w : windows_)
            w->drawView()->clearScreen();
    if (selectedTool_ == eraseBtn)
        selectTool(pencilBtn);
}

void DrawSettingsWindowController::closeWindow() {
    widthMenu_->hide();
    colorMenu_->hide();
    windows_.clear();
    board_.reset();
    lastDrawn_ = nullptr;
    isShowWhite_ = false;
    open_ = false;
    hide();
}

void DrawSettingsWindowController::windowShouldClose() {
    closeWindow();
}

void DrawSettingsWindowController::closeEvent(QCloseEvent* event) {
    windowShouldClose();
    event->accept();
}
