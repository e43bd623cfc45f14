// The preferences window in the real application on the test desktop: its
// tabs store what they show, a new shortcut recorded in it works from
// another program's window, and the watermark placed in its preview is
// where recordings then show it.
#include "AppFixture.h"
#include "integration/selection/DesktopHelpers.h"
#include "preferences/PreferencesWindow.h"
#include "preferences/ShortcutsTab.h"
#include "preferences/WatermarkTab.h"
#include "selection/RVClipView.h"
#include "widgets/StatusItem.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTabWidget>
#include <QTimer>

namespace {

bool isMagenta(QRgb c) {
    return qRed(c) > 170 && qGreen(c) < 100 && qBlue(c) > 170;
}

// Where the watermark's pixels are in a frame: their bounding box and how
// many lie outside `expected`.
struct Found {
    QRect box;
    int inside = 0;
    int outside = 0;
};
Found findMagenta(const QImage& frame, const QRect& expected) {
    Found f;
    for (int y = 0; y < frame.height(); ++y)
        for (int x = 0; x < frame.width(); ++x)
            if (isMagenta(frame.pixel(x, y))) {
                f.box |= QRect(x, y, 1, 1);
                (expected.contains(x, y) ? f.inside : f.outside)++;
            }
    return f;
}

// The watermark's rectangle in a frame, top-left origin.
QRect expectedRect(QSize picture, bool timeKind, const WatermarkPlacement& placement, QSize frame) {
    const WatermarkFrameRect r =
        watermarkFrameRect(QSizeF(picture), timeKind, placement, frame.width(), frame.height());
    return QRect(int(r.origin.x), int(frame.height() - r.origin.y - r.height), r.width, r.height);
}

} // namespace

class Preferences : public App {
protected:
    PreferencesWindow& open() {
        frameDeck->mainWindow().toolButton(3)->click();
        PreferencesWindow* window = frameDeck->preferencesWindow();
        EXPECT_NE(window, nullptr);
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window));
        return *window;
    }
    SettingsStore& settings() { return app->settings(); }
};

TEST_F(Preferences, EveryTabInEveryLanguageStoresWhatItShows) {
    PreferencesWindow& window = open();
    // The tray item opens the same window.
    window.close();
    frameDeck->statusItem().preferencesItem()->trigger();
    EXPECT_TRUE(window.isVisible());

    window.tabs()->setCurrentIndex(PreferencesWindow::Mouse);
    auto boxes = window.tabs()->currentWidget()->findChildren<QCheckBox*>();
    ASSERT_EQ(boxes.size(), 3);
    boxes[1]->click(); // highlight, off at first run
    EXPECT_TRUE(app->isMouseHight);
    EXPECT_TRUE(settings().boolForKey("IsMouseHighlight"));

    window.tabs()->setCurrentIndex(PreferencesWindow::ScreenRecording);
    auto combos = window.tabs()->currentWidget()->findChildren<QComboBox*>();
    ASSERT_EQ(combos.size(), 4);
    combos[0]->setCurrentIndex(1);
    emit combos[0]->activated(1); // .mp4
    EXPECT_EQ(settings().integerForKey("VideoTypeIndex"), 1);
    EXPECT_EQ(app->videoTypeBoxIndex, 1);

    window.tabs()->setCurrentIndex(PreferencesWindow::Camera);
    window.tabs()->currentWidget()->findChild<QCheckBox*>()->click();
    EXPECT_FALSE(settings().boolForKey("IsCaptrueMirrored"));

    const char* tags[] = {"en", "zh-Hans", "zh-Hant"};
    for (int language : {1, 2, 0}) {
        app->setLange(language);
        EXPECT_EQ(window.windowTitle(), L("Pref_Title"));
        EXPECT_EQ(window.tabs()->tabText(PreferencesWindow::Watermark), L("Pref_Tab_Watermark"));
        for (int tab = 0; tab < window.tabs()->count(); ++tab) {
            window.tabs()->setCurrentIndex(tab);
            settle(100);
            for (QWidget* w : window.tabs()->currentWidget()->findChildren<QWidget*>()) {
                if (!w->isVisible() || !(w->inherits("QAbstractButton") || w->inherits("QComboBox")))
                    continue;
                EXPECT_GE(w->width(), w->sizeHint().width())
                    << tags[language] << " tab " << tab << ": " << w->metaObject()->className() << " cut off";
            }
            savePicture(&window, QString("preferences-tab%1-%2").arg(tab).arg(tags[language]));
        }
    }
    // The main window shows the container chosen here.
    EXPECT_EQ(settings().integerForKey("VideoTypeIndex"), 1);
}

