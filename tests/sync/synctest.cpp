#include "synctest.h"

#include <sqlite3.h>

#include <fstream>

#include "cloud/cheader.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "host/base/logger.h"
#include "transfer/gallerytransmanager.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace {

std::atomic<int> writes{0};
std::atomic<int> failWrite{0};

int OnCommit(void*) { return ++writes == failWrite ? 1 : 0; }

int HookConnection(sqlite3* connection, const char**, const void*) {
  sqlite3_commit_hook(connection, OnCommit, nullptr);
  return SQLITE_OK;
}

std::string AlbumLine(const Album& album) {
  return "album " + album.AlbumId.Get() + " " + platform::WideToUtf8(album.AlbumName.Get()) + "\n";
}

std::string FileLine(const GalleryFile& file) {
  return "file " + file.UniqueId() + " " + platform::WideToUtf8(file.FileName()) + " in " +
         (file.IsInBin() ? "bin" : file.AlbumId()) + (file.IsFavorite ? " favorite" : "") +
         (file.GalleryState != 0 ? " changed" : "") + (file.IsDeleted ? " deleted" : "") + "\n";
}

std::string Joined(std::vector<std::string> albums, std::vector<std::string> files) {
  std::sort(albums.begin(), albums.end());
  std::sort(files.begin(), files.end());
  std::string tree;
  for (const auto& line : albums) tree += line;
  for (const auto& line : files) tree += line;
  return tree;
}

}  // namespace

OperationLog::OperationLog() {
  EXPECT_TRUE(Logger::CloudLogger::GetInstance()->Open(folder.Path() / "log.txt"));
}

OperationLog::~OperationLog() { Logger::CloudLogger::GetInstance()->Close(); }

std::size_t OperationLog::Count(const std::string& text) const {
  Logger::CloudLogger::GetInstance()->ReportLog();
  std::ifstream file(folder.Path() / "log.txt");
  std::size_t count = 0;
  for (std::string line; std::getline(file, line);) count += line.find(text) != std::string::npos;
  return count;
}

std::vector<std::string> OperationLog::Failures() const {
  Logger::CloudLogger::GetInstance()->ReportLog();
  std::ifstream file(folder.Path() / "log-operations.txt");
  std::vector<std::string> failures;
  for (std::string line; std::getline(file, line);) {
    const Json::Value json = JsonText::Parse(line).value_or(Json::Value());
    const int event = json["event"].asInt();
    if (event != 280 && event != 281) continue;
    EXPECT_EQ(json["type"].asInt(), 5) << line;
    EXPECT_EQ(json["action"].asInt(), 2) << line;
    failures.push_back(std::to_string(event) + " " + json["values"]["errorCode"].asString() + " " +
                       json["values"]["errorReason"].asString());
  }
  return failures;
}

void DatabaseFaults::Install() { (void)sqlite3_auto_extension(reinterpret_cast<void (*)()>(HookConnection)); }

void DatabaseFaults::FailWrite(int number) {
  writes = 0;
  failWrite = number;
}

int DatabaseFaults::Writes() { return writes; }

void SyncTest::Listener::Notify(std::int32_t state) {
  std::lock_guard hold(lock);
  notified.push_back(state);
}

void SyncTest::Listener::OnSyncStatus(SyncStatus status, std::int64_t count) {
  std::lock_guard hold(lock);
  statuses.push_back({status, count});
  changed.notify_all();
}

void SyncTest::Listener::WaitForStatus(const Told& status) {
  std::unique_lock hold(lock);
  changed.wait(hold, [&] { return std::find(statuses.begin(), statuses.end(), status) != statuses.end(); });
}

std::vector<SyncTest::Told> SyncTest::Listener::Statuses() {
  std::lock_guard hold(lock);
  return statuses;
}

std::vector<std::int32_t> SyncTest::Listener::Notified() {
  std::lock_guard hold(lock);
  return notified;
}

