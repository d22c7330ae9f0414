#include "transferspage.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QScrollBar>
#include <QUrl>

#include "common/toolkit/button.h"
#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/label.h"
#include "common/toolkit/progress.h"
#include "common/toolkit/resourcemanager.h"
#include "framewindow.h"
#include "host/base/drivethreadpool.h"
#include "host/requests/cloudtrouble.h"
#include "host/transfer/completetask.h"
#include "model/gallery.h"
#include "transfer/gallerytransmanager.h"
#include "ui/albumthumb.h"
#include "ui/pagecontext.h"

namespace {

// Rows that are made at once. An import of a card is thousands of tasks, of which nobody
// looks at more than a screen: the others come when the list is scrolled to them.
constexpr std::size_t kRowsAtOnce = 200;
constexpr int kHeadHeight = 44, kRowHeight = 68, kBarRowHeight = 76;
// A window narrower than this has what a transfer does below its name.
constexpr int kWideWindow = 1080;
constexpr int kNavigation = 84;
constexpr qint64 kMinute = 60;

bool HasCompleted(const TransferTask& task) {
  return task.GetTaskType() == TaskType::Complete || task.Status() == TaskStatus::Completed;
}

const char* GroupOf(const TransferTask& task) {
  if (HasCompleted(task)) return "IDS_TRANSFERS_FINISHED";
  switch (task.Status()) {
    case TaskStatus::Running:
      return "IDS_TRANSFERS_RUNNING";
    case TaskStatus::Failed:
      return "IDS_TRANSFERS_FAILED";
    default:
      return "IDS_TRANSFERS_WAITING";
  }
}

int RankOf(const char* group) {
  const std::string_view name = group;
  return name == "IDS_TRANSFERS_RUNNING"   ? 0
         : name == "IDS_TRANSFERS_WAITING" ? 1
         : name == "IDS_TRANSFERS_FAILED"  ? 2
                                           : 3;
}

GalleryTransManager& Manager() { return GalleryTransManager::GetInstance(); }

QString Text(const char* key) { return CResourceManager::GetText(QString::fromLatin1(key)); }

// A row with a line above it.
class TransferRowUI : public CListContainerElementUI {
 public:
  void PaintBkImage(QPainter& painter) override {
    CListContainerElementUI::PaintBkImage(painter);
    painter.fillRect(0, 0, width(), std::max(1, Scaled(1)), ColorOf(QStringLiteral("line")));
  }
};

bool IsPaused(const TransferTask& task) {
  return task.Status() == TaskStatus::PausedByUser || task.Status() == TaskStatus::PausedBySystem;
}

qint64 Thousandths(const TransferTask& task) {
  const qint64 total = task.GetTotalSize();
  return total > 0 ? std::clamp<qint64>(task.Transferred() * 1000 / total, 0, 1000) : 0;
}

bool HasBar(const TransferTask& task) {
  return task.Status() == TaskStatus::Running || (IsPaused(task) && task.Transferred() > 0);
}

QString PercentText(const TransferTask& task) {
  return Page::Fill(Text("IDS_TRANSFERS_PERCENT"), {CResourceManager::FormatNumber(Thousandths(task) / 10)});
}

QString RemainingText(const TransferTask& task) {
  if (task.Speed() <= 0) return {};
  const qint64 seconds = (task.GetTotalSize() - task.Transferred()) / task.Speed() + 1;
  return seconds < 2 * kMinute
             ? CResourceManager::GetPluralText(QStringLiteral("IDS_TRANSFERS_SECONDS_LEFT"), seconds)
             : CResourceManager::GetPluralText(QStringLiteral("IDS_TRANSFERS_MINUTES_LEFT"),
                                               (seconds + kMinute - 1) / kMinute);
}

// Where it goes: the album of an upload, the folder of a download.
QString TargetText(const TransferTask& task) {
  QString target = QFileInfo(QFileInfo(Page::NativeText(task.GetLocalPath())).path()).fileName();
  if (task.GetTaskType() == TaskType::Upload) {
    const auto file = Gallery::GetInstance().GetFile(task.GetTransferId());
    const auto album = file ? Gallery::GetInstance().GetAlbum(file->AlbumId()) : nullptr;
    target = album ? Page::AlbumTitle(*album) : QString();
  }
  return target.isEmpty() ? QString() : Page::Fill(Text("IDS_TRANSFERS_TO"), {target});
}

// A dot between them would be a nought among Arabic digits, so that the language joins.
QString Joined(QStringList parts) {
  parts.removeAll(QString());
  QString all = parts.value(0);
  for (qsizetype i = 1; i < parts.size(); ++i)
    all = Page::Fill(Text("IDS_TRANSFERS_JOINED"), {all, parts[i]});
  return all;
}

// The second line of a row.
QString AboutText(const TransferTask& task) {
  const bool runs = task.Status() == TaskStatus::Running;
  return Joined({TargetText(task), runs ? RemainingText(task) : Page::SizeText(task.GetTotalSize())});
}

}  // namespace

