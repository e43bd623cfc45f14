#pragma once

#include <QString>
#include <functional>

class QWidget;

// The application's modal alert: title "Alert_Title", the given (already
// localised) message and one localised OK button. Main thread only.
void showModalAlert(QWidget* parent, const QString& message);

// The same message in a box that does not block: for what the user should
// know while a recording goes on. Main thread only.
void showNotice(QWidget* parent, const QString& message);

// Replaces how alerts are shown (tests record them instead of blocking on a
// modal box); it receives notices too. An empty function restores the modal box.
void setAlertPresenter(std::function<void(QWidget* parent, const QString& message)> presenter);
