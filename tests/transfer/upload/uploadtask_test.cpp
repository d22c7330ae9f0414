#include "contenttest.h"

#include <gmock/gmock.h>

#include <fstream>
#include <thread>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/basic.h"
#include "host/requests/ns/cloudphotov2.h"
#include "host/requests/ns/cloudphotov2assets.h"
#include "model/records/upward.h"
#include "support/picturefiles.h"
#include "transfer/gallerytransmanager.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "utils/methodfunction.h"

namespace fs = std::filesystem;

namespace {

using testing::HasSubstr;

constexpr int kChanged = 2;

class UploadTaskTest : public ContentTest {
 protected:
  // Thumbnails are made from what lies at the source.
  struct RealThumbnails {
    RealThumbnails() { upward::Install(static_cast<IThumbnails*>(&ThumbnailHelper::GetInstance())); }
    ~RealThumbnails() { upward::Install(static_cast<IThumbnails*>(nullptr)); }
  };
  // A file that the cloud holds.
  FilePtr Uploaded(const std::string& name, const std::string& bytes) {
    const auto file = Source(name, bytes);
    EXPECT_TRUE(Upload(file));
    return file;
  }
  // Another file with the same content and thumbnails.
  FilePtr Twin(const FilePtr& first, const std::string& name, const std::string& bytes) {
    const auto file = Source(name, bytes);
    constexpr auto kOver = fs::copy_options::overwrite_existing;
    using platform::NativePath;
    EXPECT_TRUE(fs::copy_file(NativePath(first->ThumbnailName()), NativePath(file->ThumbnailName()), kOver));
    EXPECT_TRUE(fs::copy_file(NativePath(first->LcdName()), NativePath(file->LcdName()), kOver));
    return file;
  }
  // Does `act` once the service has made a record visible, before the client
  // hears of it.
  std::unique_ptr<AnswerChanger> WhilePublishing(std::function<void()> act) {
    return ChangeAnswers([act = std::move(act)](const std::string& request, const std::string& answer) {
      if (request.starts_with("PATCH")) act();
      return answer;
    });
  }
};

TEST_F(UploadTaskTest, RequestsComeInTheirOrder) {
  const auto file = Source("two", Noise(kSliceSize + 1));
  ASSERT_TRUE(Upload(file));
  std::vector<std::string> seen;
  for (std::string request : server.Requests()) {
    const auto slash = request.find("/cloudPhoto/v1");
    request.erase(slash, 14);
    if (request.find("/assets/") != std::string::npos) request = request.substr(0, 4) + " asset";
    if (request.starts_with("PUT")) request = "PUT object";
    if (request.starts_with("PATCH")) request = "PATCH media";
    seen.push_back(request);
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"POST /media", "POST asset", "PUT object", "POST asset",
                                            "POST asset", "PUT object", "POST asset", "POST asset",
                                            "PUT object", "POST asset", "PATCH media"}))
      << testing::PrintToString(server.Requests());
}

TEST_F(UploadTaskTest, FileTakesTheCloudsIdAndIsInStep) {
  const auto file = Source("one", Noise(100));
  ASSERT_TRUE(Upload(file));
  EXPECT_NE(file->UniqueId(), "one");
  EXPECT_EQ(file->FileId(), file->UniqueId());
  EXPECT_EQ(file->GalleryState, 0);
  EXPECT_EQ(gallery.GetFile("one"), nullptr);
  EXPECT_EQ(gallery.GetFile(file->UniqueId()), file);
  const auto row = Row(file->UniqueId());
  ASSERT_TRUE(row);
  EXPECT_EQ(row->GalleryState, 0);
  EXPECT_TRUE(IsVisible(file->UniqueId()));
}

TEST_F(UploadTaskTest, HeldContentIsNotSentAgainButStillConfirmed) {
  const std::string bytes = Noise(2 * kSliceSize + 5);
  ASSERT_TRUE(Upload(Source("first", bytes)));
  const auto again = Source("again", bytes);
  fs::copy_file(platform::NativePath(gallery.GetFile("again")->LocalPath()), folder / "copy");
  server.ForgetRequests();
  ASSERT_TRUE(Upload(again));
  EXPECT_EQ(CountRequests("PUT"), 1u);  // its own thumbnails
  EXPECT_EQ(CountRequests("POST /cloudPhoto/v1/media/"), 8u);
}