TransfersPage::TransfersPage(FrameWindow& of)
    : tasksOf([](TaskType kind) { return Manager().Tasks(kind); }), frame(of), wanted(kRowsAtOnce) {}

void TransfersPage::DoInit() {
  CVerticalLayoutUI::DoInit();
  auto* content = CDialogBuilder().Create(QStringLiteral("Desktop/TransfersPage.xml"), nullptr, this);
  if (!content) return;
  Add(content);
  list = dynamic_cast<CListUI*>(FindSubControl(QStringLiteral("transfer_list")));
}

// The list makes its bar with its first row.
void TransfersPage::FollowScroll() {
  auto* bar = list->GetVerticalScrollBar();
  if (!bar || bar == followed) return;
  followed = bar;
  connect(bar, &QScrollBar::valueChanged, this, [this, bar](int at) {
    if (at + 2 * list->height() < bar->maximum() || rows.size() < wanted) return;
    wanted = rows.size() + kRowsAtOnce;
    QMetaObject::invokeMethod(
        this, [this] { Reload(); }, Qt::QueuedConnection);
  });
}

std::vector<TransferTask::Ptr> TransfersPage::Tasks() const {
  std::vector<TransferTask::Ptr> all;
  const auto take = [this, &all](TaskType kind) {
    for (const auto& task : tasksOf(kind)) all.push_back(task);
  };
  if (filter != Filter::Downloads) take(TaskType::Upload);
  if (filter != Filter::Uploads) {
    take(TaskType::Download);
    take(TaskType::Complete);
  }
  std::stable_sort(all.begin(), all.end(), [](const TransferTask::Ptr& a, const TransferTask::Ptr& b) {
    return RankOf(GroupOf(*a)) < RankOf(GroupOf(*b));
  });
  return all;
}

void TransfersPage::Reload() {
  if (!list || !frame.Work().IsOpen()) return;
  const auto tasks = Tasks();
  if (auto* words = FindSubControl(QStringLiteral("transfers_empty"))) words->SetVisible(tasks.empty());
  list->SetVisible(!tasks.empty());
  MakeRows(tasks);
  ShowCounts(tasks);
  for (Row& row : rows)
    if (!row.widget->visibleRegion().isEmpty()) Update(row);
}

// Rows that are there already stay; others are added behind them, or all are made anew at
// the same place of the list.
void TransfersPage::MakeRows(const std::vector<TransferTask::Ptr>& tasks) {
  const std::size_t count = std::min(tasks.size(), wanted);
  std::vector<std::string> now;
  for (std::size_t i = 0; i < count; ++i)
    now.push_back(tasks[i]->GetTransferId() + GroupOf(*tasks[i]) +
                  std::to_string(static_cast<int>(tasks[i]->Status())) + (HasBar(*tasks[i]) ? "b" : ""));
  const bool grown =
      !shape.empty() && shape.size() <= now.size() && std::equal(shape.begin(), shape.end(), now.begin());
  const QSize at = list->GetScrollPos();
  if (!grown) {
    list->RemoveAll();
    rows.clear();
    heads.clear();
  }
  for (std::size_t i = rows.size(); i < count; ++i) {
    const char* group = GroupOf(*tasks[i]);
    if (heads.empty() || std::string_view(heads.back().group) != group) AddHead(group);
    AddRow(tasks[i]);
    Update(rows.back());
  }
  if (!grown) list->SetScrollPos(at);
  FollowScroll();
  shape = std::move(now);
}

