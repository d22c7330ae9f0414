#include "transfer/gallerytransmanager.h"

#include <gmock/gmock.h>

#include <fstream>
#include <future>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "support/faketask.h"
#include "support/gallerytest.h"
#include "transfer/download/downloadplaces.h"
#include "transfer/download/gallerycompletetask.h"
#include "transfer/download/gallerydownloadtask.h"
#include "utils/globaldata.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class GalleryTransManagerTest : public GalleryTest {
 protected:
  void SetUp() override {
    GalleryTest::SetUp();
    manager.OnLogout();
    // Holds the tasks: there is no cloud.
    manager.OnNetworkDisconnect();
  }
  void TearDown() override {
    manager.GalleryStop();
    manager.OnNetworkResume();
    manager.SetMakeUpload({});
    GlobalParamWrapper::GetInstance()->SetTransfersPaused(false);
    GalleryTest::TearDown();
  }
  FilePtr Listed(const std::string& id, const std::wstring& name,
                 const std::string& albumId = "default-album-1") {
    const auto file = CloudFile(id, albumId);
    file->SetFileName(name);
    Add({file});
    return file;
  }
  std::wstring Folder() const { return platform::WidePath(folder / "target"); }
  static std::vector<DownloadTaskProperty> Rows() {
    std::vector<DownloadTaskProperty> rows;
    EXPECT_TRUE(DBHelper::GetInstance().GetDownloads(rows));
    return rows;
  }
  std::vector<std::wstring> Targets() const {
    std::vector<std::wstring> names;
    for (const auto& row : Rows()) {
      EXPECT_TRUE(row.LocalPath.starts_with(Folder() + L"/")) << platform::DisplayText(row.LocalPath);
      names.push_back(platform::WideFileName(row.LocalPath));
    }
    return names;
  }
  std::vector<std::string> ListedIds(TaskType kind) {
    std::vector<std::string> ids;
    for (const auto& task : manager.Tasks(kind)) ids.push_back(task->GetTransferId());
    return ids;
  }
  void WriteFile(const std::string& name) const {
    std::filesystem::create_directories(folder / "target");
    std::ofstream(folder / "target" / name) << "mine";
  }

  GalleryTransManager& manager = GalleryTransManager::GetInstance();
};

TEST_F(GalleryTransManagerTest, DownloadsAreStoredAndListed) {
  const auto a = Listed("a", L"a.jpg"), b = Listed("b", L"b.mp4");
  EXPECT_EQ(manager.GalleryDownload({a, nullptr, b, a}, Folder()), 2u);
  EXPECT_THAT(Targets(), ElementsAre(L"a.jpg", L"b.mp4"));
  EXPECT_THAT(ListedIds(TaskType::Download), ElementsAre("a", "b"));
  const auto row = Rows()[0];
  EXPECT_EQ(row.FileId, "content-of-a");
  EXPECT_EQ(row.AlbumId, "default-album-1");
  EXPECT_EQ(row.TotalLength, 1000);
  EXPECT_EQ(row.TaskType, 2);
}

TEST_F(GalleryTransManagerTest, WithoutAUserNothingIsStoredOrQueued) {
  const auto a = Listed("a", L"a.jpg");
  GlobalParamWrapper::GetInstance()->SetUser({}, {});
  EXPECT_EQ(manager.GalleryDownload(a, Folder()), 0u);
  ASSERT_TRUE(UserAuthService::GetInstance()->Load());
  EXPECT_THAT(Rows(), IsEmpty());
  EXPECT_THAT(ListedIds(TaskType::Download), IsEmpty());
}

TEST_F(GalleryTransManagerTest, DownloadsOfOneNameGoToDifferentPlaces) {
  WriteFile("IMG.jpg");
  WriteFile("IMG (2).jpg.download");
  for (const char* album : {"second", "third"}) CloudAlbum(album, std::wstring(album, album + 5));
  const Files files{Listed("a", L"IMG.jpg"), Listed("b", L"IMG.jpg", "second"),
                    Listed("c", L"IMG.jpg", "third")};
  EXPECT_EQ(manager.GalleryDownload(files, Folder()), 3u);
  EXPECT_THAT(Targets(), ElementsAre(L"IMG (1).jpg", L"IMG (3).jpg", L"IMG (4).jpg"));
}