TEST_F(UploadTaskTest, RepeatSendsOnlyWhatTheCloudLacks) {
  const auto file = Source("three", Noise(3 * kSliceSize));
  server.Fault(R"({"method":"PUT","path":"/objects/","nth":3,"times":3,"status":500})");
  EXPECT_FALSE(Upload(file));
  EXPECT_EQ(VisibleCount(), 0u);
  EXPECT_EQ(file->GalleryState, 1);
  server.ClearFaults();
  server.ForgetRequests();
  ASSERT_TRUE(Upload(file));
  EXPECT_EQ(CountRequests("PUT"), 2u);  // the third slice and the thumbnails
}

// What an attempt at the fault leaves behind is seen by the next run.
TEST_F(UploadTaskTest, EachRequestMayFailAndARepeatFinishes) {
  const std::vector<std::string> faults = {R"("status":403)",     R"("status":404)", R"("status":500)",
                                           R"("status":503)",     R"("close":true)", R"("dropRequest":true)",
                                           R"("cutAfterBytes":5)"};
  unsigned seed = 100;
  for (const std::string& fault : faults) {
    for (int nth = 1; nth <= 8; ++nth) {
      SCOPED_TRACE(fault + " at request " + std::to_string(nth));
      const std::string name = "f" + std::to_string(++seed);
      const auto file = Source(name, Noise(100, seed));
      const std::size_t before = VisibleCount();
      // Requests that a client repeats by itself fail as often as it asks.
      server.Fault(R"({"path":"/media|/objects/","nth":)" + std::to_string(nth) + R"(,"times":3,)" + fault +
                   "}");
      const auto task = UploadTask(file);
      const bool done = Run(*task);
      if (!done) {
        EXPECT_EQ(task->Status(), TaskStatus::Failed);
        EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
        EXPECT_NE(task->LastErr().step, "");
        // What was refused would be refused again; what was out is tried again.
        const bool isRefused = fault.find(":40") != std::string::npos;
        EXPECT_EQ(task->LastErr().outage,
                  isRefused ? TransferErrorInterface::Outage::No : TransferErrorInterface::Outage::Yes);
        EXPECT_NE(task->LastErr().cause, "");
        server.ClearFaults();
        EXPECT_TRUE(Run(*task));
      }
      server.ClearFaults();
      EXPECT_EQ(VisibleCount(), before + 1);
      const auto download = DownloadTask(file, name);
      EXPECT_TRUE(Run(*download));
      EXPECT_TRUE(Bytes(download) == Noise(100, seed));
    }
  }
}

TEST_F(UploadTaskTest, FailureNamesTheStatusOrTheTransportsError) {
  const auto causeOf = [this](const std::string& name, const std::string& fault) {
    server.Fault(R"({"method":"PUT","path":"/objects/","times":3,)" + fault + "}");
    const auto task = UploadTask(Source(name, Noise(100)));
    EXPECT_FALSE(Run(*task));
    server.ClearFaults();
    return task->LastErr().cause;
  };
  EXPECT_THAT(causeOf("busy", R"("status":503)"), HasSubstr("503"));
  EXPECT_THAT(causeOf("refused", R"("status":403)"), HasSubstr("403"));
  EXPECT_THAT(causeOf("closed", R"("close":true)"), HasSubstr("Server returned nothing"));
}

TEST_F(UploadTaskTest, FileWithoutThumbnailsSendsNothing) {
  const auto file = Source("bare", "no picture at all");
  fs::remove(platform::NativePath(file->ThumbnailName()));
  file->thumbExists = false;
  const auto task = UploadTask(file);
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
  EXPECT_EQ(server.Requests().size(), 0u);
}

