// Real uploads and downloads side by side, with everything that a user, the
// connection and the service may do to them meanwhile; of most use under the
// thread sanitizer.

#include <gmock/gmock.h>

#include <fstream>
#include <iostream>
#include <random>
#include <thread>

#include "common/platform/paths.h"
#include "contenttest.h"
#include "transfer/gallerytransmanager.h"

namespace fs = std::filesystem;

namespace {

using testing::IsEmpty;

constexpr std::size_t kAtATime = 8;
constexpr int kPictures = 8;  // that wait for their upload, and as many in the cloud
constexpr int kSteps = 300;
constexpr TaskType kKinds[] = {TaskType::Upload, TaskType::Download};

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Looks at all transfers, as windows do, until it goes.
class Reader {
 public:
  Reader() : thread([this] { Read(); }) {}
  ~Reader() {
    stopped = true;
    thread.join();
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

 private:
  void Read() {
    auto& manager = GalleryTransManager::GetInstance();
    while (!stopped) {
      for (const TaskType kind : kKinds) {
        EXPECT_LE(manager.GetFigures(kind).running, kAtATime);
        for (const auto& task : manager.Tasks(kind)) Look(*task);
      }
      for (const auto& task : manager.Tasks(TaskType::Complete)) Look(*task);
      std::this_thread::yield();
    }
  }
  static void Look(TransferTask& task) {
    std::wstring thumbnail;
    (void)task.GetThumbnailPath(thumbnail);
    EXPECT_FALSE(task.GetFileName().empty());
    EXPECT_FALSE(task.GetLocalPath().empty());
    EXPECT_FALSE(task.GetTransferId().empty());
    EXPECT_GE(task.GetTotalSize(), 0);
    EXPECT_GE(task.Transferred() + task.Speed(), 0);
    (void)task.LastErr();
    (void)task.StatusReason();
  }

  std::atomic<bool> stopped{false};
  std::thread thread;
};

class TransferStormTest : public ContentTest {
 protected:
  struct Picture {
    FilePtr file;
    std::string bytes;
  };

  void SetUp() override {
    ContentTest::SetUp();
    manager.OnLogout();
    for (const TaskType kind : kKinds) manager.SetWorkers(kind, kAtATime);
    manager.SetClock([this] { return std::chrono::steady_clock::time_point(std::chrono::seconds(seconds)); });
  }
  void TearDown() override {
    manager.GalleryStop();
    manager.SetClock(std::chrono::steady_clock::now);
    ContentTest::TearDown();
  }

  // Four slices of each, so that a stop finds them under way.
  void MakePictures() {
    for (int i = 0; i < 2 * kPictures; ++i) {
      const std::string name = "p" + std::to_string(i);
      const std::string bytes = Noise(3 * kSliceSize + static_cast<std::size_t>(i), static_cast<unsigned>(i));
      pictures[name + ".jpg"] = {Source(name, bytes), bytes};
      const bool isInTheCloud = i % 2 == 0;
      ASSERT_TRUE(!isInTheCloud || Upload(pictures[name + ".jpg"].file));
    }
  }
  std::wstring Target() const { return folder.Wide("downloaded"); }
  int Dice(int sides) { return static_cast<int>(random() % static_cast<unsigned>(sides)); }

  void Ask(const FilePtr& file) {
    if (file->IsLocalOnly()) {
      (void)manager.GalleryUpload({file}, nullptr);
    } else {
      (void)manager.GalleryDownload(file, Target());
    }
  }
  void BreakARequest() {
    static const std::vector<std::string> kFaults = {R"("status":500)", R"("status":503)", R"("close":true)",
                                                     R"("dropRequest":true)", R"("cutAfterBytes":5)"};
    server.Fault(R"({"path":"/media|/objects/","nth":)" + std::to_string(1 + Dice(4)) + "," +
                 kFaults[static_cast<std::size_t>(Dice(static_cast<int>(kFaults.size())))] + "}");
  }
  void Step() {
    const TaskType kind = kKinds[Dice(2)];
    const FilePtr file = std::next(pictures.begin(), Dice(2 * kPictures))->second.file;
    switch (Dice(16)) {
      case 0:
        return manager.Pause(kind, {file->UniqueId()});
      case 1:
        return manager.Resume(kind, {file->UniqueId()});
      case 2:
        return manager.DelTasks({file->UniqueId()});
      case 3:
        return (void)manager.RetryFailed(kind);
      case 4:
        return manager.PauseAll(kind);
      case 5:
      case 6:
        return manager.ResumeAll(kind);
      case 7:
        return manager.OnNetworkDisconnect();
      case 8:
        return manager.OnNetworkResume();
      case 9:
        return BreakARequest();
      case 10:
        seconds += 70;
        return manager.OnClockMoved();
      default:
        return Ask(file);
    }
  }
  // Until the service has been asked something, unless nothing is under way.
  void LetThemGoOn() {
    server.ForgetRequests();
    const auto runs = [this](TaskType kind) { return manager.GetFigures(kind).running > 0; };
    while (server.Requests().empty() && (runs(TaskType::Upload) || runs(TaskType::Download))) {
      std::this_thread::yield();
    }
  }
  void Calm() {
    server.ClearFaults();
    manager.OnNetworkResume();
    for (const TaskType kind : kKinds) {
      manager.PauseAll(kind);
      ASSERT_TRUE(manager.WaitUntilIdle(kind, {}));
    }
  }
  // Runs what is listed to its end.
  void Finish(TaskType kind) {
    manager.ResumeAll(kind);
    (void)manager.RetryFailed(kind);
    ASSERT_TRUE(manager.WaitUntilIdle(kind, {}));
    for (const auto& task : manager.Tasks(kind)) {
      ADD_FAILURE() << task->LastErr().step << ": " << task->LastErr().cause;
    }
  }
  // Finished files are whole; unfinished ones belong to a download that is listed.
  // The names that are there.
  std::set<std::string> CheckTarget() {
    std::set<std::string> unfinished, names;
    for (const auto& task : manager.Tasks(TaskType::Download)) {
      unfinished.insert(platform::NativePath(task->GetLocalPath()).filename().string() + ".download");
    }
    for (const std::string& entry : Downloads()) {
      if (unfinished.contains(entry)) continue;
      const std::string name = entry.substr(0, entry.find_first_of(" .")) + ".jpg";
      const auto picture = pictures.find(name);
      if (picture == pictures.end() || Content(folder / "downloaded" / entry) != picture->second.bytes) {
        ADD_FAILURE() << entry;
      }
      names.insert(name);
    }
    return names;
  }

