#include "support/faketask.h"
#include "synctest.h"
#include "transfer/gallerytransmanager.h"

namespace {

class SyncUploadTest : public SyncTest {
 protected:
  void Fill(int count) {
    for (int i = 0; i < count; ++i)
      cloud.AddMedia("m" + std::to_string(i), L"m" + std::to_wstring(i) + L".jpg");
    Settle();
    cloud.ForgetCalls();
  }
  int Count(const std::string& name) {
    const auto calls = cloud.CallNames();
    return static_cast<int>(std::count(calls.begin(), calls.end(), name));
  }
  // Uploads that end when the test says so.
  void UploadsByHand() {
    transfers.SetMakeUpload([this](const GalleryFile::Ptr& file, const Album::Ptr&) {
      auto task = std::make_shared<FakeTask>(TaskType::Upload, file->UniqueId());
      const std::lock_guard hold(lock);
      uploads.push_back(task);
      made.notify_all();
      return task;
    });
  }
  std::vector<std::shared_ptr<FakeTask>> WaitForUploads(std::size_t count) {
    std::unique_lock hold(lock);
    made.wait(hold, [&] { return uploads.size() >= count; });
    return uploads;
  }
  void AddWaiting(int count) {
    Files files;
    for (int i = 0; i < count; ++i) {
      std::string number = std::to_string(i);
      files.push_back(LocalFile("l" + number));
    }
    Add(files);
  }
  GalleryTransManager& transfers = GalleryTransManager::GetInstance();
  std::mutex lock;
  std::condition_variable made;
  std::vector<std::shared_ptr<FakeTask>> uploads;
};

TEST_F(SyncUploadTest, EachStepThatFailsIsInTheOperationLogByItsText) {
  const std::pair<const char*, const char*> steps[] = {
      {"UploadCreateAlbum", "280 5 Upload Created Albums Fialed!"},
      {"UploadModifyAlbum", "280 5 Upload Modfiy Albums Failed!"},
      {"UploadModifyFile", "280 5 Upload Modfiy Files Failed!"},
      {"UploadDeleteFile", "280 5 Upload Delete Files Failed!"},
      {"UploadDeleteAlbum", "280 5 Upload Delete Albums Failed!"}};
  cloud.CreateAlbum("default-album-300-r", L"Renamed");
  cloud.CreateAlbum("default-album-300-d", L"Gone");
  Fill(2);
  cloud.Recycle("m1");
  Settle();
  ASSERT_TRUE(gallery.CreateAlbum(L"Fresh", false, -1));
  ASSERT_TRUE(gallery.RenameAlbum(gallery.GetAlbum("default-album-300-r"), L"Other"));
  ASSERT_TRUE(gallery.DeleteAlbum(gallery.GetAlbum("default-album-300-d")));
  gallery.FavoriteFiles(gallery.GetFile("m0"), true);
  ASSERT_EQ(gallery.DeleteFiles({gallery.GetFile("m1")}, false), 1u);
  for (const auto& [call, line] : steps) {
    const OperationLog log;
    cloud.onCall = [&, name = std::string(call)](const std::string& present) {
      if (present == name) cloud.FailCall(1);
    };
    (void)Cycle();
    EXPECT_EQ(log.Failures(), std::vector<std::string>{line});
  }
}

TEST_F(SyncUploadTest, OneBatchAndOneMore) {
  cloud.batchLimit = 3;
  Fill(4);
  for (int i = 0; i < 3; ++i) gallery.FavoriteFiles(gallery.GetFile("m" + std::to_string(i)), true);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadModifyFile"), 1);
  for (int i = 0; i < 4; ++i) {
    const auto file = gallery.GetFile("m" + std::to_string(i));
    gallery.FavoriteFiles(file, !file->IsFavorite);
  }
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadModifyFile"), 3);
  ExpectInStep();
}

TEST_F(SyncUploadTest, OneBatchOfAlbumsAndOneMore) {
  cloud.batchLimit = 2;
  Fill(1);
  for (const wchar_t* name : {L"A", L"B"}) ASSERT_TRUE(gallery.CreateAlbum(name, false, -1));
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadCreateAlbum"), 1);
  for (const wchar_t* name : {L"C", L"D", L"E"}) ASSERT_TRUE(gallery.CreateAlbum(name, false, -1));
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadCreateAlbum"), 3);
  Gallery::Albums albums;
  gallery.GetAlbums(albums, true);
  for (const auto& album : albums) {
    if (album->AlbumId.Get() != "default-album-1") gallery.DeleteAlbum(album);
  }
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadDeleteAlbum"), 3);
  ExpectInStep();
}

TEST_F(SyncUploadTest, OneBatchOfDeletionsAndOneMore) {
  cloud.batchLimit = 2;
  Fill(5);
  gallery.DeleteFiles({gallery.GetFile("m0"), gallery.GetFile("m1")}, false);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadDeleteFile"), 1);
  gallery.DeleteFiles({gallery.GetFile("m2"), gallery.GetFile("m3"), gallery.GetFile("m4")}, false);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadDeleteFile"), 3);
  EXPECT_TRUE(cloud.LiveIds().empty());
  ExpectInStep();
}

TEST_F(SyncUploadTest, MixedBatchSendsTheRecycledFirst) {
  Fill(2);
  gallery.FavoriteFiles(gallery.GetFile("m0"), true);
  gallery.RecycleFiles({gallery.GetFile("m1")}, false);
  EXPECT_TRUE(Cycle());
  EXPECT_FALSE(cloud.MediaInfo("m1").recycleAlbumId.empty());
  EXPECT_FALSE(cloud.MediaInfo("m0").favorite);
  EXPECT_TRUE(Cycle());
  EXPECT_TRUE(cloud.MediaInfo("m0").favorite);
  ExpectInStep();
}

TEST_F(SyncUploadTest, ChangeMadeWhileSendingStaysWaiting) {
  Fill(1);
  const auto file = gallery.GetFile("m0");
  gallery.FavoriteFiles(file, true);
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadModifyFile") gallery.FavoriteFiles(file, false);
  };
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(file->GalleryState, 2);
  cloud.onCall = nullptr;
  Settle();
  EXPECT_FALSE(cloud.MediaInfo("m0").favorite);
  ExpectInStep();
}

