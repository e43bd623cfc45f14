// Each timed-recording dialog in each language on the test desktop: re-titled, no text cut off,
// centred on the primary screen, and pictured for a person to look at (build*/test-artifacts/timing/).
#include "TempHome.h"
#include "app/AppDelegate.h"
#include "engine/EncodeManager.h"
#include "timing/AutoSplitSetsWindow.h"
#include "timing/AutoTimeSetWindow.h"
#include "timing/TimeEndWindowColler.h"

#include <QDir>
#include <QScreen>
#include <QTest>
#include <gtest/gtest.h>
#include <tuple>

TEST(TimedDialogsOnDesktop, EveryDialogInEveryLanguage) {
    TempHome home;
    AppDelegate app(std::make_unique<SettingsStore>(home.path() + "/settings.conf"), FRAMEDECK_RESOURCE_DIR);
    EncodeManager session(app.settings());
    session.setSplitTime(20);
    session.setSplitSize(10);
    app.settings().setInteger("SplitType", 2);
    app.endTimeType = TimeEndWindowColler::CustonTime;
    app.recordEndTimeDuration = 5400;
    TimeEndWindowColler duration(app);
    app.isAutoStop = true;
    app.recordEndTimeDuration = 600;
    AutoTimeSetWindow autoStop(app);
    AutoSplitSetsWindow autoSplit(app, session);
    const std::tuple<QDialog*, const char*, const char*> dialogs[] = {
        {&duration, "duration-limit-", "TM_MessageLabel_Title"},
        {&autoStop, "auto-stop-", "Title"},
        {&autoSplit, "auto-split-", "Auto_Title"}};
    const QString artifacts = QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/timing/";
    QDir().mkpath(artifacts);
    // The dialogs exist before each switch: they re-title themselves.
    for (const auto& [language, tag] : {std::pair{0, "en"}, {1, "zh-Hans"}, {2, "zh-Hant"}}) {
        app.setLange(language);
        for (const auto& [dialog, kind, title] : dialogs) {
            const QString name = kind + QString(tag);
            EXPECT_EQ(dialog->windowTitle(), L(title)) << name.toStdString();
            dialog->show();
            ASSERT_TRUE(QTest::qWaitForWindowExposed(dialog));
            for (QWidget* w : dialog->findChildren<QWidget*>())
                if (w->inherits("QLabel") || w->inherits("QAbstractButton") || w->inherits("QComboBox")) {
                    EXPECT_TRUE(w->width() >= w->sizeHint().width() && w->height() >= w->sizeHint().height())
                        << name.toStdString() << ": cut off";
                }
            const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
            EXPECT_LE((dialog->frameGeometry().center() - screen.center()).manhattanLength(), 4);
            EXPECT_TRUE(dialog->grab().save(artifacts + name + ".png"));
            dialog->reject();
        }
    }
}