// The marks of a record outlive a cache that is cleared while the program runs.
TEST_F(UploadTaskTest, ThumbnailsOfAClearedCacheAreMadeAgain) {
  class Maker : public IThumbnails {
   public:
    bool MakeLocal(const GalleryFile&, const std::wstring& target, bool) override {
      return (std::ofstream(platform::NativePath(target)) << "made again").good();
    }
    void Fetch(const Files&, std::function<void(const FilePtr&)>) override {}
  } maker;
  upward::Install(&maker);
  const auto file = Source("cleared", Noise(10));
  file->thumbExists = true;
  file->lcdExists = true;
  fs::remove(platform::NativePath(file->ThumbnailName()));
  fs::remove(platform::NativePath(file->LcdName()));
  EXPECT_TRUE(Upload(file));
  upward::Install(static_cast<IThumbnails*>(nullptr));
}

TEST_F(UploadTaskTest, StopWhileHashingRecordsNoError) {
  const auto file = Source("large", "");
  const fs::path path = platform::NativePath(file->LocalPath());
  fs::resize_file(path, std::uintmax_t{1} << 30);
  const auto isOpen = [&] {
    std::error_code gone;  // Descriptors come and go.
    for (const auto& entry : fs::directory_iterator("/proc/self/fd", gone))
      if (fs::read_symlink(entry.path(), gone) == path) return true;
    return false;
  };
  const auto task = UploadTask(file);
  task->SetStatus(TaskStatus::Running, 0);
  std::thread stopper([&] {
    while (!isOpen() && !task->HasEnded()) std::this_thread::yield();
    task->StopTask(TaskStatus::PausedByUser, 0);
  });
  EXPECT_FALSE(task->StartTask());
  stopper.join();
  EXPECT_EQ(task->Status(), TaskStatus::PausedByUser);
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kNone);
  EXPECT_EQ(server.Requests().size(), 0u);
}

TEST_F(UploadTaskTest, SourceThatChangedBetweenTwoRunsIsSentAnew) {
  const RealThumbnails thumbnails;
  const std::string before = JpegWith("", 600, 400), after = JpegWith("", 500, 300);
  const auto file = Source("changed", before);
  const fs::path path = platform::NativePath(file->LocalPath());
  server.Fault(R"({"method":"PATCH","path":"/media/","status":500,"times":3})");
  const auto task = UploadTask(file);
  EXPECT_FALSE(Run(*task));
  // The next run finds other bytes: another content, whole in itself.
  std::ofstream(path, std::ios::binary) << after;
  server.ClearFaults();
  ASSERT_TRUE(Run(*UploadTask(file)));
  const auto download = DownloadTask(file, "changed.jpg");
  ASSERT_TRUE(Run(*download));
  EXPECT_TRUE(Bytes(download) == after);
}

TEST_F(UploadTaskTest, SourceReplacedBeforeItsUploadIsToldAsItIsNow) {
  const RealThumbnails thumbnails;
  const auto file = Source("replaced", JpegWith("", 600, 400));
  const std::string after = JpegWith("", 500, 300);
  const fs::path path = platform::NativePath(file->LocalPath());
  std::ofstream(path, std::ios::binary) << after;
  ASSERT_TRUE(Run(*UploadTask(file)));
  EXPECT_EQ(file->Size, static_cast<std::int64_t>(after.size()));
  EXPECT_EQ(file->Hash(), MethodFunction::FileHashId(file->LocalPath()));
  const auto row = Row(file->UniqueId());
  ASSERT_TRUE(row);
  EXPECT_EQ(row->Size, file->Size);
  EXPECT_EQ(row->Hash(), file->Hash());
  EXPECT_NE(row->PictureMetadata().find("500"), std::string::npos);
  const Json::Value record = CloudRecord(file->UniqueId());
  EXPECT_NE(record.toStyledString().find(file->Hash()), std::string::npos);
  // And the thumbnail is one of the new picture.
  std::string small;
  ASSERT_FALSE(platform::ReadFile(platform::NativePath(file->ThumbnailName()), small, 1 << 20));
  EXPECT_EQ(small.substr(0, 2), "\xff\xd8");
}

TEST_F(UploadTaskTest, SourceReplacedByNoPictureIsNotSent) {
  const auto file = Source("replaced", JpegWith("", 600, 400));
  std::ofstream(platform::NativePath(file->LocalPath()), std::ios::binary) << "no picture";
  const auto task = UploadTask(file);
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(VisibleCount(), 0u);
  EXPECT_TRUE(Row("replaced"));
}

