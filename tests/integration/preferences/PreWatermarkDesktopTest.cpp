// The watermark placement preview on the test desktop, driven with the mouse:
// the box keeps the picture's aspect, OK stores where the box is, Cancel
// stores nothing, and each language is pictured for a person to look at
// (build*/test-artifacts/preferences/).
#include "TempHome.h"
#include "app/AppDelegate.h"
#include "app/SettingsSchema.h"
#include "preferences/BGImage.h"
#include "preferences/PreWatermarkWindowController.h"
#include "preferences/WatermarkPreview.h"
#include "selection/RVClipView.h"

#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

namespace S = SettingsKeys;

namespace {

// The Qt position of a point in the overlay's view coordinates (y up).
QPoint at(const RVClipView* view, double x, double y) {
    return QPointF(x, view->height() - y).toPoint();
}

// Press, move in 2-point steps as a hand does, release.
void drag(RVClipView* view, QPoint from, QPoint to) {
    QTest::mousePress(view, Qt::LeftButton, {}, from);
    const int steps = std::max(1, (to - from).manhattanLength() / 2);
    for (int i = 1; i <= steps; ++i)
        QTest::mouseMove(view, from + (to - from) * i / steps);
    QTest::mouseRelease(view, Qt::LeftButton, {}, to);
}

// Pixels inside `area` of the shown picture that are not the sample picture's.
int changedPixels(const QImage& shot, const QRect& area) {
    const QImage sample = makeBGImage();
    int changed = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            changed += shot.pixel(x, y) != sample.pixel(x, y);
    return changed;
}

class PreWatermarkOnDesktop : public ::testing::Test {
protected:
    QImage textPicture() const {
        WatermarkModel model;
        model.textWatermarkFont.setPointSize(36);
        model.textWatermarkColor = QColor(255, 214, 0);
        return model.saveImageWithText("FrameDeck");
    }
    bool storedAnything() const {
        return store.hasKey(S::WatermarkCenterX) || store.hasKey(S::WatermarkCenterY) ||
               store.hasKey(S::WatermarkScale);
    }

    TempHome home;
    AppDelegate app{std::make_unique<SettingsStore>(home.path() + "/settings.conf"), FRAMEDECK_RESOURCE_DIR};
    MemoryKeyValueStore store;
    QImage picture = textPicture();
};

} // namespace

TEST_F(PreWatermarkOnDesktop, DraggedBoxKeepsItsAspectAndOkStoresIt) {
    QWidget preferences;
    preferences.setGeometry(300, 200, 900, 640);
    preferences.show();
    PreWatermarkWindowController preview(picture, store, &preferences);
    RVClipView* view = preview.clipView();
    const ClipModel& m = view->model();
    const double ratio = double(picture.width()) / picture.height();
    RectD box;
    QTimer::singleShot(0, &preview, [&] {
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&preview));
        EXPECT_LE((preview.frameGeometry().center() - preferences.frameGeometry().center()).manhattanLength(),
                  4);
        const RectD start = m.contentRect;
        EXPECT_EQ(start, initialPreviewBox(QSizeF(picture.size())));
        // The sample picture shows through the overlay; the watermark is drawn in the box.
        const QImage shot = preview.imageView()->grab().toImage();
        const QRect inBox = view->toQt(start).toRect();
        EXPECT_GT(changedPixels(shot, inBox), inBox.width() * inBox.height() / 20);
        EXPECT_EQ(changedPixels(shot, QRect(300, 20, 200, 100)), 0);

        drag(view, at(view, start.midX(), start.midY()), at(view, start.midX() + 200, start.midY() + 120));
        EXPECT_EQ(m.contentRect, start.offsetBy(200, 120)) << "the first drag moves the box";
        const RectD before = m.contentRect;
        drag(view, at(view, m.contentFrame.maxX(), m.contentFrame.maxY()),
             at(view, m.contentFrame.maxX() + 40, m.contentFrame.maxY() + 25));
        EXPECT_NEAR(m.contentRect.width, before.width + 40, 1e-9) << "a corner sets the width";
        EXPECT_NEAR(m.contentRect.width / m.contentRect.height, ratio, 1e-9) << "the height follows";
        // The other handles and the minimum size are the selection model's unit tests'.
        box = m.contentRect;
        QTest::mouseClick(preview.okButton(), Qt::LeftButton);
    });
    ASSERT_EQ(preview.exec(), QDialog::Accepted);

    EXPECT_FLOAT_EQ(float(store.doubleForKey(S::WatermarkCenterX)), float(box.midX() / kBGImageWidth));
    EXPECT_FLOAT_EQ(float(store.doubleForKey(S::WatermarkCenterY)), float(box.midY() / kBGImageHeight));
    EXPECT_FLOAT_EQ(float(store.doubleForKey(S::WatermarkScale)), float(box.width / picture.width()));
}

// In each language the window is re-titled (it exists before each switch),
// its buttons are not cut off, and it is pictured; left by Cancel or by
// closing it, after a drag, it stores nothing.
TEST_F(PreWatermarkOnDesktop, EveryLanguageRetitledAndPicturedAndLeavingStoresNothing) {
    PreWatermarkWindowController preview(picture, store, nullptr);
    const QString artifacts = QString(FRAMEDECK_BINARY_DIR) + "/test-artifacts/preferences/";
    QDir().mkpath(artifacts);
    for (const auto& [language, tag] : {std::pair{0, "en"}, {1, "zh-Hans"}, {2, "zh-Hant"}}) {
        app.setLange(language);
        EXPECT_EQ(preview.windowTitle(), L("Pre_Watermark_Title")) << tag;
        EXPECT_EQ(preview.okButton()->text(), L("Pre_Watermark_OK")) << tag;
        preview.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&preview));
        for (QPushButton* button : {preview.okButton(), preview.cancelButton()})
            EXPECT_GE(button->width(), button->sizeHint().width()) << tag << ": cut off";
        EXPECT_TRUE(preview.grab().save(artifacts + "preview-" + tag + ".png"));

        RVClipView* view = preview.clipView();
        // A plain click on the picture (a window pick elsewhere) changes nothing.
        const RectD start = view->model().contentRect;
        QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(450, 60));
        EXPECT_EQ(view->model().contentRect, start);
        drag(view, at(view, start.midX(), start.midY()), at(view, start.midX() + 100, start.midY() + 100));
        if (language == 1)
            preview.close();
        else
            QTest::mouseClick(preview.cancelButton(), Qt::LeftButton);
        EXPECT_EQ(preview.result(), QDialog::Rejected) << tag;
        EXPECT_FALSE(storedAnything()) << tag;
    }
}
