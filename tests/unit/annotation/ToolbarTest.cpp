// The drawing toolbar's rules on Qt's offscreen platform: its buttons, the
// one active tool, what reaches every canvas, and what is stored.
#include "QtAppEnvironment.h"
#include "TempHome.h"
#include "annotation/DrawSettingsWindowController.h"
#include "annotation/DrawTouchPointView.h"
#include "app/LanguageManager.h"
#include "app/SettingsStore.h"

#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QTest>
#include <QToolButton>
#include <gtest/gtest.h>

namespace {

const auto* const kApp = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QApplication, true>);

using C = DrawSettingsWindowController;

class Toolbar : public ::testing::Test {
protected:
    Toolbar() {
        store.setInteger("AppLanguage", 0);
        store.setBool("isLanguageChanged", true);
        LanguageManager::setShared(&language);
    }
    ~Toolbar() override { LanguageManager::setShared(nullptr); }

    std::unique_ptr<C> open(bool canDrawOnScreen = true) {
        auto tools = std::make_unique<C>(store, [canDrawOnScreen] { return canDrawOnScreen; });
        tools->initDraw();
        return tools;
    }
    static std::vector<C::Button> selected(const C& tools) {
        std::vector<C::Button> on;
        for (int i = 0; i < C::ButtonCount; ++i)
            if (tools.imageLabel(C::Button(i)).endsWith("选中"))
                on.push_back(C::Button(i));
        return on;
    }
    // A drag on `canvas` in widget coordinates.
    static void drag(DrawTouchPointView* canvas, QPoint from, QPoint to) {
        QTest::mousePress(canvas, Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, to, canvas->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(canvas, &move);
        QTest::mouseRelease(canvas, Qt::LeftButton, {}, to);
    }

    TempHome home;
    SettingsStore store{home.path() + "/settings.ini"};
    LanguageManager language{store, QString(FRAMEDECK_RESOURCE_DIR)};
};

TEST_F(Toolbar, ButtonsWithIconsAndTipsThatFollowTheLanguage) {
    auto tools = open();
    EXPECT_EQ(tools->windowTitle(), "Drawing Tools");
    const QList<QToolButton*> inPanel = tools->findChildren<QToolButton*>();
    ASSERT_EQ(inPanel.size(), C::ButtonCount);
    QStringList english;
    for (int i = 0; i < C::ButtonCount; ++i) {
        SCOPED_TRACE(inPanel[i]->objectName().toStdString());
        EXPECT_EQ(tools->button(C::Button(i)), inPanel[i]);
        EXPECT_FALSE(inPanel[i]->icon().isNull());
        EXPECT_FALSE(inPanel[i]->toolTip().isEmpty());
        english << inPanel[i]->toolTip();
    }
    EXPECT_EQ(inPanel[C::clearBtn]->toolTip(), "Clear All");
    EXPECT_EQ(selected(*tools), std::vector{C::cursorBtn}) << "opens with the pointer tool";
    // Switched, every tip is read again from the new language's table.
    language.applyLanguage(1);
    for (int i = 0; i < C::ButtonCount; ++i)
        EXPECT_NE(inPanel[i]->toolTip(), english[i]) << inPanel[i]->objectName().toStdString();
    EXPECT_EQ(inPanel[C::clearBtn]->toolTip(), "全部清除");
    EXPECT_EQ(tools->windowTitle(), "绘图工具");
    EXPECT_EQ(tools->widthMenu()->actions()[2]->text(), "粗");
}

TEST_F(Toolbar, EachToolIsTheOnlyOneSelectedAndSetsEveryCanvas) {
    struct Row {
        C::Button button;
        int kind; // -1: the eraser
        bool canDraw;
        bool passesMouse;
    };
    const Row rows[] = {
        {C::cursorBtn, 4, true, true},   {C::pencilBtn, 4, true, false}, {C::textBtn, 5, false, false},
        {C::rectBtn, 0, true, false},    {C::rondBtn, 1, true, false},   {C::arrowBtn, 2, true, false},
        {C::beelineBtn, 3, true, false}, {C::eraseBtn, -1, true, false},
    };
    auto tools = open();
    ASSERT_NE(tools->drawView(), nullptr);
    EXPECT_TRUE(tools->drawWindows().front()->passesMouse()) << "opens in cursor mode";
    tools->button(C::whiteBtn)->click();
    ASSERT_TRUE(tools->isShowWhite());
    for (const Row& row : rows) {
        SCOPED_TRACE(tools->button(row.button)->objectName().toStdString());
        tools->button(row.button)->click();
        // The board's button shows it is on; among the tools only this one.
        EXPECT_EQ(selected(*tools), (std::vector{row.button, C::whiteBtn}));
        for (DrawTouchPointView* canvas : {tools->drawView(), tools->drawWindow()->drawView()}) {
            EXPECT_EQ(canvas->isEarse(), row.kind == -1);
            EXPECT_EQ(canvas->doodleType(), row.kind == -1 ? 4 : row.kind);
            EXPECT_EQ(canvas->canDrawLine(), row.canDraw);
            EXPECT_EQ(static_cast<DrawCanvasWindow*>(canvas->window())->passesMouse(), row.passesMouse);
        }
    }
    // Actions leave the tool as it was.
    tools->button(C::arrowBtn)->click();
    for (C::Button action : {C::undoBtn, C::redoBtn, C::clearBtn, C::lineWidthBtn, C::colorBtn})
        tools->button(action)->click();
    EXPECT_EQ(tools->selectedTool(), C::arrowBtn);
    tools->button(C::whiteBtn)->click();
    EXPECT_FALSE(tools->drawWindow()->isVisible());
    EXPECT_EQ(selected(*tools), std::vector{C::arrowBtn});
}

TEST_F(Toolbar, PenChoicesAreStoredAndSurviveTheEraser) {
    auto tools = open();
    EXPECT_EQ(tools->drawView()->lineWidth(), 0) << "no stored width";
    EXPECT_EQ(tools->drawView()->lineColor(), QColor(Qt::red)) << "no stored colour";
    EXPECT_EQ(tools->drawView()->font().pointSizeF(), 20);
    const double kWidths[] = {2, 5, 8};
    for (int i = 0; i < 3; ++i) {
        tools->widthMenu()->actions()[i]->trigger();
        EXPECT_EQ(store.doubleForKey("Linewidth"), kWidths[i]);
    }
    tools->changeColor(QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.3f));
    const RGBAColor stored = *store.colorDictionaryForKey("LineColor");
    EXPECT_NEAR(stored.g, 0.4, 1e-3);
    EXPECT_EQ(stored.a, 1);
    tools->changeFont(QFont("DejaVu Serif", 31));
    tools->button(C::rectBtn)->click();
    tools->button(C::eraseBtn)->click();
    tools->button(C::arrowBtn)->click();
    EXPECT_EQ(tools->drawView()->lineWidth(), 8);
    EXPECT_NEAR(tools->drawView()->lineColor().blueF(), 0.6, 1e-3);

