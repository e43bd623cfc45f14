#include "TempHome.h"
#include "app/AppDelegate.h"
#include "engine/EncodeManager.h"
#include "timing/AutoSplitSetsWindow.h"
#include "timing/AutoTimeSetWindow.h"
#include "timing/TimeEndWindowColler.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

class TimedDialogsOnDesktop : public ::testing::Test {
protected:
    void SetUp() override {
        app = std::make_unique<AppDelegate>(std::make_unique<SettingsStore>(home.path() + "/settings.conf"),
                                            FRAMEDECK_RESOURCE_DIR);
    }
    TempHome home;
    std::unique_ptr<AppDelegate> app;
};

// Shows `dialog`, checks that every text fits its control and that the
// dialog sits in the middle of the primary screen, and keeps a picture.
void photograph(QDialog& dialog, const QString& name) {
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    for (QWidget* w : dialog.findChildren<QWidget*>()) {
        if (qobject_cast<QLabel*>(w) || qobject_cast<QAbstractButton*>(w) || qobject_cast<QComboBox*>(w)) {
            EXPECT_TRUE(w->width() >= w->sizeHint().width() && w->height() >= w->sizeHint().height())
                << name.toStdString() << ": cut off";
        }
    }
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    EXPECT_LE((dialog.frameGeometry().center() - screen.center()).manhattanLength(), 4);
    const QString dir = QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/timing";
    QDir().mkpath(dir);
    EXPECT_TRUE(dialog.grab().save(dir + "/" + name + ".png"));
    dialog.reject();
}

} // namespace

TEST_F(TimedDialogsOnDesktop, EveryDialogInEveryLanguage) {
    EncodeManager session(app->settings());
    session.setSplitTime(20);
    session.setSplitSize(10);
    app->settings().setInteger("SplitType", 2);
    app->endTimeType = TimeEndWindowColler::CustonTime;
    app->recordEndTimeDuration = 5400;
    TimeEndWindowColler duration(*app);
    app->isAutoStop = true;
    app->recordEndTimeDuration = 600;
    AutoTimeSetWindow autoStop(*app);
    AutoSplitSetsWindow autoSplit(*app, session);
    // The dialogs exist before each switch: they re-title themselves.
    for (const auto& [language, tag] : {std::pair{0, "en"}, {1, "zh-Hans"}, {2, "zh-Hant"}}) {
        app->setLange(language);
        EXPECT_EQ(duration.windowTitle(), L("TM_MessageLabel_Title"));
        EXPECT_EQ(autoStop.windowTitle(), L("Title"));
        EXPECT_EQ(autoSplit.windowTitle(), L("Auto_Title"));
        photograph(duration, QString("duration-limit-") + tag);
        photograph(autoStop, QString("auto-stop-") + tag);
        photograph(autoSplit, QString("auto-split-") + tag);
    }
}

// A real modal run: Enter walks hours, minutes, seconds, then confirms.
TEST_F(TimedDialogsOnDesktop, DurationTypedWithEnterBetweenFields) {
    TimeEndWindowColler d(*app);
    QTimer::singleShot(0, &d, [&] {
        ASSERT_TRUE(QTest::qWaitForWindowActive(&d));
        EXPECT_FALSE(app->isCanKeyEvent);
        d.control(TimeEndWindowColler::CustonTime)->setFocus();
        QTest::keyClick(d.control(TimeEndWindowColler::CustonTime), Qt::Key_Space);
        EXPECT_TRUE(d.hourTime->hasFocus());
        QTest::keyClicks(d.hourTime, "2");
        QTest::keyClick(d.hourTime, Qt::Key_Return);
        EXPECT_TRUE(d.minTime->hasFocus());
        QTest::keyClicks(d.minTime, "75"); // selected on arrival, so this replaces "00"
        QTest::keyClick(d.minTime, Qt::Key_Enter);
        EXPECT_TRUE(d.secTime->hasFocus());
        QTest::keyClicks(d.secTime, "5");
        QTest::keyClick(d.secTime, Qt::Key_Return);
    });
    EXPECT_EQ(d.exec(), QDialog::Accepted);
    EXPECT_EQ(app->recordEndTimeDuration, 2 * 3600 + 59 * 60 + 5);
    EXPECT_TRUE(app->isCanKeyEvent);
}

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (!qEnvironmentVariableIsSet("DISPLAY")) {
        std::printf("integration_timed_dialogs needs the test desktop (scripts/test-desktop run); skipped\n");
        return 0;
    }
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
