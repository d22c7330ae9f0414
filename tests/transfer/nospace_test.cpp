// Full disks and a full cloud.

#include <gmock/gmock.h>

#include <algorithm>

#include "contenttest.h"
#include "host/requests/ns/cloudphotov2.h"
#include "tests/platform/filesizelimit.h"
#include "transfer/gallerytransmanager.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using E = TransferErrorInterface;

// Larger than the test's database, smaller than the picture.
constexpr std::size_t kDiskBytes = 2 << 20;
constexpr std::size_t kPictureBytes = 3 << 20;

class NoSpaceTest : public ContentTest {
 protected:
  static std::vector<DownloadTaskProperty> Rows() {
    std::vector<DownloadTaskProperty> rows;
    EXPECT_TRUE(DBHelper::GetInstance().GetDownloads(rows));
    return rows;
  }
};

TEST_F(NoSpaceTest, DownloadOntoAFullDiskNamesItAndGoesOnWithSpace) {
  const auto file = Source("large", Noise(kPictureBytes));
  ASSERT_TRUE(Upload(file));
  const auto task = DownloadTask(file, "large.jpg");
  const LogText log;
  {
    const FileSizeLimit fullDisk(kDiskBytes);
    EXPECT_FALSE(Run(*task));
  }
  EXPECT_EQ(task->Status(), TaskStatus::Failed);
  EXPECT_EQ(task->LastErr().code, E::kNoSpaceOnDisk);
  EXPECT_NE(task->LastErr().step, "");
  EXPECT_THAT(task->LastErr().cause, HasSubstr("write failed"));
  EXPECT_TRUE(log.Has(file->UniqueId()));
  EXPECT_THAT(Downloads(), ElementsAre("large.jpg.download"));
  const auto rows = Rows();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_GT(rows[0].Position, 0);
  EXPECT_LE(rows[0].Position, static_cast<std::int64_t>(kDiskBytes));
  server.ForgetRequests();
  const auto again = std::make_shared<GalleryDownloadTask>(rows[0]);
  ASSERT_TRUE(Run(*again)) << again->LastErr().cause;
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"),
            (kPictureBytes - static_cast<std::size_t>(rows[0].Position)) / kSliceSize);
  EXPECT_TRUE(Bytes(again) == Noise(kPictureBytes));
  EXPECT_THAT(Downloads(), ElementsAre("large.jpg"));
}

TEST_F(NoSpaceTest, FolderThatCannotBeMadeIsNamed) {
  const auto file = Source("nowhere", Noise(10));
  ASSERT_TRUE(Upload(file));
  folder.Write("downloaded", "a file where the folder should be");
  const auto task = DownloadTask(file, "nowhere.jpg");
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, E::kNoSpaceOnDisk);
  EXPECT_EQ(task->LastErr().step, "DownloadTask::SetLocalFile");
  EXPECT_NE(task->LastErr().cause, "");
}

TEST_F(NoSpaceTest, FullCloudRefusesTheUploadAndSaysWhy) {
  server.AddUser("bob", "master builder", {"--quota-gb", "0"});
  ASSERT_EQ(session.Login(server.Url(), "bob", "master builder"), UserAuthService::LoginResult::Done);
  ASSERT_TRUE(session.InitMk1AndMk2());
  const auto lock = NS::Request::Sync(NS::CloudPhoto::V2::Locks::Get(""));
  ASSERT_TRUE(lock.payload);
  GalleryTransManager::GetInstance().SetLockToken(lock.payload->token);
  const auto file = Source("homeless", Noise(10));
  const auto task = UploadTask(file);
  const LogText log;
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->Status(), TaskStatus::Failed);
  EXPECT_THAT(task->LastErr().cause, HasSubstr("not enough space"));
  EXPECT_THAT(task->LastErr().step, HasSubstr("GalleryUploadTask::"));
  EXPECT_TRUE(log.Has("homeless"));
  EXPECT_EQ(file->GalleryState, 1);
  EXPECT_EQ(VisibleCount(), 0u);
}

}  // namespace