void TransfersPage::ShowCounts(const std::vector<TransferTask::Ptr>& tasks) {
  for (const Head& head : heads) {
    const auto count = std::count_if(tasks.begin(), tasks.end(), [&head](const TransferTask::Ptr& task) {
      return std::string_view(GroupOf(*task)) == head.group;
    });
    head.figure->SetText(CResourceManager::FormatNumber(static_cast<qint64>(count)));
  }
}

void TransfersPage::AddHead(const char* key) {
  auto* head = new CListContainerElementUI;
  head->SetFixedHeight(kHeadHeight);
  head->ApplyAttributeList(QStringLiteral("childpadding=\"8\" childvalign=\"middle\""));
  auto* words = new CLabelUI;
  words->ApplyAttributeList(QStringLiteral("font=\"strong\" width=\"auto\""));
  words->SetText(QString::fromLatin1(key));
  head->Add(words);
  auto* figure = new CLabelUI;
  figure->ApplyAttributeList(QStringLiteral("font=\"label\" textcolor=\"text-2\""));
  head->Add(figure);
  heads.push_back({key, figure});
  const std::string_view name = key;
  const char* action = name == "IDS_TRANSFERS_RUNNING"    ? "pause_all"
                       : name == "IDS_TRANSFERS_FAILED"   ? "retry_all"
                       : name == "IDS_TRANSFERS_FINISHED" ? "clear_all"
                                                          : "resume_all";
  auto* button = new CButtonUI;
  button->SetName(QString::fromLatin1(action));
  button->SetAttribute(QStringLiteral("style"), QStringLiteral("link"));
  button->SetText(QStringLiteral("IDS_TRANSFERS_") + QString::fromLatin1(action).toUpper());
  head->Add(button);
  list->Add(head);
}

// Picture and direction; name, target and bar; what it does; what can be done.
void TransfersPage::AddRow(const TransferTask::Ptr& task) {
  auto* row = new TransferRowUI;
  row->SetFixedHeight(HasBar(*task) ? kBarRowHeight : kRowHeight);
  row->SetChildPadding(16);
  row->ApplyAttributeList(QStringLiteral("childvalign=\"middle\""));
  auto* picture = new ThumbUI(
      [task] {
        std::wstring path;
        return task->GetThumbnailPath(path) ? Page::NativeText(path) : QString();
      },
      QStringLiteral("gallery"));
  picture->SetFixedWidth(48);
  picture->SetFixedHeight(48);
  row->Add(picture);
  auto* way = new CLabelUI;
  const bool up = task->GetTaskType() == TaskType::Upload;
  way->SetIcon(up ? QStringLiteral("upload") : QStringLiteral("download"), 18, QStringLiteral("text-2"));
  way->SetFixedWidth(18);
  row->Add(way);
  Row kept{task, row};
  row->Add(MakeMiddle(kept));
  if (wide) row->Add(MakeState(kept));
  AddButtons(*row, *task);
  list->Add(row);
  rows.push_back(kept);
}

CControlUI* TransfersPage::MakeMiddle(Row& row) {
  auto* middle = new CVerticalLayoutUI;
  middle->SetChildPadding(2);
  const auto stretch = [middle] {
    auto* space = new CWidgetUI;
    space->ApplyAttributeList(QStringLiteral("stretch=\"1\""));
    middle->Add(space);
  };
  stretch();
  auto* name = new CLabelUI;
  name->ApplyAttributeList(QStringLiteral("font=\"body\" height=\"20\" elide=\"middle\""));
  name->SetText(Page::Wide(row.task->GetFileName()));
  middle->Add(name);
  if (wide) {
    row.about = new CLabelUI;
    row.about->SetName(QStringLiteral("row_about"));
    row.about->ApplyAttributeList(QStringLiteral("font=\"small\" textcolor=\"text-2\" height=\"16\""));
    middle->Add(row.about);
  } else {
    middle->Add(MakeState(row));
  }
  if (HasBar(*row.task)) {
    row.bar = new CProgressUI;
    row.bar->setRange(0, 1000);
    row.bar->ApplyAttributeList(QStringLiteral("height=\"4\" padding=\"0,6,0,0\""));
    if (IsPaused(*row.task)) row.bar->SetAttribute(QStringLiteral("forecolor"), QStringLiteral("text-2"));
    middle->Add(row.bar);
  }
  stretch();
  return middle;
}

