// Another program from which files are dragged. Says on standard output what happens:
// "ready", "taken" once what lies under the pointer would take them, "done ACTION".
//
//   dragsource FILE...

#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>
#include <QWidget>
#include <QWindow>
#include <cstdio>

namespace {

void Say(const char* words) {
  std::puts(words);
  std::fflush(stdout);
}

class Source : public QWidget {
 public:
  explicit Source(QList<QUrl> dragged) : files(std::move(dragged)) { setGeometry(1200, 100, 200, 200); }

 protected:
  void mouseMoveEvent(QMouseEvent* event) override {
    if (!(event->buttons() & Qt::LeftButton)) return;
    auto* drag = new QDrag(this);
    auto* data = new QMimeData;
    data->setUrls(files);
    drag->setMimeData(data);
    connect(drag, &QDrag::actionChanged, this, [](Qt::DropAction action) {
      if (action == Qt::CopyAction) Say("taken");
    });
    Say(drag->exec(Qt::CopyAction) == Qt::CopyAction ? "done copy" : "done nothing");
  }

 private:
  const QList<QUrl> files;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QList<QUrl> files;
  for (const QString& file : QApplication::arguments().mid(1)) files << QUrl::fromLocalFile(file);
  Source source(files);
  source.show();
  while (!source.windowHandle() || !source.windowHandle()->isExposed())
    QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  Say("ready");
  return QApplication::exec();
}