TEST_F(Preferences, ARecordedShortcutStartsAndStopsFromAnotherWindow) {
    PreferencesWindow& window = open();
    window.tabs()->setCurrentIndex(PreferencesWindow::Shortcuts);
    ShortcutsTab& tab = *window.shortcutsTab();
    // An X11 session listens to the keyboard itself: no notice.
    EXPECT_FALSE(tab.unavailableNotice()->isVisible());
    tab.setButton(0)->click(); // start or stop
    EXPECT_TRUE(app->isResetEventMonitor);
    EXPECT_EQ(tab.keyButton(0)->text(), L("Set_selectEventBtn"));
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));

    // A key without a modifier is not taken; and while recording, the old
    // key does nothing.
    xdotool({"key", "j"});
    xdotool({"key", "1"});
    EXPECT_EQ(settings().integerForKey("EventStartOrStop"), 18);
    EXPECT_EQ(status(), 0u);
    xdotool({"key", "ctrl+k"});
    EXPECT_EQ(settings().integerForKey("EventStartOrStop"), 40);
    EXPECT_EQ(settings().stringForKey("EventStartOrStopChar"), "^ K");
    EXPECT_EQ(tab.keyButton(0)->text(), "^ K");
    savePicture(&window, "preferences-shortcut-recorded");
    window.close();
    EXPECT_FALSE(app->isResetEventMonitor);

    chooseKind(0);
    XWindows other({"100,100,400,300,FdOther,Other,cc6633"});
    ASSERT_EQ(other.ids.size(), 1u);
    xdotool({"windowfocus", "--sync", QString::number(other.ids[0])});
    xdotool({"key", "1"});
    settle(400);
    EXPECT_EQ(status(), 0u) << "the old key still starts";
    xdotool({"key", "k"});
    waitForStatus(1);
    settle(1500);
    xdotool({"key", "k"});
    waitForStatus(0);
    waitForFinishedStop();
    EXPECT_TRUE(media(app->outputPath).stream("video"));

    // The screenshot key (4) lists a picture.
    const int before = int(list().size());
    xdotool({"key", "4"});
    ASSERT_TRUE(QTest::qWaitFor([&] { return int(list().size()) == before + 1; }, 10000));
    EXPECT_TRUE(list()[0].toMap()["path"].toString().endsWith(".png"));
}

TEST_F(Preferences, TheWatermarkPlacedInThePreviewIsWhereRecordingsShowIt) {
    PreferencesWindow& window = open();
    window.tabs()->setCurrentIndex(PreferencesWindow::Watermark);
    WatermarkTab& tab = *window.watermarkTab();
    tab.setChoosers({boldFont, magenta, [](QWidget*) {
                         return QString();
                     }});
    tab.kindButton(0)->click();
    tab.textField()->setText("FRAMEDECK");
    tab.fontButton()->click();
    tab.colorButton()->click();
    EXPECT_EQ(settings().integerForKey("Watermark_Type"), 0);
    EXPECT_EQ(settings().stringForKey("Watermark_fontName"), "DejaVu Sans");
    EXPECT_EQ(settings().doubleForKey("Watermark_pointSize"), 40);

    // In the preview: move the box up and right, then widen it by its
    // top-right corner, with the real pointer.
    QRectF placed;
    QObject::connect(&tab, &WatermarkTab::previewOpened, &tab, [&](QWidget* preview) {
        QTimer::singleShot(0, preview, [&, preview] {
            ASSERT_TRUE(QTest::qWaitForWindowExposed(preview));
            auto* clip = preview->findChild<RVClipView*>();
            ASSERT_NE(clip, nullptr);
            const auto global = [clip](const RectD& r) {
                const QRectF q = clip->toQt(r);
                return QRectF(clip->mapToGlobal(q.topLeft()), q.size());
            };
            const QRectF box = global(clip->model().contentRect);
            xdotoolDrag(box.center(), box.center() + QPointF(200, -120));
            const QRectF frame = global(clip->model().contentFrame);
            xdotoolDrag(frame.topRight() + QPointF(-2, 2), frame.topRight() + QPointF(58, 2));
            placed = clip->toQt(clip->model().contentRect);
            savePicture(preview, "preferences-watermark-preview");
            for (QPushButton* b : preview->findChildren<QPushButton*>())
                if (b->text() == L("Pre_Watermark_OK"))
                    b->click();
        });
    });
    tab.previewButton()->click();
    const QImage picture = tab.prepareWatermarkImage();
    ASSERT_FALSE(picture.isNull());
    // The box grew and kept the text's proportions.
    EXPECT_GT(placed.width(), picture.width() + 30);
    EXPECT_NEAR(placed.height() / placed.width(), double(picture.height()) / picture.width(), 0.03);
    const WatermarkPlacement placement = readWatermarkPlacement(settings());
    EXPECT_GT(placement.scale, 1.05f);
    EXPECT_GT(placement.centerX, 0.2f);
    EXPECT_GT(placement.centerY, 0.2f);
    window.close();

    chooseKind(0);
    const QString text = recordFor(2500);
    const QImage frame = frameAt(text, 1.5);
    ASSERT_FALSE(frame.isNull());
    const QRect expected = expectedRect(picture.size(), false, placement, frame.size());
    const Found found = findMagenta(frame, expected.adjusted(-3, -3, 3, 3));
    frame.copy(expected.adjusted(-40, -40, 40, 40))
        .save(QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/app/watermark-in-frame.png");
    EXPECT_GT(found.inside, 200) << "expected at " << expected.x() << "," << expected.y();
    EXPECT_LT(found.outside, found.inside / 50);
    // The text spans its picture: the pixels fill most of the stored size.
    EXPECT_GT(found.box.width(), expected.width() * 7 / 10);
    EXPECT_GT(found.box.height(), expected.height() * 4 / 10);

    // The time kind: the same place, a new text every second.
    open();
    tab.timeButton()->click();
    EXPECT_TRUE(settings().integerForKey("Watermark_Type") == 0);
    window.close();
    const QString timed = recordFor(3500);
    const QImage first = frameAt(timed, 0.6);
    const QImage later = frameAt(timed, 2.1);
    const QRect area =
        expectedRect(tab.prepareWatermarkImage().size(), true, placement, first.size()) & first.rect();
    EXPECT_GT(findMagenta(first, area.adjusted(-6, -6, 6, 6)).inside, 200);
    // A new seconds digit moves hundreds of pixels; the encoder's noise at
    // the letters' edges a few.
    int changed = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            changed += isMagenta(first.pixel(x, y)) != isMagenta(later.pixel(x, y));
    EXPECT_GT(changed, 40) << "the time did not change";
}
