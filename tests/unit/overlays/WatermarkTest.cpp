#include "overlays/Watermark.h"

#include "OverlayTestSupport.h"
#include "TempHome.h"
#include "app/IndexTables.h"
#include "app/LanguageManager.h"
#include "app/SettingsSchema.h"
#include "overlays/WatermarkRenderer.h"

namespace S = SettingsKeys;

namespace {

const auto* const kGui = ::testing::AddGlobalTestEnvironment(new QtAppEnvironment<QGuiApplication, true>);

constexpr QRgb kBlack = 0xff000000;

QImage solidPicture(int width, int height, QColor colour = Qt::red) {
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

WatermarkPlacement at(float cx, float cy, float scale = 1) {
    return {cx, cy, scale};
}

TEST(WatermarkPlacementArithmetic, ScalesCapsTruncatesAndCentres) {
    // 1920-pixel frame, scale 1: k = 1920 / 594 in single precision.
    const WatermarkFrameRect text = watermarkFrameRect({300, 60}, false, at(0.5f, 0.5f), 1920, 1080);
    EXPECT_EQ(text.width, 969);
    EXPECT_EQ(text.height, 193);
    EXPECT_EQ(text.origin, (ScreenPoint{475, 443.5})); // x truncated, y kept

    // Wider than 560: treated as 560 wide, aspect kept.
    const WatermarkFrameRect wide = watermarkFrameRect({1120, 200}, false, at(0.5f, 0.5f), 594, 400);
    EXPECT_EQ(wide.width, 560);
    EXPECT_EQ(wide.height, 100);

    // Unplaced: the time kind sits in the corner, the others centre on it.
    EXPECT_EQ(watermarkFrameRect({100, 40}, true, at(0, 0), 594, 400).origin, (ScreenPoint{0, 0}));
    EXPECT_EQ(watermarkFrameRect({100, 40}, false, at(0, 0), 594, 400).origin, (ScreenPoint{-50, -20}));
    // Only the unplaced axis moves for the time kind.
    EXPECT_EQ(watermarkFrameRect({100, 40}, true, at(0.5f, 0), 594, 400).origin, (ScreenPoint{247, 0}));

    // Scale 0 (no scale stored) draws nothing.
    EXPECT_EQ(watermarkFrameRect({300, 60}, false, at(0.5f, 0.5f, 0), 1920, 1080).width, 0);
}

WatermarkModel textModel() {
    WatermarkModel m;
    m.textWatermarkFont = QFont("DejaVu Sans");
    m.textWatermarkFont.setPointSize(20);
    m.textWatermarkColor = QColor(255, 255, 255);
    m.timeFramStyles = IndexTables::timeFramStyles(true);
    return m;
}

TEST(SaveImageWithText, TransparentPictureOfTheMeasuredTextWrappingAt1080) {
    WatermarkModel m = textModel();
    m.watermarkAlpha = 0.5f;
    const QImage line = m.saveImageWithText("FrameDeck");
    ASSERT_FALSE(line.isNull());
    EXPECT_GT(line.width(), 60);
    EXPECT_LT(line.height(), 40);
    EXPECT_EQ(qAlpha(line.pixel(0, 0)), 0);
    int strongest = 0;
    for (int y = 0; y < line.height(); ++y)
        for (int x = 0; x < line.width(); ++x)
            strongest = std::max(strongest, qAlpha(line.pixel(x, y)));
    EXPECT_NEAR(strongest, 128, 2) << "opacity applies to the text colour";

    const QImage wrapped = m.saveImageWithText(QString("FrameDeck ").repeated(30));
    EXPECT_LE(wrapped.width(), 1080);
    EXPECT_GT(wrapped.height(), 2 * line.height());
    EXPECT_TRUE(m.saveImageWithText("").isNull());
}

struct Rendering : ::testing::Test {
    WatermarkState state;
    std::time_t now = 1735635907; // 2024-12-31 09:05:07 UTC
    WatermarkRenderer renderer{state, [this] { return now; }, WeekRules{7, 1}};

    // Columns and rows (from the top) of the pixels the watermark touched.
    QRect drawnArea(int width, int height) {
        TestFrame f(width, height);
        renderer.draw(f.view());
        QRect area;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (f.at(x, y) != kBlack)
                    area |= QRect(x, y, 1, 1);
        return area;
    }
};

TEST_F(Rendering, PictureKindIsClippedAtTheFrameEdges) {
    WatermarkModel m;
    m.watermarkType = 1;
    m.watermarkImage = solidPicture(40, 20);
    state.setModel(m);
    // Centred on the bottom-left corner: a quarter shows.
    state.setPlacement(at(0, 0));
    EXPECT_EQ(drawnArea(594, 100), QRect(0, 90, 20, 10));
    // Centred on the top-right corner.
    state.setPlacement(at(1, 1));
    EXPECT_EQ(drawnArea(594, 100), QRect(574, 0, 20, 10));
    // Twice the size, in the middle (origin y 30 from the bottom).
    state.setPlacement(at(0.5f, 0.5f, 2));
    EXPECT_EQ(drawnArea(594, 100), QRect(257, 30, 80, 40));
    // Entirely outside, and the "none" kind: nothing.
    state.setPlacement(at(3, 3));
    EXPECT_TRUE(drawnArea(594, 100).isNull());
    m.watermarkType = 2;
    state.setModel(m);
    state.setPlacement(at(0.5f, 0.5f));
    EXPECT_TRUE(drawnArea(594, 100).isNull());
}

TEST_F(Rendering, TimeKindWinsFallsBackToTheFirstFormatAndFollowsTheClock) {
    setenv("TZ", "UTC", 1);
    tzset();
    WatermarkModel m = textModel();
    m.watermarkType = 2; // "none" does not hide the time
    m.isTimeTextWatermark = true;
    m.timeFramStyleIndex = 4; // past the three English formats
    state.setModel(m);
    state.setPlacement(at(0, 0, 1));

    const QRect area = drawnArea(594, 200);
    EXPECT_EQ(renderer.lastTimeText(), "2025/12/31 09/05/07");
    ASSERT_FALSE(area.isNull());
    // In the bottom-left corner.
    EXPECT_LT(area.left(), 4);
    EXPECT_GT(area.bottom(), 185);

    now += 1;
    drawnArea(594, 200);
    EXPECT_EQ(renderer.lastTimeText(), "2025/12/31 09/05/08");

    state.setTimeTextWatermark(false);
    EXPECT_TRUE(drawnArea(594, 200).isNull());
    unsetenv("TZ");
    tzset();
}

TEST(WatermarkAtLaunch, ThePictureIsLoadedWhenReadable) {
    TempHome home;
    const QString picturePath = home.path() + "/mark.png";
    ASSERT_TRUE(solidPicture(30, 10, QColor(0, 0, 255, 128)).save(picturePath));

    SettingsStore store(home.path() + "/settings.conf");
    store.setBool(S::IsFirstRun, true);
    store.setInteger(S::WatermarkType, 1);
    store.setString(S::WatermarkImagePath, picturePath.toStdString());
    store.setDouble(S::WatermarkScale, 1.5);
    store.setDouble(S::WatermarkCenterX, 0.25);
    LanguageManager language(store, FRAMEDECK_RESOURCE_DIR, [] { return QStringList{"en-US"}; });
    const AppProperties p = loadAtLaunch(store, language, {});

    const WatermarkModel m = loadWatermarkModel(p, store);
    EXPECT_EQ(m.watermarkType, 1u);
    EXPECT_FALSE(m.isTimeTextWatermark) << "the time kind is off at every launch";
    ASSERT_EQ(m.watermarkImage.size(), QSize(30, 10));
    EXPECT_EQ(m.watermarkImage.format(), QImage::Format_ARGB32_Premultiplied);

    const WatermarkPlacement placement = readWatermarkPlacement(store);
    EXPECT_FLOAT_EQ(placement.scale, 1.5f);
    EXPECT_FLOAT_EQ(placement.centerX, 0.25f);
    EXPECT_FLOAT_EQ(placement.centerY, 0);

    store.setString(S::WatermarkImagePath, (home.path() + "/missing.png").toStdString());
    EXPECT_TRUE(loadWatermarkModel(p, store).watermarkImage.isNull());
}

} // namespace
