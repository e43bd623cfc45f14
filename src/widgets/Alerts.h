#pragma once

#include <QString>

class QWidget;

// The application's modal alert: title "Alert_Title", the given (already
// localised) message and one localised OK button. Main thread only.
void showModalAlert(QWidget* parent, const QString& message);
