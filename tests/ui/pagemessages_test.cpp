// Messages that workers and the host send to the page, and what it makes of the state of
// the photo cloud.

#include <QAbstractButton>
#include <QApplication>
#include <fstream>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "common/toolkit/button.h"
#include "common/toolkit/label.h"
#include "host/base/drivethreadpool.h"
#include "host/base/jsonfile.h"
#include "host/transfer/transfertask.h"
#include "pagetest.h"
#include "sync/synchelper.h"
#include "ui/dialogs/messagebox.h"
#include "utils/messages.h"

namespace {

constexpr int kAlbumsReady = 7;

// A transfer that only has a file and a size.
class ToldTask : public TransferTask {
 public:
  ToldTask(std::string of, std::int64_t bytes)
      : TransferTask(TaskType::Download), id(std::move(of)), size(bytes) {}
  std::int64_t GetTotalSize() const override { return size; }
  std::wstring GetFileName() const override { return {}; }
  std::wstring GetLocalPath() const override { return {}; }
  std::string GetTransferId() const override { return id; }

 private:
  const std::string id;
  const std::int64_t size;
};

class PageMessageTest : public PageTest {
 protected:
  void SetUp() override {
    PageTest::SetUp();
    GlobalData::cloudDisabled = false;
  }
  void TearDown() override {
    GlobalData::cloudDisabled = false;
    PageTest::TearDown();
  }
  void Tell(UINT message, WPARAM word = 0, LPARAM value = 0) {
    (void)platform::SendMessageW(page->GetHWND(), message, word, value);
  }
  void TellService(CloudPhotoV2Helper::ServiceState state) {
    state.known = true;
    page->askServiceState = [state] { return state; };
    Tell(WM_GALLERY_SYNC_STATE, kAlbumsReady, -1);
  }
  void TellContent(const std::string& id, std::int64_t size, LPARAM state) {
    Tell(WM_GALLERY_CONTENT_STATUS,
         reinterpret_cast<WPARAM>(new TransferTask::Ptr(std::make_shared<ToldTask>(id, size))), state);
  }
  static void StoreAlbumVersion(const std::string& version) {
    AlbumLocalVersion row;
    row.AlbumVersion = version;
    row.HasDownAll = 1;
    ASSERT_TRUE(DBHelper::GetInstance().AddLocalVersion(row));
  }
  static std::size_t VersionRows() {
    std::vector<AlbumLocalVersion> rows;
    return DBHelper::GetInstance().GetLocalVersions(rows) ? rows.size() : 99;
  }
  // The sentence of the box that is open, or nothing.
  QString BoxWords() const {
    const auto* box = Box();
    return box ? box->FindControl(QStringLiteral("label"))->GetText() : QString();
  }
  ErrorWnd* Box() const {
    for (QObject* child : frame->children())
      if (auto* box = dynamic_cast<ErrorWnd*>(child); box && box->isVisible()) return box;
    return nullptr;
  }
  // Answers the next box from inside its own event loop, and gives its words.
  void AnswerBox(QString& words) {
    auto* look = new QTimer(page.get());
    QObject::connect(look, &QTimer::timeout, page.get(), [this, look, &words] {
      if (!Box()) return;
      words = BoxWords();
      look->deleteLater();
      Box()->Close(IDOK);
    });
    look->start(5);
  }
};

// --- A photo cloud that is switched off

TEST_F(PageMessageTest, SwitchedOffCloudShowsTheDaysThatAreLeft) {
  AddDay(0, 4);
  Open();
  ASSERT_TRUE(UntilPictures());
  const int panelTop = page->Panel()->y();
  ASSERT_FALSE(IsShown("StopAndDelete"));
  clock.ms = 1'700'000'000'000;
  TellService({.disabled = true, .deleteTimeMs = 1'700'000'000'000 + 4 * kDayMs + 1});
  Settle();
  EXPECT_TRUE(IsShown("StopAndDelete"));
  EXPECT_EQ(Text("StopText"),
            QStringLiteral("The photo cloud is switched off. Its pictures are deleted in 5 days."));
  EXPECT_TRUE(GlobalData::cloudDisabled);
  EXPECT_EQ(page->Panel()->y(), panelTop + 30);
  Keep("cloud-off");

  TellService({});
  Settle();
  EXPECT_FALSE(IsShown("StopAndDelete"));
  EXPECT_FALSE(GlobalData::cloudDisabled);
  EXPECT_EQ(page->Panel()->y(), panelTop);
}

TEST_F(PageMessageTest, ServiceThatWasNotAskedChangesNothing) {
  AddDay(0, 2);
  StoreAlbumVersion("10");
  Open();
  page->askServiceState = [] {
    return CloudPhotoV2Helper::ServiceState{.disabled = true, .clearVersion = "99"};
  };
  Tell(WM_GALLERY_SYNC_STATE, kAlbumsReady, -1);
  Settle();
  EXPECT_FALSE(IsShown("StopAndDelete"));
  EXPECT_EQ(VersionRows(), 1u);
}

TEST_F(PageMessageTest, EmptiedCloudIsToldAndTheGalleryBeginsAnew) {
  const auto today = AddDay(0, 3);
  auto waiting = LocalFile("waiting");
  Add({waiting});
  StoreAlbumVersion("10");
  Open();
  QString words;
  AnswerBox(words);
  TellService({.clearVersion = "3-11"});
  ASSERT_TRUE(Until([&] { return !words.isEmpty(); }));
  EXPECT_EQ(words, QStringLiteral("The photo cloud was emptied. The gallery begins anew."));
  ASSERT_TRUE(Until([&] { return VersionRows() == 0; }));
  EXPECT_EQ(Row(today[0]->UniqueId()), nullptr);
  EXPECT_NE(Row("waiting"), nullptr);  // What only this computer has stays.
}

TEST_F(PageMessageTest, EmptyingThatIsNoNewerLeavesTheRows) {
  AddDay(0, 3);
  StoreAlbumVersion("10");
  Open();
  TellService({.clearVersion = "3-10"});
  TellService({.clearVersion = "9"});
  // What was asked for in the background has been done when this has.
  std::atomic<bool> through{false};
  (void)CommonAbility::DriveThreadPool::GetInstance().Add([&through] { through = true; });
  ASSERT_TRUE(Until([&] { return through.load(); }));
  Settle();
  EXPECT_EQ(Box(), nullptr);
  EXPECT_EQ(VersionRows(), 1u);
}

// --- The status line

TEST_F(PageMessageTest, AlbumShowsOnlyWhatIsBeingUploaded) {
  AddDay(0, 2);
  Open();
  page->OnSyncStatus(SyncStatus::CHECK, 0);
  Settle();
  ASSERT_TRUE(IsShown("update_ring"));
  page->Panel()->SelectAlbum(SystemAlbumId(AlbumKind::AllPictures));
  Settle();
  EXPECT_FALSE(IsShown("update_bar"));
  page->OnSyncStatus(SyncStatus::UPLOAD, 3);
  Settle();
  EXPECT_TRUE(IsShown("update_bar"));
  EXPECT_EQ(Text("update_status"), QStringLiteral("Uploading 3 items"));
  page->OnSyncStatus(SyncStatus::UPLOAD, 0);
  Settle();
  EXPECT_FALSE(IsShown("update_status"));
  EXPECT_FALSE(IsShown("update_ring"));
}

TEST_F(PageMessageTest, TimeLineShowsWhatWasToldMeanwhile) {
  AddDay(0, 2);
  Open();
  page->OnSyncStatus(SyncStatus::CHECK, 0);
  Settle();
  page->Panel()->SelectAlbum(SystemAlbumId(AlbumKind::AllPictures));
  page->OnSyncStatus(SyncStatus::SYNCERROR, 0);
  Settle();
  page->Panel()->SelectAlbum(SystemAlbumId(AlbumKind::TimeLine));
  Settle();
  EXPECT_FALSE(IsShown("update_ring"));
  EXPECT_EQ(Text("update_status"), QStringLiteral("The gallery could not be updated"));
}

TEST_F(PageMessageTest, AnotherLanguageIsNoUpdate) {
  AddDay(0, 1);
  clock.ms = 1'700'000'000'000;
  Open();
  page->OnSyncStatus(SyncStatus::IDLE, 0);
  Settle();
  clock.ms += 300'000;
  Tell(WM_GALLERY_LANGUAGE_CHANGED);
  EXPECT_EQ(Text("update_status"), QStringLiteral("Updated 5 minutes ago"));
}

// The cloud is full, and an upgrade of the account can be bought.
class UpgradeTest : public PageMessageTest {
 protected:
  void OpenWith(const char* more) {
    std::ofstream(JsonFile::Folder() / "settings.json") << R"({"modules":["SupportUpgrade"])" << more << "}";
    (void)GlobalParamWrapper::GetInstance()->Load();
    AddDay(0, 1);
    Open();
    page->OnSyncStatus(SyncStatus::NOSPACE, 2);
    page->OnSyncStatus(SyncStatus::IDLE, 2);
    Settle();
  }
};

TEST_F(UpgradeTest, FullCloudLinksToMoreSpace) {
  OpenWith("");
  EXPECT_EQ(Text("update_status"), QStringLiteral("2 items wait. The photo cloud is full. "
                                                  "<a 1> <c #007DFF>Get more space</c></a>"));
  auto* words = page->Find<CLabelUI>(QStringLiteral("update_status"));
  EXPECT_EQ(words->toolTip(), QStringLiteral("2 items wait. The photo cloud is full. Get more space"));
}

TEST_F(UpgradeTest, LinkAsksTheHostForMoreSpace) {
  OpenWith("");
  int asked = 0;
  const HWND host = platform::RegisterWindow(
      [&asked](UINT message, WPARAM, LPARAM) {
        asked += message == 3037 ? 1 : 0;
        return LRESULT{0};
      },
      [](const std::function<void()>& call) { call(); });
  const HWND before = GlobalData::mainWnd.exchange(host);
  auto* words = page->Find<CLabelUI>(QStringLiteral("update_status"));
  Q_EMIT words->linkActivated(QStringLiteral("1"));
  Settle();
  GlobalData::mainWnd = before;
  platform::UnregisterWindow(host);
  EXPECT_EQ(asked, 1);
}

TEST_F(UpgradeTest, AccountWithTheBasicServiceIsToldItsLimit) {
  OpenWith(R"(,"baseServiceUser":true)");
  EXPECT_EQ(Text("update_status"), QStringLiteral("Your account cannot upload more."));
}

// --- Contents

TEST_F(PageMessageTest, ContentThatWasLostAndCameBackIsStored) {
  const auto today = AddDay(0, 2);
  Open();
  TellContent(today[0]->UniqueId(), 0, 2);
  ASSERT_TRUE(Until([&] { return Row(today[0]->UniqueId())->cloudContentStatus == 2; }));
  EXPECT_TRUE(Until([&] { return today[0]->cloudContentStatus == 2; }));
  EXPECT_EQ(today[0]->Size, 1000);
  TellContent(today[0]->UniqueId(), 5555, 1);
  ASSERT_TRUE(Until([&] { return Row(today[0]->UniqueId())->Size == 5555; }));
  EXPECT_EQ(Row(today[0]->UniqueId())->cloudContentStatus, 1);
  EXPECT_EQ(today[0]->Size, 5555);
  EXPECT_EQ(Row(today[1]->UniqueId())->cloudContentStatus, 0);
}

TEST_F(PageMessageTest, RecordOfAToldTransferIsFreed) {
  AddDay(0, 1);
  Open();
  const auto task = std::make_shared<ToldTask>("unknown", 1);
  Tell(WM_GALLERY_CONTENT_STATUS, reinterpret_cast<WPARAM>(new TransferTask::Ptr(task)), 7);
  EXPECT_EQ(task.use_count(), 1);
  Tell(WM_GALLERY_CONTENT_STATUS, 0, 1);
}

TEST_F(PageMessageTest, RecordsOfAFinishedUploadAreFreedEachByItself) {
  const auto today = AddDay(0, 1);
  Open();
  const auto task = std::make_shared<ToldTask>("a", 1);
  const auto told = std::make_shared<GalleryFile>();
  Tell(WM_GALLERY_UPLOAD_FINISHED, reinterpret_cast<WPARAM>(new TransferTask::Ptr(task)),
       reinterpret_cast<LPARAM>(new GalleryFile::Ptr(told)));
  EXPECT_EQ(task.use_count(), 1);
  EXPECT_EQ(told.use_count(), 1);
  Tell(WM_GALLERY_UPLOAD_FINISHED, 0, reinterpret_cast<LPARAM>(new GalleryFile::Ptr(told)));
  EXPECT_EQ(told.use_count(), 1);
}

// --- Others

// What a tick tells.
class LastStatus : public ISyncCallback {
 public:
  void Notify(std::int32_t) override {}
  void OnSyncStatus(SyncStatus status, std::int64_t) override { last = status; }
  void ShowWindow() override {}
  SyncStatus last = SyncStatus::IDLE;
};

TEST_F(PageMessageTest, SwitchOfTheSyncReachesTheSync) {
  AddDay(0, 1);
  Open();
  LastStatus told;
  {
    SyncHelper sync;
    SyncHelper::Replace(&sync);
    sync.SetCallback(&told);
    Tell(WM_GALLERY_SWITCH_CHANGED, 0);
    (void)sync.RunOnce();
    EXPECT_EQ(told.last, SyncStatus::PAUSE);
    Tell(WM_GALLERY_SWITCH_CHANGED, 1);
    told.last = SyncStatus::IDLE;
    (void)sync.RunOnce();
    EXPECT_NE(told.last, SyncStatus::PAUSE);
    SyncHelper::Replace(nullptr);
  }
}

TEST_F(PageMessageTest, LastPictureThatGoesTakesTheZoomAlong) {
  Add({});
  Open();
  Settle();
  page->FindControl(QStringLiteral("slider_pic"))->SetEnabled(true);
  Tell(WM_GALLERY_ALBUM_REMOVED, 0, reinterpret_cast<LPARAM>(new std::string("any")));
  EXPECT_FALSE(IsEnabled("slider_pic"));
  EXPECT_FALSE(IsEnabled("btn_narrow"));
}

TEST_F(PageMessageTest, OtherResolutionMakesRowsAndPanelAnew) {
  AddDay(0, 30);
  Open();
  page->Find<CSliderUI>(QStringLiteral("slider_pic"))->SetValue(3);
  ASSERT_TRUE(Until([this] { return helper.CurrentView().layout->cols == 6; }));
  ASSERT_TRUE(UntilPictures());
  EXPECT_EQ(page->Panel()->width(), 200);
  Tell(WM_GALLERY_DPI, 144);
  ASSERT_TRUE(Until([this] { return helper.CurrentView().layout->dateHeight == 60; }));
  Settle();
  EXPECT_EQ(page->Panel()->width(), 300);
  EXPECT_EQ(page->Panel()->Manager().GetDPI(), 144);
  // (1356 - 300 - 21 - 60) / 6
  EXPECT_EQ(List().Body()->Rows()[1]->height(), 162);
  Keep("dpi-144");
}

TEST_F(PageMessageTest, TooManyFilesAreTold) {
  AddDay(0, 1);
  Open();
  Tell(WM_GALLERY_UPLOAD_LIMIT);
  const auto labels = page->findChildren<CLabelUI*>();
  EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [](const CLabelUI* label) {
    return label->GetText().contains(QStringLiteral("100000")) ||
           label->GetText().contains(QStringLiteral("100,000"));
  }));
}