  GalleryTransManager& manager = GalleryTransManager::GetInstance();
  std::map<std::string, Picture> pictures;  // by file name
  std::mt19937 random;
  std::atomic<std::int64_t> seconds{1000};
};

TEST_F(TransferStormTest, EveryFileIsWholeOrAbsentAndALastResumeBringsAll) {
  const char* given = std::getenv("TRANSFER_SEED");
  const unsigned seed =
      given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
  std::cout << "TRANSFER_SEED=" << seed << std::endl;
  SCOPED_TRACE("TRANSFER_SEED=" + std::to_string(seed));
  random.seed(seed);
  MakePictures();
  const Reader reader;
  for (const auto& [name, picture] : pictures) Ask(picture.file);
  for (int step = 0; step < kSteps; ++step) {
    Step();
    if (Dice(2) == 0) LetThemGoOn();
  }
  Calm();
  (void)CheckTarget();
  for (const auto& [name, picture] : pictures) {
    if (picture.file->IsLocalOnly()) Ask(picture.file);
  }
  Finish(TaskType::Upload);
  for (const auto& [name, picture] : pictures) {
    EXPECT_FALSE(picture.file->IsLocalOnly()) << name;
    Ask(picture.file);
  }
  Finish(TaskType::Download);
  EXPECT_EQ(CheckTarget().size(), pictures.size());
  EXPECT_EQ(VisibleCount(), pictures.size());
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetDownloads(rows));
  EXPECT_THAT(rows, IsEmpty());
}

// A run learns another id, the true size, and another name when the wanted one
// has been taken meanwhile.
TEST_F(TransferStormTest, RunsChangeTheirRowsUnderTheEyesOfReaders) {
  std::vector<std::shared_ptr<GalleryDownloadTask>> tasks;
  std::map<std::string, std::string> bytesOf;
  for (int i = 0; i < kPictures; ++i) {
    const std::string guid = "00000000-0000-0000-0000-00000000000" + std::to_string(i);
    bytesOf[guid] = Noise(2 * kSliceSize, static_cast<unsigned>(i));
    const auto file = Source(guid, bytesOf[guid]);
    ASSERT_TRUE(Upload(file));
    ASSERT_NE(file->UniqueId(), guid);
    tasks.push_back(DownloadTask(file, guid + ".jpg"));
    tasks.back()->UniqueId = guid;
    tasks.back()->TotalLength = 1;
    folder.Write("downloaded/" + guid + ".jpg", "somebody's own");
  }
  const Reader reader;
  manager.AddDownloads({tasks.begin(), tasks.end()}, TaskStatus::Waiting);
  ASSERT_TRUE(manager.WaitUntilIdle(TaskType::Download, {}));
  for (const auto& [guid, bytes] : bytesOf) {
    EXPECT_EQ(Content(folder / "downloaded" / (guid + ".jpg")), "somebody's own");
    EXPECT_TRUE(Content(folder / "downloaded" / (guid + " (1).jpg")) == bytes) << guid;
  }
  for (const auto& task : tasks) {
    EXPECT_EQ(task->Status(), TaskStatus::Completed) << task->LastErr().cause;
    EXPECT_EQ(task->GetTotalSize(), 2 * kSliceSize);
    EXPECT_FALSE(bytesOf.contains(task->GetTransferId()));
  }
}

}  // namespace