// What the transfer does, with a mark where it has ended.
CControlUI* TransfersPage::MakeState(Row& row) {
  auto* both = new CHorizontalLayoutUI;
  both->SetChildPadding(6);
  both->ApplyAttributeList(QStringLiteral("childvalign=\"middle\""));
  if (wide) both->SetFixedWidth(272);
  const bool ended = row.task->Status() == TaskStatus::Failed || HasCompleted(*row.task);
  if (ended) {
    row.mark = new CLabelUI;
    row.mark->SetFixedWidth(16);
    both->Add(row.mark);
  }
  row.state = new CLabelUI;
  row.state->SetName(QStringLiteral("row_state"));
  row.state->SetFont(QStringLiteral("small"));
  // A reason is read whole.
  if (wide && row.task->Status() == TaskStatus::Failed) row.state->setWordWrap(true);
  both->Add(row.state);
  return both;
}

void TransfersPage::AddButtons(CContainerUI& row, const TransferTask& task) {
  auto* place = new CHorizontalLayoutUI;
  place->SetChildPadding(4);
  place->SetFixedWidth(68);
  place->ApplyAttributeList(QStringLiteral("childvalign=\"middle\""));
  const auto button = [&](const char* icon, const char* action, const char* tip) {
    auto* made = new CButtonUI;
    made->SetName(QString::fromLatin1(action));
    made->ApplyAttributeList(
        QStringLiteral("style=\"icon\" width=\"32\" height=\"32\" iconsize=\"18\" iconcolor=\"text-2\""));
    made->SetIcon(QString::fromLatin1(icon));
    made->SetToolTip(QString::fromLatin1(tip));
    made->SetUserData(QString::fromStdString(task.GetTransferId()));
    place->Add(made);
  };
  if (task.GetTaskType() == TaskType::Complete) {
    button("folder", "row_folder", "IDS_GALLERY_SHOW_FOLDER");
    button("close", "row_drop", "IDS_TRANSFERS_DROP");
  } else {
    if (task.Status() == TaskStatus::Failed) button("retry", "row_resume", "IDS_TRANSFERS_RETRY");
    if (task.Status() == TaskStatus::Running || task.Status() == TaskStatus::Waiting)
      button("pause", "row_pause", "IDS_TRANSFERS_PAUSE");
    if (IsPaused(task)) button("play", "row_resume", "IDS_TRANSFERS_RESUME");
    button("close", "row_cancel", "IDS_GALLERT_BTN_CANCEL");
  }
  row.Add(place);
}

QString TransfersPage::StateText(const TransferTask& task) const {
  if (HasCompleted(task)) {
    const auto* ended = dynamic_cast<const CompleteTask*>(&task);
    return ended && ended->EndTime > 0 ? CResourceManager::FormatDateTime(ended->EndTime)
                                       : Text("IDS_TRANSFERS_DONE");
  }
  switch (task.Status()) {
    case TaskStatus::Running: {
      const QString amount = Page::Fill(Text("IDS_TRANSFERS_AMOUNT"), {Page::SizeText(task.Transferred()),
                                                                       Page::SizeText(task.GetTotalSize())});
      return Joined({PercentText(task), amount, task.Speed() > 0 ? Page::SpeedText(task.Speed()) : QString(),
                     wide ? QString() : RemainingText(task)});
    }
    case TaskStatus::Failed: {
      const auto error = task.LastErr();
      // Content that came, and was not what was announced, could not be read.
      const bool unreadable = error.code == TransferErrorInterface::kService &&
                              error.outage != TransferErrorInterface::Outage::Yes;
      const int told = unreadable ? TransferErrorInterface::kNoUrl : error.code;
      return CResourceManager::GetText(QStringLiteral("IDS_TRANSFER_ERROR_%1").arg(told));
    }
    case TaskStatus::PausedByUser:
    case TaskStatus::PausedBySystem:
      return task.Transferred() > 0 ? Page::Fill(Text("IDS_TRANSFERS_PAUSED_AT"), {PercentText(task)})
                                    : Text("IDS_TRANSFERS_PAUSED");
    case TaskStatus::Waiting:
      return CResourceManager::GetText(QStringLiteral("IDS_TRANSFERS_WAITING"));
    default:
      return {};
  }
}