TEST_F(UploadTaskTest, SourceThatChangesWhileItIsSentIsRefused) {
  const auto file = Source("growing", Noise(4 * kSliceSize));
  const fs::path path = platform::NativePath(file->LocalPath());
  const auto task = UploadTask(file);
  task->SetStatus(TaskStatus::Running, 0);
  // The progress of the first slice is the moment.
  std::thread changer([&] {
    while (CountRequests("PUT") == 0 && !task->HasEnded()) std::this_thread::yield();
    // Another last byte; size and time stay.
    const auto time = fs::last_write_time(path);
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(-1, std::ios::end).put('!');
    fs::last_write_time(path, time);
  });
  server.Fault(R"({"method":"PUT","path":"/objects/","nth":2,"delayMs":2000})");
  const bool done = task->StartTask();
  changer.join();
  EXPECT_FALSE(done);
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kSourceChanged);
  EXPECT_EQ(VisibleCount(), 0u);
}

TEST_F(UploadTaskTest, DeletedSourceLeavesTheGallery) {
  const auto file = Source("gone", Noise(10));
  const auto task = UploadTask(file);
  fs::remove(platform::NativePath(file->LocalPath()));
  EXPECT_FALSE(task->AddToDB());
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kSourceGone);
  EXPECT_EQ(gallery.GetFile("gone"), nullptr);
  EXPECT_EQ(Row("gone"), nullptr);
}

TEST_F(UploadTaskTest, ThumbnailsOfADeletedSourceGoWithIt) {
  const auto file = Source("gone", Noise(10));
  const auto task = UploadTask(file);
  fs::remove(platform::NativePath(file->LocalPath()));
  EXPECT_FALSE(task->AddToDB());
  EXPECT_FALSE(fs::exists(platform::NativePath(file->ThumbnailName())));
  EXPECT_FALSE(fs::exists(platform::NativePath(file->LcdName())));
}

// As when a share does not answer: nobody knows whether the file is there.
TEST_F(UploadTaskTest, CoverWhoseSourceIsGoneLeavesItsUploadedMembers) {
  const auto cover = Source("X_BURST001_COVER", Noise(10));
  const auto member = CloudFile("m", cover->AlbumId());
  member->SetFileName(L"X_BURST002.jpg");
  ASSERT_TRUE(member->ParseBurstName());
  Add({member});
  cover->SetFileName(L"X_BURST001_COVER.jpg");
  gallery.RemoveFiles({cover});
  ASSERT_TRUE(cover->ParseBurstName());
  Add({cover});
  ASSERT_TRUE(cover->HasMember(member));
  const auto task = UploadTask(cover);
  fs::remove(platform::NativePath(cover->LocalPath()));
  EXPECT_FALSE(task->AddToDB());
  EXPECT_EQ(gallery.GetFile(cover->UniqueId()), nullptr);
  EXPECT_EQ(gallery.GetFile("m"), member);
  EXPECT_TRUE(Row("m"));
  EXPECT_TRUE(Holds(gallery.GetAlbum(member->AlbumId()), member));
}

TEST_F(UploadTaskTest, UnreadableFolderForgetsNothing) {
  const auto file = Source("hidden", Noise(10));
  const auto task = UploadTask(file);
  const fs::path sources = folder.Path() / "sources";
  fs::rename(sources, folder.Path() / "away");
  fs::create_symlink(sources, sources);
  EXPECT_FALSE(task->AddToDB());
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
  EXPECT_EQ(gallery.GetFile("hidden"), file);
  EXPECT_NE(Row("hidden"), nullptr);
  const auto later = UploadTask(file);
  fs::remove(sources);
  fs::rename(folder.Path() / "away", sources);
  EXPECT_TRUE(later->AddToDB());
}

TEST_F(UploadTaskTest, SourceOfAnotherSizeIsError37) {
  const auto file = Source("grown", Noise(10));
  const auto task = UploadTask(file);
  fs::resize_file(platform::NativePath(file->LocalPath()), 11);
  EXPECT_FALSE(task->AddToDB());
  EXPECT_EQ(static_cast<int>(task->LastErr().code), 37);
  EXPECT_EQ(gallery.GetFile("grown"), nullptr);
}