TEST_F(SyncUploadTest, FileThatIsRenamedMovedOrRecycledWhileSendingStaysWaiting) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  Fill(4);
  std::map<std::string, FilePtr> files;
  for (const char* id : {"m0", "m1", "m2", "m3"}) files[id] = gallery.GetFile(id);
  gallery.RecycleFiles({files["m3"]}, false);
  ASSERT_TRUE(Cycle());
  const std::map<std::string, std::function<void()>> changes{
      {"m0", [&] { files["m0"]->SetFileName(L"renamed.jpg"); }},
      {"m1", [&] { gallery.MoveFiles({files["m1"]}, gallery.GetAlbum("default-album-300-x"), false); }},
      {"m2", [&] { gallery.RecycleFiles({files["m2"]}, false); }},
      {"m3", [&] { gallery.RecoverFiles({files["m3"]}, false); }},
  };
  for (const auto& [id, change] : changes) {
    SCOPED_TRACE(id);
    files[id]->SetExpandValue("note", "new");
    files[id]->GalleryState = 2;
    cloud.onCall = [&](const std::string& call) {
      if (call == "UploadModifyFile") change();
    };
    EXPECT_TRUE(Cycle());
    EXPECT_EQ(files[id]->GalleryState, 2);
    cloud.onCall = nullptr;
    Settle();
    EXPECT_EQ(files[id]->GalleryState, 0);
  }
  ExpectInStep();
}

TEST_F(SyncUploadTest, DeletionThatWaitsWinsOverANewerRecord) {
  Fill(1);
  gallery.DeleteFiles({gallery.GetFile("m0")}, false);
  cloud.Edit("m0", [](CloudFileInfo& info) { info.favorite = true; });
  EXPECT_TRUE(Cycle());
  EXPECT_FALSE(cloud.Has("m0"));
  ExpectInStep();
}

TEST_F(SyncUploadTest, RenameWhileAnAlbumIsSentStaysWaiting) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  Settle();
  const auto album = gallery.GetAlbum("default-album-300-x");
  gallery.RenameAlbum(album, L"First");
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadModifyAlbum") gallery.RenameAlbum(album, L"Second");
  };
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(album->Operation.Get(), "1");
  cloud.onCall = nullptr;
  Settle();
  ExpectInStep();
}

