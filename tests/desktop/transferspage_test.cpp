// The list of transfers: what each row says and does.

#include <gtest/gtest.h>

#include "common/toolkit/label.h"
#include "common/toolkit/list.h"
#include "common/toolkit/progress.h"
#include "common/toolkit/resourcemanager.h"
#include "frametest.h"
#include "host/transfer/completetask.h"
#include "model/gallery.h"
#include "tests/support/faketask.h"
#include "transfer/gallerytransmanager.h"
#include "transferspage.h"

namespace {

constexpr std::int64_t kMegabyte = 1 << 20;

QString Words(const QString& key) { return CResourceManager::GetText(key); }

// A transfer that is in the state that a test gives it.
class ShownTask : public TransferTask {
 public:
  ShownTask(TaskType kind, std::string taskId, TaskStatus status, std::int64_t done, std::int64_t speed)
      : TransferTask(kind), id(std::move(taskId)) {
    (void)SetStatus(status, 0);
    SetTransferred(done);
    SetSpeed(speed);
  }
  std::int64_t GetTotalSize() const override { return 4 * kMegabyte; }
  std::wstring GetFileName() const override { return L"harbour.jpg"; }
  std::wstring GetLocalPath() const override { return L"/home/anna/Evenings/harbour.jpg"; }
  std::string GetTransferId() const override { return id; }
  void Break(ErrCode code) {
    AddErr(code, kError, "test", __LINE__, "");
    (void)SetStatus(TaskStatus::Failed, code);
  }

 private:
  const std::string id;
};

class TransfersPageTest : public FrameTest {
 protected:
  void OpenPage() {
    ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
    page = Child<TransfersPage>();
    ASSERT_NE(page, nullptr);
    frame->ShowPage(FrameWindow::Transfers);
  }
  void ShowTasks(std::vector<TransferTask::Ptr> given) {
    tasks = std::move(given);
    page->tasksOf = [this](TaskType kind) {
      std::vector<TransferTask::Ptr> of;
      for (const auto& task : tasks)
        if (task->GetTaskType() == kind) of.push_back(task);
      return of;
    };
    Reload();
  }
  void Reload() {
    page->Reload();
    QApplication::processEvents();  // Rows get their places.
    page->Reload();
  }
  template <class Control>
  std::vector<Control*> All(const char* name) const {
    std::vector<Control*> found;
    for (auto* widget : page->findChildren<QWidget*>()) {
      auto* control = dynamic_cast<Control*>(widget);
      if (control && control->GetName() == QLatin1String(name)) found.push_back(control);
    }
    return found;
  }
  QStringList Said(const char* name) const {
    QStringList said;
    for (const auto* label : All<CLabelUI>(name)) said << label->GetText();
    return said;
  }
  void ClickOnly(const char* name) {
    const auto buttons = All<CButtonUI>(name);
    ASSERT_EQ(buttons.size(), 1u) << name;
    buttons[0]->click();
  }