TEST_F(UploadTaskTest, GoneSourceOfACloudFileKeepsTheFile) {
  const auto file = Uploaded("both", Noise(10));
  const auto task = UploadTask(file);
  fs::remove(platform::NativePath(file->LocalPath()));
  EXPECT_FALSE(task->AddToDB());
  EXPECT_EQ(static_cast<int>(task->LastErr().code), 13);
  EXPECT_EQ(gallery.GetFile(file->UniqueId()), file);
  EXPECT_NE(Row(file->UniqueId()), nullptr);
}

TEST_F(UploadTaskTest, SourceDeletedWhileItIsSentLeavesTheGallery) {
  const auto file = Source("vanishing", Noise(2 * kSliceSize));
  const fs::path path = platform::NativePath(file->LocalPath());
  const auto task = UploadTask(file);
  task->SetStatus(TaskStatus::Running, 0);
  std::thread deleter([&] {
    while (CountRequests("PUT") == 0 && !task->HasEnded()) std::this_thread::yield();
    fs::remove(path);
  });
  server.Fault(R"({"method":"PUT","path":"/objects/","nth":1,"delayMs":3000})");
  EXPECT_FALSE(task->StartTask());
  deleter.join();
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
  EXPECT_EQ(gallery.GetFile("vanishing"), nullptr);
  EXPECT_EQ(VisibleCount(), 0u);
}

TEST_F(UploadTaskTest, StopBetweenObjectsLeavesEarlierOnesInTheCloud) {
  const auto file = Source("stopped", Noise(4 * kSliceSize));
  const auto task = UploadTask(file);
  task->SetStatus(TaskStatus::Running, 0);
  std::thread stopper([&] {
    while (CountRequests("PUT") < 2 && !task->HasEnded()) std::this_thread::yield();
    task->StopTask(TaskStatus::PausedByUser, 0);
  });
  server.Fault(R"({"method":"PUT","path":"/objects/","nth":2,"delayMs":600000})");
  EXPECT_FALSE(task->StartTask());
  stopper.join();
  EXPECT_EQ(task->Status(), TaskStatus::PausedByUser);
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kNone);
  EXPECT_EQ(VisibleCount(), 0u);
  server.ForgetRequests();
  ASSERT_TRUE(Run(*task));
  EXPECT_LT(CountRequests("PUT"), 5u);
  EXPECT_EQ(VisibleCount(), 1u);
}

TEST_F(UploadTaskTest, StopAfterTheEndDoesNothing) {
  const auto file = Source("ended", Noise(10));
  const auto task = UploadTask(file);
  ASSERT_TRUE(Run(*task));
  task->StopTask(TaskStatus::PausedByUser, 0);
  EXPECT_EQ(task->Status(), TaskStatus::Completed);
}

TEST_F(UploadTaskTest, WithoutLockNothingIsStored) {
  GalleryTransManager::GetInstance().SetLockToken("");
  const auto task = UploadTask(Source("unlocked", Noise(10)));
  EXPECT_FALSE(Run(*task));
  EXPECT_THAT(task->LastErr().cause, HasSubstr("lock"));
  EXPECT_EQ(VisibleCount(), 0u);
}

TEST_F(UploadTaskTest, ContentOfAKnownFileGoesBackIntoItsRecord) {
  const auto file = Source("known", Noise(100));
  ASSERT_TRUE(Upload(file));
  const std::string id = file->UniqueId();
  server.Action(R"({"action":"loseObject","userName":"alice","mediaId":")" + id + R"("})");
  const auto download = DownloadTask(file, "known.jpg");
  EXPECT_FALSE(Run(*download));  // The cloud notices its loss.
  file->cloudContentStatus = 2;
  ASSERT_TRUE(DBHelper::GetInstance().AddFile(file));
  ASSERT_TRUE(Upload(file));
  EXPECT_EQ(file->cloudContentStatus, 1);
  EXPECT_EQ(Row(id)->cloudContentStatus, 1);
  EXPECT_EQ(file->UniqueId(), id);
  EXPECT_EQ(VisibleCount(), 1u);
  ASSERT_TRUE(Run(*download));
  EXPECT_TRUE(Bytes(download) == Noise(100));
}