void SyncTest::SetUp() {
  DatabaseFaults::Install();
  DatabaseFaults::FailWrite(0);
  GalleryTest::SetUp();
  ASSERT_TRUE(CHeader::GetInstance().Init(CHeader::DeviceUuid, L"this-device"));
  // Contents go up only in tests that say how.
  GalleryTransManager::GetInstance().SetMakeUpload([](const auto&, const auto&) { return nullptr; });
  services.listing = [this] { return cloud.Listing(); };
  services.makeService = [this] { return cloud.Service(); };
  MakeSync();
}

void SyncTest::TearDown() {
  DatabaseFaults::FailWrite(0);
  cloud.onCall = nullptr;
  sync.reset();
  GalleryTransManager::GetInstance().OnLogout();
  GalleryTransManager::GetInstance().SetMakeUpload({});
  GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
  GalleryTest::TearDown();
}

void SyncTest::MakeSync() {
  sync = std::make_unique<SyncHelper>();
  sync->SetServices(services);
  sync->SetCallback(&listener);
}

void SyncTest::StartAfresh() {
  for (const char* table : {"Album", "AlbumLocalVersion", "GalleryFile"}) {
    ASSERT_TRUE(DBHelper::GetInstance().Execute("DELETE FROM " + std::string(table) + ";"));
  }
  TearDown();
  cloud.Forget();
  SetUp();
}

void SyncTest::Settle(int atMost) {
  std::string before;
  for (int i = 0; i < atMost; ++i) {
    clock.ms += 1000;
    const bool good = Cycle();
    const std::string now = cloud.Tree() + ModelTree() + TableTree();
    if (good && now == before && ModelTree() == cloud.Tree()) return;
    before = now;
  }
}

std::string SyncTest::ModelTree() {
  auto& gallery = Gallery::GetInstance();
  Gallery::Albums albums;
  Gallery::Files files;
  gallery.GetAlbums(albums, true);
  gallery.GetAllFiles(files);
  std::vector<std::string> albumLines, fileLines;
  for (const auto& album : albums) albumLines.push_back(AlbumLine(*album));
  for (const auto& file : files) fileLines.push_back(FileLine(*file));
  return Joined(albumLines, fileLines);
}

std::string SyncTest::TableTree() {
  Gallery::Albums albums;
  Gallery::Files files;
  EXPECT_TRUE(DBHelper::GetInstance().GetAlbums(albums));
  EXPECT_TRUE(DBHelper::GetInstance().GetFiles(files, true));
  std::vector<std::string> albumLines, fileLines;
  for (const auto& album : albums) {
    if (album->IsReal() && album->IsDelete == 0) albumLines.push_back(AlbumLine(*album));
  }
  for (const auto& file : files) fileLines.push_back(FileLine(*file));
  return Joined(albumLines, fileLines);
}

void SyncTest::ExpectInStep(const std::string& when) {
  const std::string tree = cloud.Tree();
  EXPECT_EQ(ModelTree(), tree) << when;
  EXPECT_EQ(TableTree(), tree) << when;
}

AlbumLocalVersion SyncTest::VersionRow() {
  std::vector<AlbumLocalVersion> rows;
  EXPECT_TRUE(DBHelper::GetInstance().GetLocalVersions(rows));
  EXPECT_LE(rows.size(), 1u);
  return rows.empty() ? AlbumLocalVersion() : rows.front();
}

void SyncTest::RestartClient() {
  sync.reset();
  ASSERT_TRUE(gallery.Init());
  MakeSync();
}

void SyncTest::HideLostFiles() {
  std::filesystem::create_directories(folder / "config/ZentaraCloud");
  std::ofstream(folder / "config/ZentaraCloud/settings.json") << R"({"enableShowLostCloudPhoto":false})";
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  ASSERT_FALSE(GlobalParamWrapper::GetInstance()->GetEnableShowLostCloudPhoto());
}

bool SyncTest::ToldStatus(SyncStatus status) {
  const auto all = listener.Statuses();
  return std::any_of(all.begin(), all.end(), [status](const Told& told) { return told.status == status; });
}