TEST_F(GalleryTransManagerTest, NameOfTheCloudCannotLeadOutOfTheFolder) {
  const Files files{Listed("a", L"../../a.jpg"), Listed("b", L"x\\..\\b.jpg"), Listed("c", L".."),
                    Listed("d", L"/etc/passwd"), Listed("e", L".hidden"),      Listed("f", L"a/")};
  EXPECT_EQ(manager.GalleryDownload(files, Folder()), 6u);
  EXPECT_THAT(Targets(), ElementsAre(L"a.jpg", L"b.jpg", L"c", L"passwd", L".hidden", L"f"));
}

TEST_F(GalleryTransManagerTest, LongNamesAreCutToWhatTheDiskTakes) {
  for (const char* album : {"second", "third"}) CloudAlbum(album, std::wstring(album, album + 5));
  const std::wstring ascii = std::wstring(300, L'x') + L".jpg",
                     chinese = std::wstring(100, L'\u5f20') + L".jpg";
  const Files files{Listed("a", ascii), Listed("b", ascii, "second"), Listed("c", chinese, "third"),
                    Listed("d", L"no-extension." + std::wstring(300, L'y'), "third")};
  EXPECT_EQ(manager.GalleryDownload(files, Folder()), 4u);
  // 255 bytes with the nine of ".download"; a Chinese character has three.
  EXPECT_THAT(Targets(),
              ElementsAre(std::wstring(242, L'x') + L".jpg", std::wstring(238, L'x') + L" (1).jpg",
                          std::wstring(80, L'\u5f20') + L".jpg", L"no-extension." + std::wstring(233, L'y')));
  for (const auto& row : Rows()) {
    WriteFile(platform::NativePath(platform::WideFileName(row.LocalPath) + L".download").string());
    EXPECT_TRUE(std::filesystem::exists(platform::NativePath(row.LocalPath + L".download")));
  }
}

TEST_F(GalleryTransManagerTest, DownloadWhoseIdHasChangedIsNotStartedTwice) {
  ASSERT_EQ(manager.GalleryDownload(Listed("a", L"a.jpg"), Folder()), 1u);
  const auto task = std::static_pointer_cast<DownloadTask>(manager.Tasks(TaskType::Download)[0]);
  task->UniqueId = "b";
  ASSERT_TRUE(DBHelper::GetInstance().UpdateDownload(*task, task->Id));
  EXPECT_EQ(manager.GalleryDownload(Listed("b", L"b.jpg"), Folder()), 0u);
  EXPECT_EQ(manager.Tasks(TaskType::Download).size(), 1u);
}

TEST_F(GalleryTransManagerTest, DroppedFinishedTransferLeavesListAndTable) {
  CompletedTaskProperty first, second;
  first.UniqueId = "a";
  second.UniqueId = "b";
  for (auto* row : {&first, &second}) ASSERT_TRUE(DBHelper::GetInstance().AddCompleted(*row));
  ASSERT_EQ(manager.LoadTaskFromDB(), 2u);
  EXPECT_TRUE(manager.Tasks(TaskType::Complete)[0]->DeleteFromDB());
  EXPECT_THAT(ListedIds(TaskType::Complete), ElementsAre("b"));
}

TEST_F(GalleryTransManagerTest, RowsOfABatchAreStoredAllOrNone) {
  DownloadTaskProperty row;
  std::vector<GalleryTransManager::DownloadPtr> batch;
  for (const char* id : {"a", "b", "c"}) {
    row.UniqueId = id;
    batch.push_back(std::make_shared<GalleryDownloadTask>(row));
  }
  ASSERT_TRUE(
      DBHelper::GetInstance().Execute("CREATE TRIGGER no_c BEFORE INSERT ON DownloadTask WHEN NEW.UniqueId = "
                                      "'c' BEGIN SELECT RAISE(ABORT, 'no'); "
                                      "END;"));
  EXPECT_FALSE(manager.AddDownloadsDB(batch));
  EXPECT_THAT(Rows(), IsEmpty());
  ASSERT_TRUE(DBHelper::GetInstance().Execute("DROP TRIGGER no_c;"));
  EXPECT_TRUE(manager.AddDownloadsDB(batch));
  EXPECT_EQ(Rows().size(), 3u);
}

TEST_F(GalleryTransManagerTest, UploadOfNoFileIsLeftOut) {
  EXPECT_EQ(manager.GalleryUpload({nullptr}, nullptr), 0u);
}

TEST_F(GalleryTransManagerTest, DownloadThatIsAskedForAgainGoesOn) {
  const auto a = Listed("a", L"a.jpg");
  EXPECT_EQ(manager.GalleryDownload(a, Folder()), 1u);
  manager.Pause(TaskType::Download, {"a"});
  EXPECT_EQ(manager.GalleryDownload(a, Folder()), 0u);
  EXPECT_EQ(manager.Tasks(TaskType::Download)[0]->Status(), TaskStatus::PausedBySystem);
  EXPECT_EQ(Rows().size(), 1u);
}

