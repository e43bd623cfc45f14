#include "widgets/Alerts.h"

#include "app/LanguageManager.h"

#include <QMessageBox>
#include <QPushButton>

void showModalAlert(QWidget* parent, const QString& message) {
    QMessageBox box(parent);
    box.setIcon(QMessageBox::Information);
    box.setWindowTitle(L("Alert_Title"));
    box.setText(message);
    QPushButton* ok = box.addButton(L("Alert_OK"), QMessageBox::AcceptRole);
    box.setDefaultButton(ok);
    box.exec();
}
