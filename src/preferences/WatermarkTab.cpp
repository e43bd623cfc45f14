#include "preferences/WatermarkTab.h"

#include "app/AppDelegate.h"
#include "app/SettingsSchema.h"
#include "core/EMLog.h"
#include "overlays/UnicodeDateFormat.h"
#include "preferences/PreWatermarkWindowController.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QFileDialog>
#include <QFontDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>
#include <cmath>
#include <ctime>

namespace S = SettingsKeys;

namespace {

constexpr unsigned kTextKind = 0;
constexpr unsigned kPictureKind = 1;
constexpr unsigned kNoWatermark = 2;

// The picture chooser takes these and nothing else.
const QString kPictureFilter = "(*.png *.jpeg *.JPEG *.PNG *.jpg)";

QImage readPicture(const QString& path) {
    QImageReader reader(path);
    const QImage image = reader.read();
    if (image.isNull()) {
        EMLog::showMessage("%s %d watermark picture %s unreadable: %s", __func__, __LINE__, qPrintable(path),
                           qPrintable(reader.errorString()));
        return {};
    }
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QString currentTimeText(const QString& pattern) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return formatUnicodeDate(pattern, local, weekRulesForLocale(QLocale::system()));
}

} // namespace

WatermarkTab::WatermarkTab(AppDelegate& app, WatermarkState& watermark, QWidget* parent)
    : PreferencesTab(parent), app_(app), watermark_(watermark), kinds_(new QButtonGroup(this)),
      none_(new QRadioButton(this)), text_(new QRadioButton(this)), picture_(new QRadioButton(this)),
      customText_(new QRadioButton(this)), timeText_(new QRadioButton(this)), textField_(new QLineEdit(this)),
      formatLabel_(new QLabel(this)), timeFormat_(new QComboBox(this)), fontLabel_(new QLabel(this)),
      fontButton_(new QPushButton(this)), colorLabel_(new QLabel(this)), colorButton_(new QPushButton(this)),
      opacityLabel_(new QLabel(this)), opacity_(new QSlider(Qt::Horizontal, this)),
      opacityValue_(new QLabel(this)), shadow_(new QCheckBox(this)), pictureButton_(new QPushButton(this)),
      picturePath_(new QLabel(this)), previewButton_(new QPushButton(this)) {
    choosers_.font = [](const QFont& current, QWidget* parent) -> std::optional<QFont> {
        bool ok = false;
        const QFont font = QFontDialog::getFont(&ok, current, parent);
        return ok ? std::optional(font) : std::nullopt;
    };
    choosers_.color = [](const QColor& current, QWidget* parent) -> std::optional<QColor> {
        const QColor color =
            QColorDialog::getColor(current, parent, QString(), QColorDialog::ShowAlphaChannel);
        return color.isValid() ? std::optional(color) : std::nullopt;
    };
    choosers_.picture = [](QWidget* parent) {
        return QFileDialog::getOpenFileName(parent, QString(), QString(), kPictureFilter);
    };

    auto* column = new QVBoxLayout(this);
    auto* kindRow = new QHBoxLayout;
    for (auto [button, type] :
         {std::pair{none_, kNoWatermark}, {text_, kTextKind}, {picture_, kPictureKind}}) {
        kinds_->addButton(button, int(type));
        kindRow->addWidget(button);
    }
    kindRow->addStretch(1);
    column->addLayout(kindRow);

    auto* textGroup = new QButtonGroup(this);
    textGroup->addButton(customText_);
    textGroup->addButton(timeText_);
    auto* grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    grid->addWidget(customText_, 0, 0);
    grid->addWidget(textField_, 0, 1, 1, 2);
    grid->addWidget(timeText_, 1, 0);
    auto* formatRow = new QHBoxLayout;
    formatRow->addWidget(formatLabel_);
    formatRow->addWidget(timeFormat_, 1);
    grid->addLayout(formatRow, 1, 1, 1, 2);
    grid->addWidget(fontLabel_, 2, 0);
    grid->addWidget(fontButton_, 2, 1, Qt::AlignLeft);
    grid->addWidget(colorLabel_, 3, 0);
    grid->addWidget(colorButton_, 3, 1, Qt::AlignLeft);
    grid->addWidget(opacityLabel_, 4, 0);
    auto* opacityRow = new QHBoxLayout;
    opacityRow->addWidget(opacity_, 1);
    opacityRow->addWidget(opacityValue_);
    grid->addLayout(opacityRow, 4, 1, 1, 2);
    grid->addWidget(shadow_, 5, 1);
    grid->addWidget(pictureButton_, 6, 0);
    grid->addWidget(picturePath_, 6, 1, 1, 2);
    column->addLayout(grid);
    column->addStretch(1);
    auto* previewRow = new QHBoxLayout;
    previewRow->addStretch(1);
    previewRow->addWidget(previewButton_);
    column->addLayout(previewRow);

    opacity_->setRange(0, 100);
    opacityValue_->setMinimumWidth(QFontMetrics(opacityValue_->font()).horizontalAdvance("100%") + 4);
    colorButton_->setFixedWidth(60);
    picturePath_->setWordWrap(true);

    connect(kinds_, &QButtonGroup::idClicked, this, [this](int type) { setWatermarkType(unsigned(type)); });
    connect(timeText_, &QRadioButton::toggled, this, [this](bool on) {
        watermark_.setTimeTextWatermark(on);
        refreshEnabled();
    });
    connect(timeFormat_, &QComboBox::activated, this, [this](int index) {
        // Live only: the stored index is the one the first run wrote.
        app_.timeFramStyleIndex = index;
        edit([index](WatermarkModel& m) { m.timeFramStyleIndex = index; });
    });
    connect(opacity_, &QSlider::valueChanged, this, [this](int percent) {
        const float alpha = float(percent) / 100.0f;
        app_.watermarkAlpha = alpha;
        app_.settings().setDouble(S::WatermarkAlpha, double(alpha));
        edit([alpha](WatermarkModel& m) { m.watermarkAlpha = alpha; });
        showOpacity(alpha);
    });
    connect(shadow_, &QCheckBox::toggled, this, [this](bool on) {
        // Kept for the next look at this window; nothing draws a shadow.
        app_.isWatermarkShadow = on;
        edit([on](WatermarkModel& m) { m.isWatermarkShadow = on; });
    });
    connect(fontButton_, &QPushButton::clicked, this, &WatermarkTab::chooseFont);
    connect(colorButton_, &QPushButton::clicked, this, &WatermarkTab::chooseColor);
    connect(pictureButton_, &QPushButton::clicked, this, &WatermarkTab::choosePicture);
    connect(previewButton_, &QPushButton::clicked, this, &WatermarkTab::showPreview);
    // Enter or leaving the field shows the new text in recordings at once.
    connect(textField_, &QLineEdit::editingFinished, this, [this] { prepareWatermarkImage(); });
}