    // A fresh opening reads them back, the colour opaque.
    tools->closeWindow();
    store.setColorDictionary("LineColor", {0, 0, 1, 0.25});
    auto again = open();
    EXPECT_EQ(again->drawView()->lineWidth(), 8);
    EXPECT_EQ(again->drawView()->lineColor(), QColor(0, 0, 255));
    EXPECT_EQ(again->drawView()->font().family(), "DejaVu Serif");
    EXPECT_EQ(again->drawView()->font().pointSizeF(), 31);
}

TEST_F(Toolbar, UndoAndClearActOnTheBoardWhileItShowsAndClosingDropsStrokes) {
    auto tools = open();
    tools->button(C::rectBtn)->click();
    drag(tools->drawView(), {20, 20}, {80, 80});
    drag(tools->drawView(), {100, 20}, {160, 80});
    tools->button(C::whiteBtn)->click();
    DrawTouchPointView* board = tools->drawWindow()->drawView();
    drag(board, {20, 20}, {80, 80});
    tools->button(C::undoBtn)->click();
    EXPECT_EQ(board->actionStroks().size(), 0);
    EXPECT_EQ(tools->drawView()->actionStroks().size(), 2);
    tools->button(C::redoBtn)->click();
    tools->button(C::clearBtn)->click();
    EXPECT_EQ(board->actionStroks().size(), 0);
    EXPECT_EQ(tools->drawView()->actionStroks().size(), 2);
    tools->button(C::whiteBtn)->click();
    tools->button(C::undoBtn)->click();
    EXPECT_EQ(tools->drawView()->actionStroks().size(), 1);

    tools->button(C::closeBtn)->click();
    EXPECT_FALSE(tools->isOpen());
    EXPECT_FALSE(tools->isVisible());
    EXPECT_EQ(tools->drawView(), nullptr);
    tools->initDraw();
    EXPECT_EQ(tools->drawView()->actionStroks().size(), 0);
    EXPECT_EQ(tools->selectedTool(), C::cursorBtn);
}

TEST_F(Toolbar, WithoutACompositorOnlyTheBoardDrawsAndANoteSaysWhy) {
    auto tools = open(false);
    EXPECT_TRUE(tools->drawWindows().empty());
    EXPECT_EQ(tools->drawView(), nullptr);
    EXPECT_FALSE(tools->noteLabel()->isHidden());
    EXPECT_TRUE(tools->noteLabel()->text().contains("compositing"));
    tools->button(C::whiteBtn)->click();
    tools->button(C::pencilBtn)->click();
    drag(tools->drawWindow()->drawView(), {20, 20}, {80, 80});
    EXPECT_EQ(tools->drawWindow()->drawView()->actionStroks().size(), 1);
    tools->button(C::undoBtn)->click();
    EXPECT_EQ(tools->drawWindow()->drawView()->actionStroks().size(), 0);
}

} // namespace