TEST_F(SyncUploadTest, RenameWhileAnAlbumIsCreatedGoesUpNext) {
  Fill(1);
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  ASSERT_TRUE(album);
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadCreateAlbum") gallery.RenameAlbum(album, L"Journey");
  };
  EXPECT_TRUE(Cycle());
  cloud.onCall = nullptr;
  Settle();
  EXPECT_EQ(album->Operation.Get(), "");
  EXPECT_NE(cloud.Tree().find("Journey"), std::string::npos) << cloud.Tree();
  ExpectInStep();
}

TEST_F(SyncUploadTest, HidingWhileAnAlbumIsSentGoesUpNext) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  Settle();
  const auto album = gallery.GetAlbum("default-album-300-x");
  gallery.RenameAlbum(album, L"First");
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadModifyAlbum") album->SetExpandText(R"({"hide":"1"})");
  };
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(album->Operation.Get(), "1");
  cloud.onCall = nullptr;
  Settle();
  EXPECT_EQ(album->Operation.Get(), "");
  EXPECT_TRUE(album->IsHidden());
}

TEST_F(SyncUploadTest, TakenAlbumNameGetsANumber) {
  Fill(1);
  gallery.CreateAlbum(L"Trip", false, -1);
  bool once = false;
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadCreateAlbum" && !std::exchange(once, true))
      cloud.CreateAlbum("default-album-300-x", L"Trip");
  };
  (void)Cycle();
  cloud.onCall = nullptr;
  Settle();
  EXPECT_NE(cloud.Tree().find("Trip(1)"), std::string::npos) << cloud.Tree();
  ExpectInStep();
}

TEST_F(SyncUploadTest, AlbumThatCanGetNoOtherNameIsTold) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  cloud.CreateAlbum("default-album-300-cover", L"Cover");
  Settle();
  const auto album = gallery.GetAlbum("default-album-300-cover");
  album->Lpath = "/Zentara/CoverUnlock";  // Its name is fixed.
  album->AlbumName = L"Trip";
  album->Operation = "1";
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(sync->GetState().lastError.item, "default-album-300-cover");
}

TEST_F(SyncUploadTest, FileThatTheCloudLostGoesHereToo) {
  Fill(2);
  gallery.FavoriteFiles(gallery.GetFile("m0"), true);
  cloud.onCall = [&](const std::string& call) {
    if (call == "UploadModifyFile") cloud.Delete("m0");
  };
  (void)Cycle();
  cloud.onCall = nullptr;
  EXPECT_FALSE(gallery.GetFile("m0"));
  EXPECT_FALSE(Row("m0"));
}

TEST_F(SyncUploadTest, WaitingFileWithAMarkIsNeitherSentNorDeleted) {
  Fill(1);
  const auto file = LocalFile("waiting");
  Add({file});
  gallery.FavoriteFiles(file, true);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(Count("UploadModifyFile"), 0);
  EXPECT_TRUE(gallery.GetFile("waiting"));
  EXPECT_TRUE(Row("waiting"));
}

TEST_F(SyncUploadTest, DeletedFilesAndAlbumsGoUp) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  cloud.AddMedia("in", L"in.jpg", "default-album-300-x");
  Fill(2);
  gallery.DeleteFiles({gallery.GetFile("m0")}, false);
  gallery.DeleteAlbum(gallery.GetAlbum("default-album-300-x"));
  Settle();
  EXPECT_FALSE(cloud.Has("m0"));
  EXPECT_FALSE(cloud.MediaInfo("in").recycleAlbumId.empty());
  ExpectInStep();
}

TEST_F(SyncUploadTest, AlbumWithFilesOfAnotherDeviceSendsThemToTheBin) {
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  Fill(1);
  gallery.DeleteAlbum(gallery.GetAlbum("default-album-300-x"));
  cloud.onCall = [&](const std::string& call) {
    if (call != "UploadDeleteAlbum") return;
    cloud.Edit("m0", [](CloudFileInfo& info) { info.albumId = "default-album-300-x"; });
  };
  (void)Cycle();
  cloud.onCall = nullptr;
  EXPECT_TRUE(gallery.GetFile("m0")->IsInBin());
  Settle();
  EXPECT_FALSE(cloud.MediaInfo("m0").recycleAlbumId.empty());
  ExpectInStep();
}