QRadioButton* WatermarkTab::kindButton(unsigned watermarkType) const {
    return qobject_cast<QRadioButton*>(kinds_->button(int(watermarkType)));
}

void WatermarkTab::edit(const std::function<void(WatermarkModel&)>& change) {
    WatermarkModel model = watermark_.snapshot().model;
    change(model);
    watermark_.setModel(std::move(model));
}

void WatermarkTab::setWatermarkType(unsigned type) {
    app_.watermarkType = type;
    app_.settings().setInteger(S::WatermarkType, type);
    // The picture kind shows the chosen file again, not the text rendered
    // while the text kind was on.
    QImage picture;
    if (type == kPictureKind && app_.settings().hasKey(S::WatermarkImagePath))
        picture = readPicture(QString::fromStdString(app_.settings().stringForKey(S::WatermarkImagePath)));
    edit([type, &picture](WatermarkModel& m) {
        m.watermarkType = type;
        if (type == kPictureKind)
            m.watermarkImage = picture;
        else if (type == kTextKind)
            m.watermarkImage = m.saveImageWithText(m.watermarkTextString);
    });
    refreshEnabled();
}

void WatermarkTab::chooseFont() {
    const std::optional<QFont> font = choosers_.font(watermark_.snapshot().model.textWatermarkFont, this);
    if (!font)
        return;
    app_.watermarkFontName = font->family();
    app_.watermarkFontSize = int(font->pointSizeF());
    app_.settings().setDouble(S::WatermarkPointSize, font->pointSizeF());
    app_.settings().setString(S::WatermarkFontName, font->family().toStdString());
    edit([&font](WatermarkModel& m) { m.textWatermarkFont = *font; });
    showFont(*font);
}

void WatermarkTab::chooseColor() {
    const std::optional<QColor> color = choosers_.color(watermark_.snapshot().model.textWatermarkColor, this);
    if (!color)
        return;
    app_.textWatermarkColor = {color->redF(), color->greenF(), color->blueF(), color->alphaF()};
    app_.settings().setColorTriple(S::WatermarkColor, {color->redF(), color->greenF(), color->blueF()});
    edit([&color](WatermarkModel& m) { m.textWatermarkColor = *color; });
    showColor(*color);
}

void WatermarkTab::choosePicture() {
    const QString path = choosers_.picture(this);
    if (path.isEmpty())
        return;
    const QImage picture = readPicture(path);
    app_.settings().setString(S::WatermarkImagePath, path.toStdString());
    edit([&picture](WatermarkModel& m) { m.watermarkImage = picture; });
    picturePath_->setText(QDir::toNativeSeparators(path));
}

