#pragma once

#include "overlays/Watermark.h"
#include "preferences/PreferencesTabs.h"

#include <functional>
#include <optional>

class QButtonGroup;
class QLineEdit;
class QRadioButton;
class QSlider;

// The watermark: none, the user's text (or the date and time), or a
// picture; the text's font, colour and opacity; and the preview that
// places it. Every control changes the live watermark at once, so a
// recording under way follows; what each control also stores is what the
// next launch reads back.
//
// The text kind's picture is rendered from the text field when the window
// closes or the preview opens, not on each key typed. Main thread only.
class WatermarkTab : public PreferencesTab {
    Q_OBJECT
public:
    WatermarkTab(AppDelegate& app, WatermarkState& watermark, QWidget* parent = nullptr);

    void reload() override;
    void ChangeLoanguage() override;

    // Brings the watermark's picture up to date with the controls (the text
    // kind: the field's text) and returns what a frame would show now (the
    // time kind: the current time in the chosen format).
    QImage prepareWatermarkImage();

    // Runs the placement preview over the current picture (modal).
    void showPreview();

    // Where the choosers ask; tests answer them without a dialog.
    struct Choosers {
        std::function<std::optional<QFont>(const QFont& current, QWidget* parent)> font;
        std::function<std::optional<QColor>(const QColor& current, QWidget* parent)> color;
        std::function<QString(QWidget* parent)> picture;
    };
    void setChoosers(Choosers choosers) { choosers_ = std::move(choosers); }

    QRadioButton* kindButton(unsigned watermarkType) const;
    QRadioButton* customTextButton() const { return customText_; }
    QRadioButton* timeButton() const { return timeText_; }
    QLineEdit* textField() const { return textField_; }
    class QComboBox* timeFormatBox() const {
        return timeFormat_;
    }
    class QPushButton* fontButton() const {
        return fontButton_;
    }
    class QPushButton* colorButton() const {
        return colorButton_;
    }
    QSlider* opacitySlider() const { return opacity_; }
    class QLabel* opacityLabel() const {
        return opacityValue_;
    }
    class QCheckBox* shadowBox() const {
        return shadow_;
    }
    class QPushButton* pictureButton() const {
        return pictureButton_;
    }
    class QPushButton* previewButton() const {
        return previewButton_;
    }

signals:
    // The placement preview is about to run (tests drive it from here).
    void previewOpened(QWidget* preview);

private:
    void edit(const std::function<void(WatermarkModel&)>& change);
    void setWatermarkType(unsigned type);
    void chooseFont();
    void chooseColor();
    void choosePicture();
    void refreshEnabled();
    void showFont(const QFont& font);
    void showColor(const QColor& color);
    void showOpacity(float alpha);

    AppDelegate& app_;
    WatermarkState& watermark_;
    Choosers choosers_;
    QButtonGroup* kinds_;
    QRadioButton* none_;
    QRadioButton* text_;
    QRadioButton* picture_;
    QRadioButton* customText_;
    QRadioButton* timeText_;
    QLineEdit* textField_;
    class QLabel* formatLabel_;
    class QComboBox* timeFormat_;
    class QLabel* fontLabel_;
    class QPushButton* fontButton_;
    class QLabel* colorLabel_;
    class QPushButton* colorButton_;
    class QLabel* opacityLabel_;
    QSlider* opacity_;
    class QLabel* opacityValue_;
    class QCheckBox* shadow_;
    class QPushButton* pictureButton_;
    class QLabel* picturePath_;
    class QPushButton* previewButton_;
};
