// Recordings that end or split by themselves, armed in the real dialogs of
// the real application on the test desktop, checked in the files written.
#include "AppFixture.h"
#include "core/SplitNaming.h"
#include "integration/selection/DesktopHelpers.h"
#include "timing/AutoSplitSetsWindow.h"
#include "timing/AutoTimeSetWindow.h"
#include "widgets/FileListWindowController.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QLineEdit>
#include <QSignalSpy>
#include <type_traits>

namespace {

using Tag = AutoLengthDialog::Tag;

class Timed : public App {
protected:
    // Opens a dialog the way the user does (`how`), switches it on by
    // `criterion` with `value`, once or every time, and presses OK; `finish`
    // is the auto stop's "then" item. Its picture is kept as `picture`.
    template <class Dialog>
    void arm(const std::function<void()>& how, int criterion, const QString& value, int onceOrEvery,
             int finish = 0, const QString& picture = {}) {
        how();
        ASSERT_TRUE(QTest::qWaitFor([&] { return frameDeck->timedDialog() != nullptr; }));
        auto* d = qobject_cast<Dialog*>(frameDeck->timedDialog());
        ASSERT_NE(d, nullptr);
        if (!picture.isEmpty())
            savePicture(d, picture);
        const auto click = [d](int tag) {
            qobject_cast<QAbstractButton*>(d->control(tag))->click();
        };
        if (!qobject_cast<QCheckBox*>(d->control(Tag::EnabledBox))->isChecked())
            click(Tag::EnabledBox);
        click(criterion);
        auto* field =
            qobject_cast<QLineEdit*>(d->control(criterion == Tag::ByTime ? Tag::TimeField : Tag::SizeField));
        field->selectAll();
        QTest::keyClicks(field, value);
        click(onceOrEvery);
        if constexpr (std::is_same_v<Dialog, AutoTimeSetWindow>)
            d->finshpopBtn->setCurrentIndex(finish);
        d->okBtn->click();
        ASSERT_TRUE(QTest::qWaitFor([&] { return frameDeck->timedDialog() == nullptr; }));
    }
    // Auto stop through the start menu's "Auto Stop Settings…".
    void armAutoStop(int criterion, const QString& value, int onceOrEvery, int finish = 0) {
        arm<AutoTimeSetWindow>([this] { app->autoStopSetsAction(2); }, criterion, value, onceOrEvery, finish);
    }
    // Presses record and waits until the recording has ended by itself.
    QString recordUntilItStops() {
        EXPECT_TRUE(startRecording());
        // A guard against a recording that never stops, not a timing check.
        EXPECT_TRUE(QTest::qWaitFor([&] { return status() == 0; }, 120000)) << "it did not stop by itself";
        waitForFinishedStop();
        return app->outputPath;
    }
};

} // namespace

TEST_F(Timed, AutoStopByDurationEveryTimeStopsEachRecording) {
    chooseKind(0);
    armAutoStop(Tag::ByTime, "6", Tag::EveryTime);
    for (int round = 0; round < 2; ++round) {
        const QString path = recordUntilItStops();
        const double seconds = media(path).duration;
        EXPECT_GE(seconds, 5.5) << "round " << round;
        EXPECT_LT(seconds, 8.5) << "round " << round;
        ASSERT_NE(frameDeck->fileListWindow(), nullptr);
        EXPECT_TRUE(frameDeck->fileListWindow()->isVisible());
    }
    EXPECT_EQ(list().size(), 2);
    EXPECT_TRUE(app->settings().boolForKey("IsAutoStop")) << "every time stays armed";
}

// Once, by size, then "Quit FrameDeck": the stop quits, and both the
// criterion and the finish fall back for the next recording.
TEST_F(Timed, AutoStopBySizeOnceStopsAtAMillionBytesAndQuits) {
    QSignalSpy quit(app.get(), &AppDelegate::quitRequested);
    // Something that moves, so the file grows.
    QProcess picture;
    picture.start("ffplay", {"-v", "error", "-f", "lavfi", "-i", "testsrc2=size=1280x720:rate=30", "-an",
                             "-left", "0", "-top", "0"});
    ASSERT_TRUE(picture.waitForStarted());
    QTest::qWait(1000);
    chooseKind(0);
    armAutoStop(Tag::BySize, "1", Tag::Once, 1);
    EXPECT_EQ(app->finshpopIndex, 2);
    const QString path = recordUntilItStops();
    picture.kill();
    picture.waitForFinished();
    EXPECT_TRUE(QTest::qWaitFor([&] { return quit.count() == 1; }));
    EXPECT_EQ(app->finshpopIndex, 1) << "once: the next recording does nothing more";
    const qint64 size = QFileInfo(path).size();
    EXPECT_GE(size, 1000000) << "1 MB is 10^6 bytes";
    // The check runs once a second: at 5000 kbit/s a tick adds ~0.7 MB, and
    // the rate control, with no look-ahead, spends more at the start.
    EXPECT_LT(size, 2500000);
    EXPECT_FALSE(app->settings().boolForKey("IsAutoStop")) << "once is disarmed after the stop";
}

TEST_F(Timed, SplitByFourSecondsOnceGivesThreePlayablePartsInTheList) {
    chooseKind(0);
    arm<AutoSplitSetsWindow>([this] { frameDeck->mainWindow().toolButton(1)->click(); }, Tag::ByTime, "4",
                             Tag::Once, 0, "auto-split-dialog-en");
    EXPECT_EQ(app->settings().integerForKey("SplitType"), 1);

    const QString path = recordFor(10000);
    const QVariantList records = list();
    ASSERT_EQ(records.size(), 3) << "one record per part";
    double sum = 0;
    for (int i = 0; i < 3; ++i) {
        const QString part = records[i].toMap()["path"].toString();
        const probe::Media file = media(part);
        EXPECT_TRUE(file.stream("video")) << part.toStdString() << " does not play";
        sum += file.duration;
    }
    EXPECT_EQ(records[2].toMap()["path"], path) << "the first part is the oldest";
    EXPECT_EQ(records[0].toMap()["path"], QString::fromStdString(splitPartPath(path.toStdString(), 2)));
    // Ten seconds pressed; the parts together hold all of it.
    EXPECT_GT(sum, 9.0);
    EXPECT_LT(sum, 11.5);
    EXPECT_EQ(app->settings().integerForKey("SplitType"), 0) << "once: the next recording is not split";

    const QString next = recordFor(2000);
    EXPECT_FALSE(QFileInfo::exists(QString::fromStdString(splitPartPath(next.toStdString(), 1))));
}