QImage WatermarkTab::prepareWatermarkImage() {
    WatermarkModel model = watermark_.snapshot().model;
    if (model.isTimeTextWatermark) {
        // Frames render the time themselves; the kept picture stays what the
        // text or picture kind shows once the time is switched off again.
        return model.saveImageWithText(currentTimeText(model.timeFramStyle()));
    }
    if (model.watermarkType == kTextKind) {
        model.watermarkTextString = textField_->text();
        app_.watermarkTextString = model.watermarkTextString;
        model.watermarkImage = model.saveImageWithText(model.watermarkTextString);
    }
    const QImage picture = model.watermarkImage;
    watermark_.setModel(std::move(model));
    return picture;
}

void WatermarkTab::showPreview() {
    const QImage picture = prepareWatermarkImage();
    PreWatermarkWindowController preview(picture, app_.settings(), window());
    emit previewOpened(&preview);
    if (preview.exec() == QDialog::Accepted)
        watermark_.setPlacement(readWatermarkPlacement(app_.settings()));
}

void WatermarkTab::reload() {
    const WatermarkModel m = watermark_.snapshot().model;
    if (QAbstractButton* kind = kinds_->button(int(m.watermarkType)))
        kind->setChecked(true);
    {
        const QSignalBlocker quiet(timeText_);
        (m.isTimeTextWatermark ? timeText_ : customText_)->setChecked(true);
    }
    if (!textField_->hasFocus())
        textField_->setText(m.watermarkTextString);
    {
        const QSignalBlocker quiet(timeFormat_);
        timeFormat_->clear();
        timeFormat_->addItems(m.timeFramStyles);
        timeFormat_->setCurrentIndex(m.timeFramStyles.indexOf(m.timeFramStyle()));
    }
    {
        const QSignalBlocker quiet(opacity_);
        opacity_->setValue(int(std::lround(m.watermarkAlpha * 100)));
    }
    {
        const QSignalBlocker quiet(shadow_);
        shadow_->setChecked(m.isWatermarkShadow);
    }
    showOpacity(m.watermarkAlpha);
    showFont(m.textWatermarkFont);
    showColor(m.textWatermarkColor);
    picturePath_->setText(QDir::toNativeSeparators(
        QString::fromStdString(app_.settings().stringForKey(S::WatermarkImagePath))));
    refreshEnabled();
}

void WatermarkTab::ChangeLoanguage() {
    none_->setText(L("Pref_Watermark_None"));
    text_->setText(L("Pref_Watermark_Text"));
    picture_->setText(L("Pref_Watermark_Image"));
    customText_->setText(L("Pref_Watermark_CustomText"));
    timeText_->setText(L("Pref_Watermark_Time"));
    formatLabel_->setText(L("Pref_Watermark_TimeFormat"));
    fontLabel_->setText(L("Pref_Watermark_Font"));
    colorLabel_->setText(L("Pref_Watermark_Color"));
    opacityLabel_->setText(L("Pref_Watermark_Opacity"));
    shadow_->setText(L("Pref_Watermark_Shadow"));
    pictureButton_->setText(L("Pref_Watermark_ChooseImage"));
    previewButton_->setText(L("Pref_Watermark_Preview"));
    // The format list follows the language (two Chinese formats more); the
    // index stays, so it may name another format now.
    edit([this](WatermarkModel& m) { m.timeFramStyles = app_.timeFramStyles; });
    reload();
}

void WatermarkTab::refreshEnabled() {
    const bool text = app_.watermarkType == kTextKind || timeText_->isChecked();
    for (QWidget* w :
         std::initializer_list<QWidget*>{customText_, timeText_, fontButton_, colorButton_, opacity_})
        w->setEnabled(text);
    textField_->setEnabled(text && !timeText_->isChecked());
    timeFormat_->setEnabled(text && timeText_->isChecked());
    pictureButton_->setEnabled(app_.watermarkType == kPictureKind);
    previewButton_->setEnabled(app_.watermarkType != kNoWatermark || timeText_->isChecked());
}

void WatermarkTab::showFont(const QFont& font) {
    fontButton_->setText(QString::asprintf("%.f", font.pointSizeF()));
    QFont shown = font;
    shown.setPointSizeF(fontButton_->parentWidget()->font().pointSizeF());
    fontButton_->setFont(shown);
    fontButton_->setToolTip(font.family());
}

void WatermarkTab::showColor(const QColor& color) {
    colorButton_->setStyleSheet(QString("background-color: %1;").arg(color.name(QColor::HexArgb)));
}

void WatermarkTab::showOpacity(float alpha) {
    opacityValue_->setText(QString::asprintf("%.f%%", double(alpha) * 100));
}
