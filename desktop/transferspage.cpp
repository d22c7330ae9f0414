#include "transferspage.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

#include "common/toolkit/button.h"
#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/label.h"
#include "common/toolkit/progress.h"
#include "common/toolkit/resourcemanager.h"
#include "framewindow.h"
#include "host/requests/cloudtrouble.h"
#include "host/base/drivethreadpool.h"
#include "transfer/gallerytransmanager.h"
#include "ui/albumthumb.h"
#include "ui/pagecontext.h"

namespace {

// Rows beyond these tell nobody anything; the group's head has the count.
constexpr std::size_t kMostRows = 200;
constexpr int kHeadHeight = 44, kRowHeight = 68;

const char* GroupOf(const TransferTask& task) {
  if (task.GetTaskType() == TaskType::Complete || task.Status() == TaskStatus::Completed) return "IDS_TRANSFERS_FINISHED";
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
  return name == "IDS_TRANSFERS_RUNNING" ? 0 : name == "IDS_TRANSFERS_WAITING" ? 1 : name == "IDS_TRANSFERS_FAILED" ? 2 : 3;
}

GalleryTransManager& Manager() { return GalleryTransManager::GetInstance(); }

}  // namespace

void TransfersPage::DoInit() {
  CVerticalLayoutUI::DoInit();
  auto* content = CDialogBuilder().Create(QStringLiteral("Desktop/TransfersPage.xml"), nullptr, this);
  if (!content) return;
  Add(content);
  list = dynamic_cast<CListUI*>(FindSubControl(QStringLiteral("transfer_list")));
}

std::vector<TransferTask::Ptr> TransfersPage::Tasks() const {
  std::vector<TransferTask::Ptr> all;
  const auto take = [&all](TaskType kind) {
    for (const auto& task : Manager().Tasks(kind)) all.push_back(task);
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
  std::string now;
  for (std::size_t i = 0; i < std::min(tasks.size(), kMostRows); ++i)
    now += tasks[i]->GetTransferId() + GroupOf(*tasks[i]) + std::to_string(static_cast<int>(tasks[i]->Status())) + ';';
  if (auto* words = FindSubControl(QStringLiteral("transfers_empty"))) words->SetVisible(tasks.empty());
  list->SetVisible(!tasks.empty());
  if (now != shape || (rows.empty() && !tasks.empty())) {
    shape = now;
    Rebuild(tasks);
  }
  for (Row& row : rows) Update(row);
}

void TransfersPage::Rebuild(const std::vector<TransferTask::Ptr>& tasks) {
  list->RemoveAll();
  rows.clear();
  const char* group = "";
  for (std::size_t i = 0; i < std::min(tasks.size(), kMostRows); ++i) {
    const char* own = GroupOf(*tasks[i]);
    if (std::string_view(own) != group)
      AddHead(group = own, std::count_if(tasks.begin(), tasks.end(), [own](const TransferTask::Ptr& task) {
                return std::string_view(GroupOf(*task)) == own;
              }));
    AddRow(tasks[i]);
  }
}

void TransfersPage::AddHead(const char* key, std::size_t count) {
  auto* head = new CListContainerElementUI;
  head->SetFixedHeight(kHeadHeight);
  head->ApplyAttributeList(QStringLiteral("childpadding=\"8\" childvalign=\"middle\""));
  auto* words = new CLabelUI;
  words->ApplyAttributeList(QStringLiteral("font=\"strong\" width=\"auto\""));
  words->SetText(QString::fromLatin1(key));
  head->Add(words);
  auto* figure = new CLabelUI;
  figure->ApplyAttributeList(QStringLiteral("font=\"label\" textcolor=\"text-2\""));
  figure->SetText(CResourceManager::FormatNumber(static_cast<qint64>(count)));
  head->Add(figure);
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
  Row kept{task};
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
  kept.state = new CLabelUI;
  kept.state->SetFixedWidth(272);
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
        text += QStringLiteral(", ") + CResourceManager::GetPluralText(QStringLiteral("IDS_TRANSFERS_SECONDS_LEFT"), seconds);
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
    default:
      return CResourceManager::GetText(QStringLiteral("IDS_TRANSFERS_DONE"));
  }
}

void TransfersPage::Update(Row& row) {
  row.state->SetText(StateText(*row.task));
  row.state->SetTextColor(row.task->Status() == TaskStatus::Failed ? QStringLiteral("danger-text") : QStringLiteral("text-2"));
  const qint64 total = row.task->GetTotalSize();
  if (row.bar && total > 0) row.bar->SetValue(static_cast<int>(row.task->Transferred() * 1000 / total));
}

void TransfersPage::Act(const std::string& id, const QString& action) {
  const auto row = std::find_if(rows.begin(), rows.end(), [&id](const Row& of) { return of.task->GetTransferId() == id; });
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
    filter = name.endsWith(QStringLiteral("up")) ? Filter::Uploads
             : name.endsWith(QStringLiteral("down")) ? Filter::Downloads
                                                     : Filter::All;
    Reload();
  }
}