  TransfersPage* page = nullptr;
  std::vector<TransferTask::Ptr> tasks;
};

TEST_F(TransfersPageTest, RowSaysProgressSpeedTargetAndTheTimeThatIsLeft) {
  ASSERT_NO_FATAL_FAILURE(OpenPage());
  ShowTasks(
      {std::make_shared<ShownTask>(TaskType::Download, "a", TaskStatus::Running, kMegabyte, kMegabyte / 2)});
  EXPECT_EQ(Said("row_state"), QStringList{QStringLiteral("25 % · 1.0 MB of 4.0 MB · 512.0 kB/s")});
  EXPECT_EQ(Said("row_about"), QStringList{QStringLiteral("To Evenings · 7 seconds left")});
  auto* bar = page->findChild<QProgressBar*>();
  ASSERT_NE(bar, nullptr);
  EXPECT_EQ(bar->value(), 250);
  tasks[0]->SetTransferred(2 * kMegabyte);
  tasks[0]->SetSpeed(4096);
  Reload();
  EXPECT_EQ(bar->value(), 500);
  EXPECT_EQ(Said("row_about"), QStringList{QStringLiteral("To Evenings · 9 minutes left")});
  EXPECT_EQ(All<CControlUI>("row_pause").size(), 1u);
  EXPECT_EQ(All<CControlUI>("row_cancel").size(), 1u);
  End();
}

TEST_F(TransfersPageTest, EachStateHasItsWordsAndItsButtons) {
  ASSERT_NO_FATAL_FAILURE(OpenPage());
  const auto shown = [this](const TransferTask::Ptr& task) {
    ShowTasks({task});
    return Said("row_state").value(0);
  };
  const auto has = [this](const char* name) { return !All<CControlUI>(name).empty(); };
  EXPECT_EQ(shown(std::make_shared<ShownTask>(TaskType::Upload, "w", TaskStatus::Waiting, 0, 0)),
            QStringLiteral("Waiting"));
  EXPECT_EQ(Said("row_about"), QStringList{QStringLiteral("4.0 MB")});
  EXPECT_TRUE(has("row_pause") && has("row_cancel") && !has("row_resume"));
  EXPECT_EQ(page->findChild<QProgressBar*>(), nullptr);

  EXPECT_EQ(
      shown(std::make_shared<ShownTask>(TaskType::Upload, "p", TaskStatus::PausedByUser, 2 * kMegabyte, 0)),
      QStringLiteral("Paused at 50 %"));
  EXPECT_TRUE(has("row_resume") && has("row_cancel") && !has("row_pause"));
  EXPECT_NE(page->findChild<QProgressBar*>(), nullptr);

  auto broken = std::make_shared<ShownTask>(TaskType::Download, "f", TaskStatus::Running, 0, 0);
  broken->Break(TransferErrorInterface::kNoSpaceOnDisk);
  EXPECT_EQ(shown(broken),
            Words(QStringLiteral("IDS_TRANSFER_ERROR_%1").arg(TransferErrorInterface::kNoSpaceOnDisk)));
  EXPECT_FALSE(Said("row_state").value(0).contains(QStringLiteral("IDS_")));
  EXPECT_TRUE(has("row_resume") && has("row_cancel") && has("retry_all"));

  auto ended = std::make_shared<CompleteTask>();
  ended->FileName = L"harbour.jpg";
  ended->LocalPath = L"/home/anna/Evenings/harbour.jpg";
  ended->TotalLength = 4 * kMegabyte;
  ended->EndTime = 1'700'000'000'000;
  EXPECT_EQ(shown(ended), CResourceManager::FormatDateTime(1'700'000'000'000));
  EXPECT_EQ(Said("row_about"), QStringList{QStringLiteral("To Evenings · 4.0 MB")});
  EXPECT_TRUE(has("row_folder") && has("row_drop") && has("clear_all") && !has("row_cancel"));
  End();
}

TEST_F(TransfersPageTest, UploadNamesItsAlbum) {
  ASSERT_NO_FATAL_FAILURE(OpenPage());
  auto& gallery = Gallery::GetInstance();
  const auto album = gallery.CreateAlbum(L"Harbour", false, -1);
  ASSERT_NE(album, nullptr);
  auto file = std::make_shared<GalleryFile>();
  file->SetUniqueId("file-of-harbour");
  file->SetAlbumId(album->AlbumId.Get());
  gallery.AddFiles({file});
  ShowTasks({std::make_shared<ShownTask>(TaskType::Upload, "file-of-harbour", TaskStatus::Waiting, 0, 0)});
  EXPECT_EQ(Said("row_about"), QStringList{QStringLiteral("To Harbour · 4.0 MB")});
  End();
}

TEST_F(TransfersPageTest, NarrowWindowHasTheStateBelowTheName) {
  ASSERT_NO_FATAL_FAILURE(OpenPage());
  ShowTasks(
      {std::make_shared<ShownTask>(TaskType::Download, "a", TaskStatus::Running, kMegabyte, kMegabyte / 2)});
  ASSERT_EQ(All<CLabelUI>("row_about").size(), 1u);
  frame->resize(1000, 700);
  ASSERT_TRUE(Until([this] { return All<CLabelUI>("row_about").empty(); }));
  Reload();
  EXPECT_EQ(Said("row_state"),
            QStringList{QStringLiteral("25 % · 1.0 MB of 4.0 MB · 512.0 kB/s · 7 seconds left")});
  frame->resize(1440, 900);
  EXPECT_TRUE(Until([this] { return !All<CLabelUI>("row_about").empty(); }));
  End();
}

TEST_F(TransfersPageTest, ButtonsPauseResumeAndCancelWhatRuns) {
  ASSERT_NO_FATAL_FAILURE(OpenPage());
  auto& manager = GalleryTransManager::GetInstance();
  const auto task = std::make_shared<FakeTask>(TaskType::Download, "held");
  manager.AddDownloads({task}, TaskStatus::Waiting);
  ASSERT_TRUE(Until([&] { return task->Status() == TaskStatus::Running; }));
  Reload();
  ClickOnly("row_pause");
  ASSERT_TRUE(Until([&] { return task->Status() == TaskStatus::PausedByUser; }));
  Reload();
  ClickOnly("row_resume");
  ASSERT_TRUE(Until([&] { return task->Status() == TaskStatus::Running; }));
  Reload();
  ClickOnly("pause_all");
  ASSERT_TRUE(Until([&] { return task->Status() == TaskStatus::PausedByUser; }));
  Reload();
  ClickOnly("resume_all");
  ASSERT_TRUE(Until([&] { return task->Status() == TaskStatus::Running; }));
  Reload();
  ClickOnly("row_cancel");
  EXPECT_TRUE(Until([&] { return manager.Tasks(TaskType::Download).empty(); }));
  Reload();
  EXPECT_EQ(page->RowCount(), 0u);
  EXPECT_TRUE(page->FindSubControl(QStringLiteral("transfers_empty"))->Widget()->isVisible());
  End();
}

TEST_F(TransfersPageTest, FailedOnesAreTriedAgainAndFinishedOnesLeaveTheList) {
  ASSERT_NO_FATAL_FAILURE(OpenPage());
  auto& manager = GalleryTransManager::GetInstance();
  const auto task = std::make_shared<FakeTask>(TaskType::Download, "unlucky");
  task->Let(TransferErrorInterface::kNoSpaceOnDisk);
  task->Let(TransferErrorInterface::kNone);
  manager.AddDownloads({task}, TaskStatus::Waiting);
  ASSERT_TRUE(Until([&] { return task->Status() == TaskStatus::Failed; }));
  Reload();
  ClickOnly("retry_all");
  ASSERT_TRUE(Until([&] { return task->Status() == TaskStatus::Completed; }));
  auto ended = std::make_shared<CompleteTask>();
  ended->UniqueId = "ended";
  manager.SetFinished({ended});
  Reload();
  ASSERT_EQ(page->RowCount(), 1u);
  ClickOnly("clear_all");
  EXPECT_TRUE(Until([&] { return manager.Tasks(TaskType::Complete).empty(); }));
  Reload();
  EXPECT_EQ(page->RowCount(), 0u);
  End();
}

}  // namespace
