#include "contenttest.h"

#include <fstream>
#include <random>

#include "common/platform/paths.h"
#include "host/requests/ns/cloudphotov2.h"
#include "transfer/gallerytransmanager.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

namespace fs = std::filesystem;

namespace {

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return "(none)";
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteAt(const std::wstring& path, const std::string& bytes) {
  const fs::path native = platform::NativePath(path);
  fs::create_directories(native.parent_path());
  std::ofstream(native, std::ios::binary) << bytes;
}

}  // namespace

void ContentTest::SetUp() {
  CloudTest::SetUp();
  GlobalData::cloudGeneration = GlobalData::kGenerationV2;
  ASSERT_TRUE(session.InitMk1AndMk2());
  const auto lock = NS::Request::Sync(NS::CloudPhoto::V2::Locks::Get(""));
  ASSERT_TRUE(lock.payload);
  GalleryTransManager::GetInstance().SetLockToken(lock.payload->token);
  server.ForgetRequests();
}

GalleryFile::Ptr ContentTest::Source(const std::string& name, const std::string& bytes) {
  const auto file = LocalFile(name);
  file->SetLocalPath(folder.Write("sources/" + name + ".jpg", bytes));
  file->SetHash(MethodFunction::FileHashId(file->LocalPath()));
  file->Size = static_cast<std::int64_t>(bytes.size());
  file->SetExpandText(R"({"first_update_time":"1600000000000"})");
  file->SetPictureMetadata(R"({"imageWidth":4000})");
  Add({file});
  WriteAt(file->ThumbnailName(), "small thumbnail of " + name);
  WriteAt(file->LcdName(), "large thumbnail of " + name + std::string(500, '.'));
  return file;
}

std::string ContentTest::Noise(std::size_t count, unsigned seed) {
  std::mt19937 numbers(seed);
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(numbers());
  return bytes;
}

std::shared_ptr<GalleryUploadTask> ContentTest::UploadTask(const FilePtr& file) {
  return std::make_shared<GalleryUploadTask>(file, nullptr);
}

bool ContentTest::Run(TransferTask& task) {
  task.SetStatus(TaskStatus::Waiting, 0);
  task.SetStatus(TaskStatus::Running, 0);
  return task.StartTask();
}

std::shared_ptr<GalleryDownloadTask> ContentTest::DownloadTask(const FilePtr& file, const std::string& name) {
  DownloadTaskProperty row;
  row.FileName = file->FileName();
  row.UniqueId = file->UniqueId();
  row.FileId = file->FileId();
  row.TotalLength = file->Size;
  row.LocalPath = folder.Wide("downloaded/" + name);
  auto task = std::make_shared<GalleryDownloadTask>(row);
  EXPECT_TRUE(task->AddToDB());
  return task;
}

std::string ContentTest::Bytes(const std::shared_ptr<GalleryDownloadTask>& task) {
  return Content(platform::NativePath(task->GetLocalPath()));
}

std::vector<std::string> ContentTest::Downloads() const {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder / "downloaded", error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::unique_ptr<AnswerChanger> ContentTest::ChangeAnswers(AnswerChanger::Change change) {
  auto changer = std::make_unique<AnswerChanger>(server.Url(), std::move(change));
  EXPECT_EQ(session.Login(changer->Url(), "alice", "wonderland"), UserAuthService::LoginResult::Done);
  EXPECT_TRUE(session.InitMk1AndMk2());
  server.ForgetRequests();
  return changer;
}

Json::Value ContentTest::CloudRecord(const std::string& id) {
  return OtherDevice(server, "another").Send("GET", "/media/" + id);
}

std::size_t ContentTest::CountRequests(const std::string& beginning) {
  std::size_t count = 0;
  for (const std::string& request : server.Requests()) count += request.starts_with(beginning) ? 1 : 0;
  return count;
}

std::set<std::string> ContentTest::VisibleIds() {
  NS::CloudPhoto::V2::ListParameters parameters;
  parameters.fields = "nextCursor,media(id)";
  const auto page = NS::Request::Sync(NS::CloudPhoto::V2::MediaReq::List(parameters));
  EXPECT_TRUE(page.payload);
  std::set<std::string> ids;
  if (page.payload) {
    for (const auto& media : page.payload->media) ids.insert(media.id);
  }
  return ids;
}