TEST_F(GalleryTransManagerTest, InterruptedDownloadGoesOnInItsFolderAndStartsAnewInAnother) {
  const auto a = Listed("a", L"a.jpg");
  ASSERT_EQ(manager.GalleryDownload(a, Folder()), 1u);
  manager.OnLogout();
  auto row = Rows()[0];
  row.Position = 2;
  ASSERT_TRUE(DBHelper::GetInstance().UpdateDownload(row, row.Id));
  WriteFile("a.jpg.download");
  manager.OnNetworkDisconnect();
  ASSERT_EQ(manager.GalleryDownload(a, Folder() + L"/"), 1u);
  EXPECT_EQ(Rows()[0].Position, 2);
  manager.OnLogout();
  ASSERT_EQ(manager.GalleryDownload(a, platform::WidePath(folder / "other")), 1u);
  ASSERT_EQ(Rows().size(), 1u);
  EXPECT_EQ(Rows()[0].Position, 0);
  EXPECT_EQ(platform::NativePath(Rows()[0].LocalPath), folder / "other/a.jpg");
  EXPECT_FALSE(std::filesystem::exists(folder / "target/a.jpg.download"));
}

TEST_F(GalleryTransManagerTest, StoredTransfersAreListedAfterARestart) {
  ASSERT_EQ(manager.GalleryDownload({Listed("a", L"a.jpg"), Listed("b", L"b.jpg")}, Folder()), 2u);
  CompletedTaskProperty done;
  done.UniqueId = "c";
  done.FileName = L"c.jpg";
  done.EndTime = 5;
  ASSERT_TRUE(DBHelper::GetInstance().AddCompleted(done));
  manager.OnLogout();
  EXPECT_THAT(ListedIds(TaskType::Download), IsEmpty());
  EXPECT_EQ(manager.LoadTaskFromDB(), 3u);
  EXPECT_THAT(ListedIds(TaskType::Download), ElementsAre("a", "b"));
  EXPECT_THAT(ListedIds(TaskType::Complete), ElementsAre("c"));
}

TEST_F(GalleryTransManagerTest, StoredDownloadsWaitForTheUserWhileTransfersArePaused) {
  ASSERT_EQ(manager.GalleryDownload(Listed("a", L"a.jpg"), Folder()), 1u);
  manager.OnLogout();
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->SetTransfersPaused(true));
  (void)manager.LoadTaskFromDB();
  EXPECT_EQ(manager.Tasks(TaskType::Download)[0]->Status(), TaskStatus::PausedByUser);
}

TEST_F(GalleryTransManagerTest, DeletedDownloadLosesItsRowAndItsUnfinishedFile) {
  ASSERT_EQ(manager.GalleryDownload({Listed("a", L"a.jpg"), Listed("b", L"b.jpg")}, Folder()), 2u);
  WriteFile("a.jpg.download");
  manager.DeleteTasks({manager.Tasks(TaskType::Download)[0]});
  EXPECT_THAT(ListedIds(TaskType::Download), ElementsAre("b"));
  EXPECT_THAT(Targets(), ElementsAre(L"b.jpg"));
  EXPECT_FALSE(std::filesystem::exists(folder / "target/a.jpg.download"));
}

TEST_F(GalleryTransManagerTest, TablesAreEmptiedByKind) {
  ASSERT_EQ(manager.GalleryDownload(Listed("a", L"a.jpg"), Folder()), 1u);
  CompletedTaskProperty done;
  done.UniqueId = "c";
  ASSERT_TRUE(DBHelper::GetInstance().AddCompleted(done));
  const auto finished = [] {
    std::vector<CompletedTaskProperty> rows;
    EXPECT_TRUE(DBHelper::GetInstance().GetCompleted(rows));
    return rows.size();
  };
  manager.DelAllTaskDB(TaskType::Upload);
  EXPECT_EQ(Rows().size() + finished(), 2u);
  manager.DelAllTaskDB(TaskType::Download);
  EXPECT_THAT(Rows(), IsEmpty());
  EXPECT_EQ(finished(), 1u);
  manager.ClearFinished();
  EXPECT_EQ(finished(), 0u);
}

