#include "common/toolkit/filechooser.h"

#include <QFileDialog>
#include <QPointer>

namespace {

// On the heap: its owner takes it along when it goes.
QStringList Ask(QFileDialog* made) {
  const QPointer<QFileDialog> dialog(made);
  QStringList chosen;
  if (dialog->exec() == QDialog::Accepted && dialog) chosen = dialog->selectedFiles();
  delete dialog;
  return chosen;
}

}  // namespace

namespace toolkit {

QStringList ChooseFiles(QWidget& owner, const QString& title, const QString& filter) {
  auto* dialog = new QFileDialog(&owner, title, {}, filter);
  dialog->setFileMode(QFileDialog::ExistingFiles);
  return Ask(dialog);
}

QString ChooseFolder(QWidget& owner, const QString& start) {
  auto* dialog = new QFileDialog(&owner, {}, start);
  dialog->setFileMode(QFileDialog::Directory);
  dialog->setOption(QFileDialog::ShowDirsOnly);
  return Ask(dialog).value(0);
}

QString ChooseFileToSave(QWidget& owner, const QString& suggested) {
  const QFileInfo wanted(suggested);
  auto* dialog = new QFileDialog(&owner, {}, wanted.path());
  dialog->setAcceptMode(QFileDialog::AcceptSave);
  dialog->selectFile(wanted.fileName());
  return Ask(dialog).value(0);
}

}  // namespace toolkit
