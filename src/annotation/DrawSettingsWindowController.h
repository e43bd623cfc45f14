#pragma once

#include "annotation/DrawWindows.h"

#include <QColor>
#include <QFont>
#include <QPoint>
#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class DrawTouchPointView;
class QLabel;
class QMenu;
class QToolButton;
class SettingsStore;

// The drawing toolbar: a small floating panel above everything, with one
// button per tool, that draws on the screen through full-screen transparent
// windows (one per screen) and on a white board. It keeps the pen (kind,
// colour, width, font) and gives it to every canvas, so the windows of all
// screens and the white board always draw alike.
//
// Open it with initDraw(); closeWindow() (its close button, or closing the
// panel) drops the windows and their strokes, so the next opening starts
// with a clean screen. Main thread only.
class DrawSettingsWindowController : public QWidget {
    Q_OBJECT
public:
    // The buttons in panel order. The first thirteen are the system's tool
    // buttons; font, redo and close follow.
    enum Button {
        cursorBtn,
        pencilBtn,
        textBtn,
        rectBtn,
        rondBtn,
        arrowBtn,
        beelineBtn,
        lineWidthBtn,
        colorBtn,
        eraseBtn,
        whiteBtn,
        undoBtn,
        clearBtn,
        fontBtn,
        redoBtn,
        closeBtn,
        ButtonCount
    };

    // The font and colour dialogs, replaceable so tests can answer them.
    struct Choosers {
        std::function<std::optional<QFont>(const QFont& current, QWidget* parent)> font;
        std::function<std::optional<QColor>(const QColor& current, QWidget* parent)> color;
    };

    // `canDrawOnScreen`: whether transparent windows can be shown (a
    // compositor runs); by default asked of the display at each opening.
    explicit DrawSettingsWindowController(SettingsStore& settings,
                                          std::function<bool()> canDrawOnScreen = {});
    ~DrawSettingsWindowController() override;

    // Opens the drawing windows and the panel, in cursor mode, with the
    // stored pen; brings them to the front.
    void initDraw();
    bool isOpen() const { return open_; }

    // The buttons' actions, named as the system names them.
    void editpanel();
    void pencilpanel();
    void textpanel();
    void rectpanel();
    void rondpanel();
    void arrowpanel();
    void beelinepanel();
    void linewidthpanel();
    void changeLineWidth(int index);
    void colorpanel();
    void changeLineColor(int presetIndex);
    void openColorPanel();
    void changeColor(const QColor& color);
    void erasepanel();
    void whitepanel();
    void undopanel();
    void redopanel();
    void clearpanel();
    void openFontPanel();
    void changeFont(const QFont& font);
    // Gives the whole pen and the current tool to every canvas.
    void changeAttributes();
    // Shows the selected picture on the active tool, the normal one on the rest.
    void resetToolImage();
    void changeLanguage();
    void closeWindow();

    // For the application and for tests.
    void setChoosers(Choosers choosers) { choosers_ = std::move(choosers); }
    QToolButton* button(Button which) const { return buttons_[which]; }
    // The picture label a button shows now ("画笔" or "画笔选中").
    QString imageLabel(Button which) const;
    Button selectedTool() const { return selectedTool_; }
    DrawTouchPointView* drawView() const;
    const std::vector<std::unique_ptr<DrawCanvasWindow>>& drawWindows() const { return windows_; }
    DoodleWhiteWindow* drawWindow() const { return board_.get(); }
    bool isShowWhite() const { return isShowWhite_; }
    QMenu* widthMenu() const { return widthMenu_; }
    QMenu* colorMenu() const { return colorMenu_; }
    // The note shown when the screen cannot be drawn on (no compositor).
    QLabel* noteLabel() const { return note_; }
    QColor lineColor() const { return lineColor_; }
    double lineWidth() const { return lineWidth_; }
    QFont textFont() const { return font_; }

protected:
    void closeEvent(QCloseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void buildButtons();
    void buildMenus();
    void windowShouldClose();
    void selectTool(Button tool);
    void applyTool(DrawTouchPointView& canvas) const;
    void applyPen(DrawTouchPointView& canvas) const;
    void applyInputMode();
    void addScreen(QScreen* screen);
    void watchCanvas(DrawTouchPointView* canvas);
    void removeScreen(QScreen* screen);
    // The canvas that undo, redo and clear act on: the board's while shown.
    DrawTouchPointView* activeCanvas() const;
    std::vector<DrawTouchPointView*> canvases() const;
    void raiseAll();

    SettingsStore& settings_;
    std::function<bool()> canDrawOnScreen_;
    Choosers choosers_;
    QToolButton* buttons_[ButtonCount] = {};
    QMenu* widthMenu_ = nullptr;
    QMenu* colorMenu_ = nullptr;
    QLabel* title_ = nullptr;
    QLabel* note_ = nullptr;
    std::vector<std::unique_ptr<DrawCanvasWindow>> windows_;
    std::unique_ptr<DoodleWhiteWindow> board_;
    bool open_ = false;
    bool isShowWhite_ = false;
    Button selectedTool_ = cursorBtn;
    QColor lineColor_ = Qt::red;
    double lineWidth_ = 0;
    QFont font_;
    QPoint dragOffset_;
    bool placed_ = false;
    // Whether this opening draws on the screen (a compositor runs).
    bool onScreen_ = false;
    // Where the last stroke ended: undo and redo act there.
    QPointer<DrawTouchPointView> lastDrawn_;
};