TEST_F(SyncUploadTest, AlbumWithAHiddenLostFileIsDeletedInTheEnd) {
  Fill(1);
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  cloud.AddMedia("lost", L"lost.jpg", "default-album-300-x");
  cloud.Edit("lost", [](CloudFileInfo& info) { info.cloudContentStatus = 2; });
  Settle();
  HideLostFiles();
  RestartClient();
  ASSERT_TRUE(Cycle());
  ASSERT_FALSE(gallery.GetFile("lost"));
  ASSERT_TRUE(gallery.DeleteAlbum(gallery.GetAlbum("default-album-300-x")));
  Settle();
  EXPECT_EQ(cloud.AlbumIds(), std::vector<std::string>{"default-album-1"});
  EXPECT_FALSE(cloud.MediaInfo("lost").recycleAlbumId.empty());
  EXPECT_TRUE(Row("lost")->IsInBin());
}

TEST_F(SyncUploadTest, FileMovedOutOfADeletedAlbumDoesNotGoToTheBin) {
  Fill(1);
  cloud.CreateAlbum("default-album-300-x", L"Trip");
  cloud.AddMedia("moved", L"moved.jpg", "default-album-300-x");
  Settle();
  // The recycled file goes first, so that the move waits for the next cycle.
  gallery.RecycleFiles({gallery.GetFile("m0")}, false);
  gallery.MoveFiles({gallery.GetFile("moved")}, gallery.GetAlbum("default-album-1"), false);
  ASSERT_TRUE(gallery.DeleteAlbum(gallery.GetAlbum("default-album-300-x")));
  Settle();
  EXPECT_EQ(cloud.MediaInfo("moved").recycleAlbumId, "");
  EXPECT_EQ(cloud.MediaInfo("moved").albumId, "default-album-1");
  ExpectInStep();
}

TEST_F(SyncUploadTest, ContentBeyondTheFreeSpaceStaysAndIsTold) {
  Fill(1);
  services.spaceInfo = [] { return SpaceInfo{0, 5000, 1500}; };
  std::vector<std::string> handed;
  transfers.SetMakeUpload([&](const GalleryFile::Ptr& file, const Album::Ptr&) {
    handed.push_back(file->UniqueId());
    return nullptr;
  });
  RestartClient();
  ASSERT_TRUE(Cycle());
  Add({LocalFile("l1"), LocalFile("l2")});
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(handed.size(), 1u);
  const SyncError error = sync->GetState().lastError;
  EXPECT_EQ(error.step, "SyncHelper::UploadContent");
  EXPECT_EQ(error.cause, "the cloud has room for 500 more bytes, the file has 1000");
  EXPECT_EQ(error.item, handed.front() == "l1" ? "l2" : "l1");
  const auto told = listener.Statuses();
  EXPECT_NE(std::find(told.begin(), told.end(), Told{SyncStatus::NOSPACE, 2}), told.end());
}

TEST_F(SyncUploadTest, UploadWithoutRoomLeavesARunningRefundAlone) {
  Fill(1);
  services.spaceInfo = [] { return SpaceInfo{0, 5000, 500}; };
  RestartClient();
  ASSERT_TRUE(Cycle());
  UploadsByHand();
  ASSERT_EQ(transfers.GalleryUpload({gallery.GetFile("m0")}, nullptr), 1u);
  const auto refund = WaitForUploads(1).front();
  refund->WaitForRun(1);
  AddWaiting(1);
  EXPECT_FALSE(Cycle());
  EXPECT_EQ(transfers.Tasks(TaskType::Upload).size(), 1u);
  EXPECT_EQ(refund->Events(), std::vector<std::string>{"run"});
  refund->Let(TransferErrorInterface::kNone);
}

