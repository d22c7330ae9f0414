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
#include "transfer/gallerytransmanager.h"
#include "ui/albumthumb.h"
#include "ui/pagecontext.h"

namespace {

// Rows that are made at once. An import of a card is thousands of tasks, of which nobody
// looks at more than a screen: the others come when the list is scrolled to them.
constexpr std::size_t kRowsAtOnce = 200;
constexpr int kHeadHeight = 44, kRowHeight = 68;

const char* GroupOf(const TransferTask& task) {
  if (task.GetTaskType() == TaskType::Complete || task.Status() == TaskStatus::Completed)
    return "IDS_TRANSFERS_FINISHED";
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
                  std::to_string(static_cast<int>(tasks[i]->Status())));
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

void TransfersPage::AddRow(const TransferTask::Ptr& task) {
  auto* row = new CListContainerElementUI;
  row->SetFixedHeight(kRowHeight);
  row->SetChildPadding(12);
  row->ApplyAttributeList(QStringLiteral("inset=\"0,10,0,10\" childvalign=\"middle\""));
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
  auto* middle = new CVerticalLayoutUI;
  middle->SetChildPadding(4);
  auto* name = new CLabelUI;
  name->SetFont(QStringLiteral("strong"));
  name->SetText(Page::Wide(task->GetFileName()));
  name->SetAttribute(QStringLiteral("elide"), QStringLiteral("middle"));
  middle->Add(name);
  Row kept{task, row};
  if (task->Status() == TaskStatus::Running) {
    middle->Add(kept.bar = new CProgressUI);
    kept.bar->setRange(0, 1000);
    kept.bar->SetFixedHeight(4);
  } else {
    auto* size = new CLabelUI;
    size->ApplyAttributeList(QStringLiteral("font=\"small\" textcolor=\"text-2\""));
    size->SetText(Page::SizeText(task->GetTotalSize()));
    middle->Add(size);
  }
  row->Add(middle);
  kept.mark = new CLabelUI;
  kept.mark->SetFixedWidth(18);
  row->Add(kept.mark);
  kept.state = new CLabelUI;
  kept.state->SetFixedWidth(242);
  kept.state->SetFont(QStringLiteral("small"));
  row->Add(kept.state);
  const auto button = [&](const char* icon, const char* action, const char* tip) {
    auto* made = new CButtonUI;
    made->SetName(QString::fromLatin1(action));
    made->ApplyAttributeList(QStringLiteral("style=\"icon\" width=\"32\" height=\"32\" iconsize=\"18\""));
    made->SetIcon(QString::fromLatin1(icon));
    made->SetToolTip(QString::fromLatin1(tip));
    made->SetUserData(QString::fromStdString(task->GetTransferId()));
    row->Add(made);
  };
  const bool ended = RankOf(GroupOf(*task)) == 3;
  if (ended) {
    button("folder", "row_folder", "IDS_GALLERY_SHOW_FOLDER");
  } else {
    if (task->Status() == TaskStatus::Failed) button("retry", "row_resume", "IDS_TRANSFERS_RETRY");
    if (task->Status() == TaskStatus::Running || task->Status() == TaskStatus::Waiting)
      button("pause", "row_pause", "IDS_TRANSFERS_PAUSE");
    if (task->Status() == TaskStatus::PausedByUser || task->Status() == TaskStatus::PausedBySystem)
      button("play", "row_resume", "IDS_TRANSFERS_RESUME");
    button("close", "row_cancel", "IDS_GALLERT_BTN_CANCEL");
  }
  list->Add(row);
  rows.push_back(kept);
}

QString TransfersPage::StateText(const TransferTask& task) const {
  const qint64 total = task.GetTotalSize(), done = task.Transferred();
  switch (task.Status()) {
    case TaskStatus::Running: {
      QString text = Page::SizeText(done) + QStringLiteral(" / ") + Page::SizeText(total);
      if (task.Speed() > 0) {
        text += QStringLiteral(", ") + Page::SizeText(task.Speed()) + QStringLiteral("/s");
        const qint64 seconds = (total - done) / task.Speed() + 1;
        text += QStringLiteral(", ") +
                CResourceManager::GetPluralText(QStringLiteral("IDS_TRANSFERS_SECONDS_LEFT"), seconds);
      }
      return text;
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
      return CResourceManager::GetText(QStringLiteral("IDS_TRANSFERS_PAUSED"));
    case TaskStatus::Waiting:
      return CResourceManager::GetText(QStringLiteral("IDS_TRANSFERS_WAITING"));
    default: {
      const auto* ended = dynamic_cast<const CompleteTask*>(&task);
      return ended && ended->EndTime > 0 ? CResourceManager::FormatDateTime(ended->EndTime)
                                         : CResourceManager::GetText(QStringLiteral("IDS_TRANSFERS_DONE"));
    }
  }
}

void TransfersPage::Update(Row& row) {
  row.state->SetText(StateText(*row.task));
  const bool failed = row.task->Status() == TaskStatus::Failed;
  const bool ended = RankOf(GroupOf(*row.task)) == 3;
  row.mark->SetIcon(failed  ? QStringLiteral("error")
                    : ended ? QStringLiteral("check")
                            : QString(),
                    16, failed ? QStringLiteral("danger-text") : QStringLiteral("text-2"));
  row.state->SetTextColor(failed ? QStringLiteral("danger-text") : QStringLiteral("text-2"));
  const qint64 total = row.task->GetTotalSize();
  if (row.bar && total > 0) row.bar->SetValue(static_cast<int>(row.task->Transferred() * 1000 / total));
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