void TransfersPage::Update(Row& row) {
  const bool failed = row.task->Status() == TaskStatus::Failed;
  const QString color = failed ? QStringLiteral("danger-text") : QStringLiteral("text-2");
  if (row.about) row.about->SetText(AboutText(*row.task));
  row.state->SetText(StateText(*row.task));
  row.state->SetTextColor(color);
  if (row.mark) row.mark->SetIcon(failed ? QStringLiteral("error") : QStringLiteral("check"), 16, color);
  if (row.bar) row.bar->SetValue(static_cast<int>(Thousandths(*row.task)));
}

void TransfersPage::resizeEvent(QResizeEvent* event) {
  CVerticalLayoutUI::resizeEvent(event);
  const bool now = width() >= Scaled(kWideWindow - kNavigation);
  if (now == std::exchange(wide, now)) return;
  shape.clear();
  QMetaObject::invokeMethod(
      this, [this] { Reload(); }, Qt::QueuedConnection);
}

void TransfersPage::Act(const std::string& id, const QString& action) {
  const auto row =
      std::find_if(rows.begin(), rows.end(), [&id](const Row& of) { return of.task->GetTransferId() == id; });
  if (row == rows.end()) return;
  if (action == QStringLiteral("row_folder")) {
    const QString folder = QFileInfo(Page::NativeText(row->task->GetLocalPath())).path();
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
    return;
  }
  if (action == QStringLiteral("row_drop")) {
    (void)CommonAbility::DriveThreadPool::GetInstance().Add(
        [task = row->task] { (void)task->DeleteFromDB(); });
    return;
  }
  const TaskType kind = row->task->GetTaskType();
  (void)CommonAbility::DriveThreadPool::GetInstance().Add([id, action, kind] {
    if (action == QStringLiteral("row_pause")) Manager().Pause(kind, {id});
    if (action == QStringLiteral("row_resume")) Manager().Resume(kind, {id});
    if (action == QStringLiteral("row_cancel")) Manager().DelTasks({id});
  });
}

void TransfersPage::OnNotify(TNotifyUI& message) {
  if (message.sType != QStringLiteral("click") || !message.pSender) return;
  const QString name = message.pSender->GetName();
  if (name.startsWith(QStringLiteral("row_")))
    return Act(message.pSender->GetUserData().toString().toStdString(), name);
  const auto all = [](auto work) {
    (void)CommonAbility::DriveThreadPool::GetInstance().Add([work] {
      for (const TaskType kind : {TaskType::Upload, TaskType::Download}) work(kind);
    });
  };
  if (name == QStringLiteral("pause_all")) all([](TaskType kind) { Manager().PauseAll(kind); });
  if (name == QStringLiteral("resume_all")) all([](TaskType kind) { Manager().ResumeAll(kind); });
  if (name == QStringLiteral("retry_all")) all([](TaskType kind) { (void)Manager().RetryFailed(kind); });
  if (name == QStringLiteral("clear_all"))
    (void)CommonAbility::DriveThreadPool::GetInstance().Add([] { Manager().ClearFinished(); });
  if (name.startsWith(QStringLiteral("transfers_filter_"))) {
    filter = name.endsWith(QStringLiteral("up"))     ? Filter::Uploads
             : name.endsWith(QStringLiteral("down")) ? Filter::Downloads
                                                     : Filter::All;
    wanted = kRowsAtOnce;
    Reload();
  }
}
