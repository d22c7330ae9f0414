#pragma once

#include <QStringList>

class QWidget;

// The desktop's questions for files and folders. Each is over `owner`, and is answered
// with nothing when that goes meanwhile: what a caller has of the owner's is gone then.
namespace toolkit {

QStringList ChooseFiles(QWidget& owner, const QString& title, const QString& filter);
QString ChooseFolder(QWidget& owner, const QString& start = {});
QString ChooseFileToSave(QWidget& owner, const QString& suggested);

}  // namespace toolkit