// Another process of the profile has renewed the session; the next request
// notices and takes its tokens.
TEST_F(UploadTaskTest, RenewalByAnotherProcessKeepsTheHash) {
  const std::string before = Uploaded("before", Noise(100))->UniqueId();
  const fs::path path = folder.Path() / "config/ZentaraCloud/account.json";
  Json::Value account;
  ASSERT_EQ(JsonFile::Load(path, account), JsonFile::LoadResult::Loaded);
  const auto answer = NS::Request::Sync(
      NS::Basic::Session::Refresh(account["server"].asString(), account["refreshToken"].asString()));
  ASSERT_TRUE(answer.payload);
  account["accessToken"] = answer.payload->accessToken;
  account["refreshToken"] = answer.payload->refreshToken;
  clock.ms += 3500 * 1000;
  account["accessTokenEnds"] = Json::Int64(clock.ms / 1000 + 3600);
  std::ofstream(path) << account;
  const auto file = Uploaded("after", Noise(100));
  EXPECT_EQ(session.GetCurrentAT(), platform::Utf8ToWide(answer.payload->accessToken));
  const auto hash = [&](const std::string& id) {
    return CloudRecord(id)["attachments"][0]["asset"]["resource"]["hash"].asString();
  };
  EXPECT_EQ(hash(file->UniqueId()), hash(before));
}

TEST_F(UploadTaskTest, EmptyMasterKeyUploadsNothing) {
  const std::string mk1 = GlobalParamWrapper::GetInstance()->GetHMAC_MK1();
  const std::string mk2 = GlobalParamWrapper::GetInstance()->GetHMAC_MK2();
  const std::vector<std::pair<std::string, std::string>> pairs = {{"no key", mk2}, {mk1, "no key"}};
  for (const auto& [first, second] : pairs) {
    GlobalParamWrapper::GetInstance()->SetMasterKeys(first, second);
    const auto task = UploadTask(Source("keyless" + first, Noise(10)));
    EXPECT_FALSE(Run(*task));
    EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
  }
  EXPECT_EQ(server.Requests().size(), 0u);
}

TEST_F(UploadTaskTest, NameFromTheCloudIsTheOneThatTheAlbumKnows) {
  const auto file = Source("clash", Noise(10));
  const auto changer = ChangeAnswers([](const std::string& request, const std::string& answer) {
    if (!request.starts_with("PATCH")) return answer;
    Json::Value record = AnswerChanger::Body(answer);
    record["fileName"] = "clash(1).jpg";
    return AnswerChanger::WithBody(record);
  });
  ASSERT_TRUE(Upload(file));
  const auto album = gallery.GetAlbum("default-album-1");
  EXPECT_EQ(album->FilesNamed(L"clash(1).jpg"), Files{file});
  EXPECT_FALSE(album->HasFileNamed(L"clash.jpg"));
  EXPECT_EQ(Row(file->UniqueId())->FileName(), L"clash(1).jpg");
  EXPECT_EQ(file->GalleryState, 0);
}

bool IsConfirmation(const std::string& request) { return request.find("uploadStatus") != std::string::npos; }
bool IsAnnouncement(const std::string& request) {
  return request.starts_with("POST /cloudPhoto/v1/media/") && !IsConfirmation(request);
}
bool IsCreation(const std::string& request) { return request.starts_with("POST /cloudPhoto/v1/media?"); }

TEST_F(UploadTaskTest, ConfirmationNeedsNoBody) {
  for (const std::string& good :
       {LoopbackServer::Answer(200, "{}"), LoopbackServer::Answer(200, R"({"id":"1"})"),
        std::string("HTTP/1.1 204 None\r\nConnection: close\r\n\r\n")}) {
    const auto changer = ChangeAnswers([&](const std::string& request, const std::string& answer) {
      return IsConfirmation(request) ? good : answer;
    });
    EXPECT_TRUE(Upload(Source("file" + std::to_string(good.size()), Noise(10)))) << good;
  }
}

TEST_F(UploadTaskTest, RefusedConfirmationFails) {
  for (const std::string& bad :
       {LoopbackServer::Answer(500, ""), LoopbackServer::Answer(500, R"({"id":"1"})"),
        LoopbackServer::Answer(200, R"({"error":{"status":400}})")}) {
    const auto changer = ChangeAnswers([&](const std::string& request, const std::string& answer) {
      return IsConfirmation(request) ? bad : answer;
    });
    const auto task = UploadTask(Source("file" + std::to_string(bad.size()), Noise(10)));
    EXPECT_FALSE(Run(*task)) << bad;
    EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
  }
}

