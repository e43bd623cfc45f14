#include "timing/TimedDialog.h"

#include "app/AppDelegate.h"
#include "widgets/Icons.h"

#include <QGuiApplication>
#include <QLineEdit>
#include <QScreen>
#include <QShowEvent>

TimedDialog::TimedDialog(AppDelegate& app, QWidget* parent) : QDialog(parent), app_(app) {
    setModal(true);
    setWindowIcon(Icons::applicationIcon());
    connect(&LanguageNotifier::instance(), &LanguageNotifier::ChangeLanguageNotification, this,
            &TimedDialog::ChangeLoanguage);
}

TimedDialog::~TimedDialog() {
    // Destroyed while still on screen (its parent went away): no hide event
    // reaches this class any more, so give the hotkeys back here.
    if (isVisible())
        app_.setIsCanKeyEvent(true);
}

QWidget* TimedDialog::control(int tag) const {
    for (QWidget* child : findChildren<QWidget*>()) {
        const QVariant value = child->property("tag");
        if (value.isValid() && value.toInt() == tag)
            return child;
    }
    return nullptr;
}

void TimedDialog::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (event->spontaneous())
        return; // shown again after being minimised: nothing changed
    app_.setIsCanKeyEvent(false);
    // QDialog would centre on its parent; these belong to the whole desktop
    // (they also open from the tray, where there is no parent window).
    if (QScreen* screen = QGuiApplication::primaryScreen())
        move(screen->availableGeometry().center() - rect().center());
}

void TimedDialog::hideEvent(QHideEvent* event) {
    QDialog::hideEvent(event);
    if (!event->spontaneous())
        app_.setIsCanKeyEvent(true);
}

QLineEdit* makeNumberField(QWidget* parent, int digits) {
    auto* field = new QLineEdit(parent);
    field->setAlignment(Qt::AlignCenter);
    const QFontMetrics metrics(field->font());
    // Room for the digits plus one, the frame and the text margins.
    field->setFixedWidth(metrics.horizontalAdvance(QString(digits + 1, QLatin1Char('0'))) + 16);
    return field;
}