// --- Dialogs, keys, rows

TEST_F(PageMessageTest, DimLayerAndDialogFollowTheWindow) {
  AddDay(0, 1);
  Open();
  QRect dim, box, window;
  auto* look = new QTimer(page.get());
  QObject::connect(look, &QTimer::timeout, page.get(), [&, look] {
    if (!Box()) return;
    look->deleteLater();
    frame->resize(1100, 700);
    QApplication::processEvents();
    if (auto* layer = toolkit::WidgetOf(UIBackGroundMessWnd::Top())) dim = layer->geometry();
    box = Box()->geometry();
    window = frame->rect();
    Box()->Close(IDOK);
  });
  look->start(5);
  PopMessageBox(*page, QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"));
  EXPECT_EQ(dim, window);
  EXPECT_EQ(window.size(), QSize(1100, 700));
  EXPECT_LE(std::abs(box.center().x() - window.center().x()), 1);
  EXPECT_LE(std::abs(box.center().y() - window.center().y()), 1);
  EXPECT_EQ(UIBackGroundMessWnd::Top(), nullptr);
}

TEST_F(PageMessageTest, FourAndSixOfTheKeypadWalk) {
  const auto today = AddDay(0, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  List().setFocus();
  QTest::keyClick(&List(), Qt::Key_6, Qt::KeypadModifier);
  QTest::keyClick(&List(), Qt::Key_6, Qt::KeypadModifier);
  EXPECT_EQ(Page::FocusFile(), today[1]);
  QTest::keyClick(&List(), Qt::Key_4, Qt::KeypadModifier);
  EXPECT_EQ(Page::FocusFile(), today[0]);
}

TEST_F(PageMessageTest, SelectionOfRowsIsByTheirPlaceInTheView) {
  for (int day = 0; day < 30; ++day) AddDay(day, 7);
  Open();
  ASSERT_TRUE(UntilPictures());
  auto& body = *List().Body();
  body.SelectItem(1);
  EXPECT_EQ(body.GetSelectedItems(), (std::vector<std::uint32_t>{1}));
  EXPECT_EQ(body.CurrentRow(), body.Rows()[1]);
  List().SelectRange(42, 40);
  EXPECT_EQ(body.GetSelectedItems(), (std::vector<std::uint32_t>{40, 41, 42}));
  ASSERT_NE(body.CurrentRow(), nullptr);  // It was brought into sight.
  EXPECT_EQ(body.CurrentRow()->RowIndex(), 42u);
  body.UnSelectItem(42);
  EXPECT_EQ(body.CurrentRow(), nullptr);
  EXPECT_EQ(body.GetSelectedItems(), (std::vector<std::uint32_t>{40, 41}));
  body.SelectItem(100'000);
  EXPECT_TRUE(body.GetSelectedItems().empty());
}

TEST_F(PageMessageTest, ListWithoutItsRowsHasNoProvider) {
  AddDay(0, 7);
  Open();
  ASSERT_TRUE(UntilPictures());
  List().RemoveAt(0);
  EXPECT_EQ(List().Body()->Rows().size(), 2u);
  List().RemoveAll();
  EXPECT_TRUE(List().Body()->Rows().empty());
  EXPECT_EQ(List().GetDataProvider(), nullptr);
  Settle();
}

}  // namespace