TEST_F(GalleryTransManagerTest, PortalNamesFilesById) {
  Listed("a", L"a.jpg");
  manager.GalleryDownloadFromPortal(R"({"files":[{"uniqueId":"a"},{"uniqueId":"gone"},7]})", L"");
  for (const char* broken : {"", "{", "[]", R"({"files":7})", R"({"files":[]})"})
    manager.GalleryDownloadFromPortal(broken, Folder());
  EXPECT_THAT(Rows(), IsEmpty());
  manager.GalleryDownloadFromPortal(R"({"files":[{"uniqueId":"a"},{"uniqueId":"gone"},7]})", Folder());
  EXPECT_THAT(ListedIds(TaskType::Download), ElementsAre("a"));
}

TEST_F(GalleryTransManagerTest, UploadsCallBackEachForItself) {
  manager.OnNetworkResume();
  manager.SetMakeUpload([](const FilePtr& file, const Album::Ptr&) {
    auto task = std::make_shared<FakeTask>(TaskType::Upload, file->UniqueId());
    task->Let(TransferErrorInterface::kNone);
    return task;
  });
  std::mutex lock;
  std::vector<std::string> called;
  const auto note = [&](const std::string& text) {
    return [&lock, &called, text](const TransferTask::Ptr& task) {
      const std::lock_guard hold(lock);
      called.push_back(text + task->GetTransferId());
    };
  };
  const Files files{LocalFile("x"), LocalFile("y")};
  EXPECT_EQ(manager.GalleryUpload(files, nullptr, {note("first "), note("second ")}), 2u);
  ASSERT_TRUE(manager.WaitUntilIdle(TaskType::Upload, nullptr));
  EXPECT_EQ(manager.GalleryUpload(files, nullptr, note("all ")), 2u);
  ASSERT_TRUE(manager.WaitUntilIdle(TaskType::Upload, nullptr));
  EXPECT_THAT(called, UnorderedElementsAre("first x", "second y", "all x", "all y"));
}

TEST_F(GalleryTransManagerTest, FileWithoutLocalContentIsNotGivenBackAndStays) {
  const auto cloudOnly = Listed("a", L"a.jpg"), local = Listed("b", L"b.jpg");
  WriteFile("b.jpg");
  local->SetLocalPath(Folder() + L"/b.jpg");
  std::vector<std::string> made;
  manager.SetMakeUpload([&](const FilePtr& file, const Album::Ptr&) -> TransferTask::Ptr {
    made.push_back(file->UniqueId());
    return nullptr;
  });
  manager.GalleryInit();
  std::promise<void> done;
  ZentaraDeskClient::GalleryUpThdMng::GetInstance().CreateTask({{"a", 0}, {"b", 0}, {"unknown", 0}}, true,
                                                               [&done] { done.set_value(); });
  done.get_future().wait();
  EXPECT_THAT(made, ElementsAre("b"));
  EXPECT_TRUE(gallery.GetFile("a"));
  EXPECT_TRUE(Row("a"));
}

TEST_F(GalleryTransManagerTest, HeadersOfTheSecondGenerationCarryTheToken) {
  GlobalData::cloudGeneration = GlobalData::kGenerationV2;
  EXPECT_EQ(manager.GetGalleryVer(), GalleryVer::V2);
  std::map<std::string, std::string> headers;
  EXPECT_TRUE(manager.GetHttpHeader(headers));
  EXPECT_TRUE(headers["Authorization"].starts_with("Bearer "));
  EXPECT_FALSE(headers.contains("x-zt-lock"));
  GlobalData::cloudGeneration = GlobalData::kGenerationV1;
  EXPECT_EQ(manager.GetGalleryVer(), GalleryVer::V1);
  headers.clear();
  EXPECT_TRUE(manager.GetHttpHeader(headers));
  EXPECT_FALSE(headers["Authorization"].starts_with("Bearer "));
}

TEST_F(GalleryTransManagerTest, FinishedRowKeepsWhatTheWindowShows) {
  ASSERT_EQ(manager.GalleryDownload(Listed("a", L"a.jpg"), Folder()), 1u);
  const auto task = manager.Tasks(TaskType::Download)[0];
  const auto complete = task->GetCompleteTask();
  ASSERT_TRUE(complete);
  ASSERT_TRUE(complete->AddToDB());
  EXPECT_GT(complete->Id, 0);
  EXPECT_EQ(complete->EndTime, clock.ms);
  EXPECT_EQ(complete->Transferred(), 0);
  const auto shown = task->GetCompleteShowTask(complete);
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->Row().FileName, L"a.jpg");
  EXPECT_EQ(shown->Row().UniqueId, "a");
  EXPECT_EQ(shown->Row().TotalLength, 1000);
  EXPECT_EQ(shown->Row().Id, complete->Id);
  EXPECT_EQ(shown->Manager(), &manager);
  std::wstring picture = L"?";
  EXPECT_FALSE(shown->GetThumbnailPath(picture));
  EXPECT_EQ(picture, L"");
  EXPECT_TRUE(shown->DeleteFromDB());
  std::vector<CompletedTaskProperty> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetCompleted(rows));
  EXPECT_THAT(rows, IsEmpty());
}