TEST_F(UploadTaskTest, WhatIsNotSentNeedsNoObjectInTheAnswer) {
  const auto first = Uploaded("first", Noise(10));
  const auto changer = ChangeAnswers([](const std::string& request, const std::string& answer) {
    if (!IsAnnouncement(request)) return answer;
    Json::Value asset = AnswerChanger::Body(answer);
    asset["resource"].removeMember("objects");
    return AnswerChanger::WithBody(asset);
  });
  EXPECT_TRUE(Upload(Twin(first, "twin", Noise(10))));
  EXPECT_EQ(CountRequests("PUT"), 0u);
  const auto task = UploadTask(Source("fresh", Noise(10, 2)));
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
}

TEST_F(UploadTaskTest, AssetWithoutObjectsIsDone) {
  const auto first = Uploaded("first", Noise(10));
  const auto changer = ChangeAnswers([](const std::string& request, const std::string& answer) {
    if (!IsCreation(request)) return answer;
    Json::Value record = AnswerChanger::Body(answer);
    for (Json::Value& attachment : record["attachments"])
      attachment["asset"]["resource"]["objects"] = Json::Value();
    return AnswerChanger::WithBody(record);
  });
  EXPECT_TRUE(Upload(Twin(first, "twin", Noise(10))));
  EXPECT_EQ(CountRequests("POST"), 1u);
  EXPECT_EQ(VisibleCount(), 2u);
}

TEST_F(UploadTaskTest, RecordOfOtherThanTwoAttachmentsIsRefused) {
  for (const Json::ArrayIndex count : {1, 3}) {
    const auto changer = ChangeAnswers([count](const std::string& request, const std::string& answer) {
      if (!IsCreation(request)) return answer;
      Json::Value record = AnswerChanger::Body(answer);
      const Json::Value thumbnail = record["attachments"][1];
      record["attachments"].resize(1);
      while (record["attachments"].size() < count) record["attachments"].append(thumbnail);
      return AnswerChanger::WithBody(record);
    });
    const auto task = UploadTask(Source("count" + std::to_string(count), Noise(10, count)));
    EXPECT_FALSE(Run(*task)) << count;
    EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
    EXPECT_EQ(CountRequests("PUT"), 0u);
    GoTo(server.Url());
  }
  EXPECT_EQ(VisibleCount(), 0u);
}

// The service has the content from elsewhere, it says.
TEST_F(UploadTaskTest, OtherKindOfUploadSendsNothingButConfirms) {
  const LogText log;
  const auto changer = ChangeAnswers([](const std::string& request, const std::string& answer) {
    if (IsConfirmation(request)) return LoopbackServer::Answer(200, "{}");
    if (!IsCreation(request)) return answer;
    Json::Value record = AnswerChanger::Body(answer);
    record["uploadType"] = "server";
    return AnswerChanger::WithBody(record);
  });
  (void)Upload(Source("rapid", Noise(kSliceSize + 1)));
  EXPECT_EQ(CountRequests("PUT"), 0u);
  const auto requests = changer->Requests();
  EXPECT_EQ(std::count_if(requests.begin(), requests.end(), IsConfirmation), 3);
  EXPECT_TRUE(log.Has("upload file rapid, fileid: "));
}

TEST_F(UploadTaskTest, WithoutAKeyOfTheUserNothingIsSent) {
  auto* parameters = GlobalParamWrapper::GetInstance();
  st_UserInfo user = parameters->GetUserInfo();
  std::fill(std::begin(user.userKey3), std::end(user.userKey3), 0);
  parameters->SetUser(user, L"");
  const auto task = UploadTask(Source("keyless", Noise(10)));
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
  EXPECT_EQ(task->LastErr().cause, "Get userkey is empty Failed!");
  EXPECT_EQ(server.Requests().size(), 0u);
}