TEST_F(SyncUploadTest, HundredAndOneFilesMakeOnePass) {
  Fill(1);
  UploadsByHand();
  AddWaiting(102);
  std::thread cycle([this] { EXPECT_TRUE(Cycle()); });
  const auto pass = WaitForUploads(101);
  // What lies behind the pass is told less the hundred that are as good as up.
  listener.WaitForStatus({SyncStatus::UPLOAD, 2 + 101});
  for (const auto& task : pass) task->Let(TransferErrorInterface::kNone);
  const auto all = WaitForUploads(102);
  all.back()->Let(TransferErrorInterface::kNone);
  cycle.join();
  EXPECT_EQ(all.size(), 102u);
}

TEST_F(SyncUploadTest, PauseOfTransfersEndsTheUploadsAndKeepsTheFiles) {
  Fill(1);
  std::atomic<bool> paused{false};
  services.contentPaused = [&] { return paused.load(); };
  RestartClient();
  ASSERT_TRUE(Cycle());
  UploadsByHand();
  AddWaiting(3);
  std::thread cycle([this] { EXPECT_TRUE(Cycle()); });
  (void)WaitForUploads(3);
  paused = true;
  transfers.OnClockMoved();  // any change has the pause looked at
  cycle.join();
  EXPECT_TRUE(transfers.Tasks(TaskType::Upload).empty());
  EXPECT_EQ(sync->GetState().pendingUploads, 3u);
  EXPECT_TRUE(Cycle());
  EXPECT_EQ(uploads.size(), 3u);
}

TEST_F(SyncUploadTest, FileThatIsOnItsWayIsNotQueuedAgain) {
  Fill(1);
  UploadsByHand();
  AddWaiting(1);
  const auto file = gallery.GetFile("l0");
  EXPECT_EQ(transfers.GalleryUpload({file}, nullptr), 1u);
  EXPECT_EQ(transfers.GalleryUpload({file}, nullptr), 0u);
  EXPECT_EQ(transfers.Tasks(TaskType::Upload).size(), 1u);
}

class RefusedUploadTest : public SyncTest {
 protected:
  void SetUp() override {
    SyncTest::SetUp();
    cloud.CreateAlbum("default-album-300-there", L"There");
    cloud.AddMedia("m0", L"m0.jpg", "default-album-1");
    cloud.AddMedia("m1", L"m1.jpg", "default-album-1");
    Settle();
    mine = gallery.CreateAlbum(L"Mine", false, -1);
    ASSERT_TRUE(mine);
    ASSERT_EQ(gallery.MoveFiles({gallery.GetFile("m0")}, mine, false), 1u);
  }
  FailedItem Conflict(const std::string& with) {
    FailedItem item;
    item.id = mine->AlbumId.Get();
    item.code = "21";
    item.conflictId = with;
    return item;
  }
  SyncLocalOperation local{services, [] {}};
  Album::Ptr mine;
};

TEST_F(RefusedUploadTest, AlbumKnownUnderAnotherIdGivesItsFilesToThatOne) {
  local.UploadCreatedAlbumsFailed({Conflict("default-album-300-there")});
  EXPECT_EQ(gallery.GetFile("m0")->AlbumId(), "default-album-300-there");
  EXPECT_FALSE(gallery.GetAlbum(mine->AlbumId.Get()));
  Settle();
  ExpectInStep();
}

TEST_F(RefusedUploadTest, AlbumKnownUnderItsOwnIdGoesUpAsAChange) {
  local.UploadCreatedAlbumsFailed({Conflict(mine->AlbumId.Get())});
  EXPECT_EQ(mine->Operation.Get(), "1");
}

TEST_F(RefusedUploadTest, ConflictWithoutAnotherAlbumChangesNothing) {
  local.UploadCreatedAlbumsFailed({Conflict("")});
  local.UploadCreatedAlbumsFailed({Conflict("default-album-300-nowhere")});
  EXPECT_EQ(mine->Operation.Get(), "0");
  EXPECT_EQ(gallery.GetFile("m0")->AlbumId(), mine->AlbumId.Get());
}

TEST_F(RefusedUploadTest, FileWhoseNameIsTakenThereGetsANumber) {
  FailedItem item;
  item.id = "m1";
  item.code = "104";
  local.UploadModifyFilesFailed({item});
  EXPECT_EQ(gallery.GetFile("m1")->FileName(), L"m1(1).jpg");
  EXPECT_EQ(Row("m1")->FileName(), L"m1(1).jpg");
  EXPECT_EQ(Row("m1")->GalleryState, 2);
}

}  // namespace