TEST_F(GalleryTransManagerTest, FinishedRowOfAFileWithoutAPictureAsksForOne) {
  class Asked : public IThumbnails {
   public:
    bool MakeLocal(const GalleryFile&, const std::wstring&, bool) override { return false; }
    void Fetch(const Files& files, std::function<void(const FilePtr&)>) override {
      id.set_value(files.at(0)->UniqueId());
    }
    std::promise<std::string> id;
  } asked;
  Listed("a", L"a.jpg");
  upward::Install(&asked);
  CompletedTaskProperty row;
  row.UniqueId = "a";
  std::wstring picture;
  EXPECT_FALSE(GalleryCompleteTask(row).GetThumbnailPath(picture));
  EXPECT_EQ(asked.id.get_future().get(), "a");
  upward::Install(static_cast<IThumbnails*>(nullptr));
}

TEST_F(GalleryTransManagerTest, FinishedRowOfAFileThatIsGoneHasNoPicture) {
  CompletedTaskProperty row;
  row.UniqueId = "gone";
  GalleryCompleteTask task(row);
  std::wstring picture = L"?";
  EXPECT_FALSE(task.GetThumbnailPath(picture));
  EXPECT_EQ(picture, L"");
}

TEST_F(GalleryTransManagerTest, FinishedRowOfADeletedFileIsStillListedWithAnEmptyPicture) {
  const auto file = Listed("a", L"a.jpg");
  CompletedTaskProperty row;
  row.UniqueId = "a";
  row.FileName = L"a.jpg";
  ASSERT_TRUE(DBHelper::GetInstance().AddCompleted(row));
  ASSERT_GT(gallery.DeleteFiles({file}, true), 0u);
  ASSERT_EQ(gallery.GetFile("a"), nullptr);
  ASSERT_EQ(manager.LoadTaskFromDB(), 1u);
  EXPECT_THAT(ListedIds(TaskType::Complete), ElementsAre("a"));
  GalleryCompleteShowTask shown(&manager, row);
  std::wstring picture = L"?";
  EXPECT_FALSE(shown.GetThumbnailPath(picture));
  EXPECT_EQ(picture, L"");
}

TEST_F(GalleryTransManagerTest, FinishedRowThatTheTableDoesNotKnowChangesNothing) {
  CompletedTaskProperty kept, unknown;
  kept.UniqueId = unknown.UniqueId = "a";
  ASSERT_TRUE(DBHelper::GetInstance().AddCompleted(kept));
  ASSERT_EQ(manager.LoadTaskFromDB(), 1u);
  unknown.Id = kept.Id + 1;
  // A statement that meets no row has not failed.
  EXPECT_TRUE(GalleryCompleteTask(unknown).DeleteFromDB());
  EXPECT_TRUE(GalleryCompleteShowTask(&manager, unknown).DeleteFromDB());
  EXPECT_THAT(ListedIds(TaskType::Complete), ElementsAre("a"));
  std::vector<CompletedTaskProperty> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetCompleted(rows));
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].Id, kept.Id);
}

TEST_F(GalleryTransManagerTest, FinishedRowOfARunHasTheFieldsOfItsTableRow) {
  CompletedTaskProperty row;
  row.FileName = L"a.jpg";
  row.FileId = "id";
  row.UniqueId = "a";
  row.TotalLength = 12;
  row.LocalPath = L"/downloads/a.jpg";
  row.TaskType = 1;
  row.EndTime = 34;
  row.IsLocalFileDownload = 2;
  ASSERT_TRUE(DBHelper::GetInstance().AddCompleted(row));
  const GalleryCompleteShowTask shown(&manager, row);
  EXPECT_EQ(shown.Row().FileName, L"a.jpg");
  EXPECT_EQ(shown.Row().FileId, "id");
  EXPECT_EQ(shown.Row().UniqueId, "a");
  EXPECT_EQ(shown.Row().TotalLength, 12);
  EXPECT_EQ(shown.Row().LocalPath, L"/downloads/a.jpg");
  EXPECT_EQ(shown.Row().TaskType, 1);
  EXPECT_EQ(shown.Row().EndTime, 34);
  EXPECT_EQ(shown.Row().Id, row.Id);
  EXPECT_TRUE(shown.Row().IsLocalFileDownload);
}

}  // namespace