TEST_F(UploadTaskTest, WithoutMasterKeysNothingIsSent) {
  const fs::path path = folder.Path() / "config/ZentaraCloud/account.json";
  Json::Value account;
  ASSERT_EQ(JsonFile::Load(path, account), JsonFile::LoadResult::Loaded);
  account.removeMember("mk2");
  std::ofstream(path) << account;
  ASSERT_TRUE(session.Load());
  const auto task = UploadTask(Source("keyless", Noise(10)));
  EXPECT_FALSE(Run(*task));
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kGeneral);
  EXPECT_EQ(task->LastErr().cause, "mk1 or mk2 is empty");
  EXPECT_EQ(server.Requests().size(), 0u);
}

TEST_F(UploadTaskTest, PausedTaskDoesNotRun) {
  const auto task = UploadTask(Source("paused", Noise(10)));
  task->SetStatus(TaskStatus::PausedByUser, 0);
  EXPECT_FALSE(task->StartTask());
  EXPECT_EQ(task->Status(), TaskStatus::PausedByUser);
  EXPECT_EQ(task->LastErr().code, TransferErrorInterface::kNone);
  EXPECT_EQ(server.Requests().size(), 0u);
}

TEST_F(UploadTaskTest, EachRunIsReported) {
  const LogText log;
  const auto file = Uploaded("good", Noise(10));
  GalleryTransManager::GetInstance().SetLockToken("");
  ASSERT_FALSE(Upload(Source("bad", Noise(10))));
  EXPECT_THAT(log.Operations(), HasSubstr("{\"event\":16018,\"report\":{\"fileId\":\"" + file->UniqueId() +
                                          "\",\"fileName\":\"good.jpg\",\"result\":0,"));
  EXPECT_THAT(log.Operations(),
              HasSubstr("{\"event\":16018,\"report\":{\"fileId\":\"bad\",\"fileName\":\"bad.jpg\","
                        "\"result\":40,"));
}

TEST_F(UploadTaskTest, EmptyFileIsOneBlockOfPadding) {
  const auto file = Uploaded("empty", "");
  const Json::Value resource = CloudRecord(file->UniqueId())["attachments"][0]["asset"]["resource"];
  EXPECT_EQ(resource["length"], 0);
  ASSERT_EQ(resource["objects"].size(), 1u);
  EXPECT_EQ(resource["objects"][0]["length"], 16);
  const auto download = DownloadTask(file, "empty.jpg");
  ASSERT_TRUE(Run(*download));
  EXPECT_EQ(Bytes(download), "");
}

// While the answer is on its way the user marks the file; the cloud has to hear
// of that too.
TEST_F(UploadTaskTest, ChangeDuringThePublishingIsSentLater) {
  const auto favourite = Source("favourite", Noise(10, 1)), plain = Source("plain", Noise(10, 2));
  bool isTurn = true;
  const auto changer = WhilePublishing([&] {
    if (isTurn) {
      EXPECT_TRUE(gallery.FavoriteFiles(favourite, true));
    }
    isTurn = false;
  });
  ASSERT_TRUE(Upload(favourite));
  EXPECT_EQ(favourite->GalleryState, kChanged);
  EXPECT_EQ(Row(favourite->UniqueId())->GalleryState, kChanged);
  ASSERT_TRUE(Upload(plain));
  EXPECT_EQ(plain->GalleryState, 0);
}

TEST_F(UploadTaskTest, RecycleDuringARefundStaysPending) {
  const auto file = Uploaded("refund", Noise(10));
  const auto changer = WhilePublishing([&] { EXPECT_EQ(gallery.RecycleFiles({file}, false), 1u); });
  ASSERT_TRUE(Upload(file));
  EXPECT_EQ(file->GalleryState, kChanged);
  EXPECT_TRUE(Row(file->UniqueId())->IsInBin());
}

// Its change waits already when the refund begins, and the refund does not send it.
TEST_F(UploadTaskTest, ChangeBeforeARefundStaysPending) {
  const auto file = Uploaded("earlier", Noise(10));
  ASSERT_EQ(gallery.RecycleFiles({file}, false), 1u);
  ASSERT_TRUE(Upload(file));
  EXPECT_EQ(file->GalleryState, kChanged);
  EXPECT_EQ(Row(file->UniqueId())->GalleryState, kChanged);
}

}  // namespace
