#include "widgets/Alerts.h"

#include "app/LanguageManager.h"

#include <QMessageBox>
#include <QPushButton>

namespace {
std::function<void(QWidget*, const QString&)>& presenter() {
    static std::function<void(QWidget*, const QString&)> p;
    return p;
}
} // namespace

void setAlertPresenter(std::function<void(QWidget* parent, const QString& message)> p) {
    presenter() = std::move(p);
}

void showModalAlert(QWidget* parent, const QString& message) {
    if (presenter()) {
        presenter()(parent, message);
        return;
    }
    QMessageBox box(parent);
    box.setIcon(QMessageBox::Information);
    box.setWindowTitle(L("Alert_Title"));
    box.setText(message);
    QPushButton* ok = box.addButton(L("Alert_OK"), QMessageBox::AcceptRole);
    box.setDefaultButton(ok);
    box.exec();
}

void showNotice(QWidget* parent, const QString& message) {
    if (presenter()) {
        presenter()(parent, message);
        return;
    }
    auto* box = new QMessageBox(parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Information);
    box->setWindowTitle(L("Alert_Title"));
    box->setText(message);
    box->addButton(L("Alert_OK"), QMessageBox::AcceptRole);
    box->setModal(false);
    box->show();
}
