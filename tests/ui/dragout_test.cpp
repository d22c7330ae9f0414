// Pictures dragged out of the page into another program, by a pointer on a real screen.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QProcess>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <deque>
#include <fstream>

#include "common/toolkit/label.h"
#include "common/toolkit/resourcemanager.h"
#include "contenttest.h"
#include "host/base/globalparamwrapper.h"
#include "openpage.h"
#include "transfer/gallerytransmanager.h"
#include "ui/dragpicture.h"
#include "ui/galleryalbumwnd.h"
#include "ui/gallerydragout.h"
#include "ui/gallerydropwatch.h"
#include "ui/view/pageflags.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class DragOutTest : public ContentTest, protected OpenPage {
 protected:
  void SetUp() override {
    upward::Install(&GalleryFileListViewHelper::GetInstance());
    ContentTest::SetUp();
    GlobalData::globalParam = GlobalParamWrapper::GetInstance();
    GlobalData::multiBubbleShown = false;
    fs::create_directories(folder / "target");
    // What is dropped lands in a folder of the user's.
    home = qgetenv("HOME");
    qputenv("HOME", QByteArray::fromStdString(folder.Path().string()));
  }
  void TearDown() override {
    target.kill();
    target.waitForFinished();
    ClosePage();
    ContentTest::TearDown();
    qputenv("HOME", home);
    upward::Install(static_cast<IAlbumViews*>(nullptr));
  }

  // A picture of the cloud; without `here` its original is not on this computer.
  FilePtr Picture(const std::string& name, const std::string& bytes, bool here) {
    const auto file = Source(name, bytes);
    EXPECT_TRUE(Upload(file));
    if (!here) fs::remove(platform::NativePath(file->LocalPath()));
    server.ForgetRequests();
    return file;
  }
  void Open() {
    ShowPage();
    ASSERT_TRUE(QTest::qWaitFor([this] { return Cell() != nullptr; }, 20000));
  }
  static void Pointer(const std::string& command) {
    EXPECT_EQ(std::system(("xdotool " + command).c_str()), 0);
  }
  static std::string At(QPoint point) { return std::to_string(point.x()) + " " + std::to_string(point.y()); }

  // Drags the first cell into the target, whose window is another process's. A drag has an
  // event loop of its own, so what comes next is decided by a timer inside it.
  std::string DragTo(const QString& mode, const std::function<void()>& beforeDrop = {}) {
    target.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    target.start(QString::fromUtf8(DRAG_TARGET),
                 {mode, QString::fromStdString((folder / "target").string())});
    EXPECT_TRUE(QTest::qWaitFor([this] { return Heard("ready"); }, 20000));
    auto* cell = Cell();
    const QPoint start = cell->mapToGlobal(cell->HitRect().center());
    Pointer("mousemove " + At(start) + " mousedown 1");
    EXPECT_TRUE(QTest::qWaitFor([] { return GallerySelectHelper::GetInstance().Count() > 0; }, 20000));
    int step = 0;
    bool began = false, dropped = false;
    QTimer driver;
    QObject::connect(&driver, &QTimer::timeout, &driver, [&] {
      ++step;
      began = began || GlobalData::dragging;
      if (!began) return Pointer("mousemove " + At(start + QPoint(10 + step % 5, 10)));
      if (Heard("over") && !dropped) {
        dropped = true;
        if (beforeDrop) beforeDrop();
        return Pointer("mouseup 1");
      }
      if (!dropped) Pointer("mousemove " + At(QPoint(1300 + step % 7, 200)));
    });
    driver.start(20);
    const bool ended = QTest::qWaitFor(
        [&] {
          return dropped && (Heard("done") || (mode == QStringLiteral("refuse") && !GlobalData::dragging));
        },
        60000);
    EXPECT_TRUE(ended) << said;
    const auto done = said.find("done ");
    return done == std::string::npos ? "" : said.substr(done + 5, said.find('\n', done) - done - 5);
  }
  bool Heard(const std::string& word) {
    said += target.readAllStandardOutput().toStdString();
    return said.find(word) != std::string::npos;
  }
  std::map<std::string, std::string> Arrived() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(folder / "target")) {
      std::ifstream in(entry.path(), std::ios::binary);
      files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(in), {}};
    }
    return files;
  }
  static fs::path DragRoot() {
    return platform::NativePath(GlobalParamWrapper::GetInstance()->GetAppDataLocalPath()) / ".drag";
  }
  static std::vector<std::string> LeftOver() {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(DragRoot(), error))
      names.push_back(entry.path().filename().string());
    return names;
  }

  // All words that the page shows.
  QString Words() const {
    QString words;
    for (QWidget* widget : page->findChildren<QWidget*>())
      if (const auto* label = dynamic_cast<CLabelUI*>(widget)) words += label->GetText();
    return words;
  }

  QProcess target;
  std::string said;
  QByteArray home;
};

TEST_F(DragOutTest, OriginalOfThisComputerIsGivenWhereItLies) {
  const auto file = Picture("here", Noise(1000), true);
  Open();
  EXPECT_EQ(DragTo(QStringLiteral("uris")), "1 copy");
  EXPECT_EQ(Arrived(), (std::map<std::string, std::string>{{"here.jpg", Noise(1000)}}));
  EXPECT_TRUE(fs::exists(platform::NativePath(file->LocalPath())));
  EXPECT_TRUE(QTest::qWaitFor([] { return !GlobalData::dragging; }, 20000));
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"), 0u);
}

TEST_F(DragOutTest, OriginalOfTheCloudIsFetchedAtTheDropAndNotBefore) {
  const auto file = Picture("cloud", Noise(3 * kSliceSize), false);
  Open();
  std::size_t before = 1;
  const auto word =
      DragTo(QStringLiteral("uris"), [&] { before = CountRequests("GET /cloudPhoto/v1/objects/"); });
  EXPECT_EQ(word, "1 copy");
  EXPECT_EQ(before, 0u);
  ASSERT_EQ(Arrived().size(), 1u);
  EXPECT_TRUE(Arrived().begin()->second == Noise(3 * kSliceSize));
  EXPECT_EQ(LeftOver().size(), 1u);  // The target may read on.
  GalleryDragOut::Sweep();
  EXPECT_THAT(LeftOver(), IsEmpty());
}

TEST_F(DragOutTest, TargetThatNamesAFolderGetsTheDownloadsThere) {
  const auto file = Picture("saved", Noise(2 * kSliceSize), false);
  Open();
  GalleryTransManager::GetInstance().GalleryInit();
  const std::string word = DragTo(QStringLiteral("save"));
  ASSERT_GE(word.size(), 10u);
  const std::string name = word.substr(0, 8);
  EXPECT_TRUE(std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '8'; })) << name;
  EXPECT_LE(name[0], '7');
  EXPECT_EQ(word.substr(8), " S copy");
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        rows.clear();
        (void)DBHelper::GetInstance().GetDownloads(rows);
        const auto files = Arrived();
        return !rows.empty() || files.contains("saved.jpg");
      },
      20000));
  for (const auto& row : rows)
    EXPECT_EQ(platform::NativePath(row.LocalPath).parent_path(), folder / "target");
  EXPECT_TRUE(QTest::qWaitFor([] { return LeftOver().empty() && !GlobalData::dragging; }, 20000));
  EXPECT_FALSE(page->DropWatch().IsWatching());
  EXPECT_FALSE(Words().contains(QStringLiteral("copied to")));
  GalleryTransManager::GetInstance().GalleryStop();
}

TEST_F(DragOutTest, DropThatIsRefusedLeavesNothing) {
  (void)Picture("refused", Noise(1000), false);
  Open();
  (void)DragTo(QStringLiteral("refuse"));
  EXPECT_THAT(Arrived(), IsEmpty());
  EXPECT_TRUE(QTest::qWaitFor([] { return LeftOver().empty() && !GlobalData::dragging; }, 20000));
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"), 0u);
}

TEST_F(DragOutTest, FolderIsToldIntoWhichATargetHasCopied) {
  (void)Picture("one", Noise(100, 1), true);
  (void)Picture("two", Noise(3 * kSliceSize), false);
  Open();
  page->CurrentList()->OnSelectAllKey(0);
  EXPECT_EQ(DragTo(QStringLiteral("uris")), "2 copy");
  EXPECT_TRUE(
      QTest::qWaitFor([&] { return Words().contains(QStringLiteral("2 files copied to target")); }, 20000));
  EXPECT_FALSE(page->DropWatch().IsWatching());
}

TEST_F(DragOutTest, WatchForADropIsStartedAgainWhenItIsAskedTo) {
  (void)Picture("one", Noise(100), true);
  Open();
  EXPECT_EQ(DragTo(QStringLiteral("uris"),
                   [this] {
                     EXPECT_TRUE(page->DropWatch().IsWatching());
                     (void)platform::SendMessageW(page->GetHWND(), WM_RESTART_MANAGER, 0, 0);
                     EXPECT_TRUE(page->DropWatch().IsWatching());
                   }),
            "1 copy");
  EXPECT_TRUE(
      QTest::qWaitFor([&] { return Words().contains(QStringLiteral("1 file copied to target")); }, 20000));
}

TEST_F(DragOutTest, DropThatWentNowhereIsNotWatched) {
  (void)Picture("refused", Noise(1000), true);
  Open();
  (void)DragTo(QStringLiteral("refuse"), [this] { EXPECT_TRUE(page->DropWatch().IsWatching()); });
  EXPECT_TRUE(QTest::qWaitFor([&] { return !page->DropWatch().IsWatching(); }, 20000));
}

TEST_F(DragOutTest, FetchThatFailsGivesTheTargetNothingAndIsSaid) {
  (void)Picture("failing", Noise(1000), false);
  Open();
  server.Fault(R"({"method":"GET","path":"/objects/","times":0,"status":404})");
  EXPECT_EQ(DragTo(QStringLiteral("uris")), "0 copy");
  EXPECT_THAT(Arrived(), IsEmpty());
  EXPECT_THAT(Words().toStdString(),
              HasSubstr(CResourceManager::GetText(QStringLiteral("IDS_GALLERY_DRAG_FAILED")).toStdString()));
  EXPECT_TRUE(QTest::qWaitFor([] { return LeftOver().empty(); }, 20000));
}

TEST_F(DragOutTest, StopEndsAFetchThatHangs) {
  (void)Picture("hanging", Noise(1000), false);
  Open();
  server.Fault(R"({"method":"GET","path":"/objects/","times":0,"delayMs":3600000})");
  QTimer stopper;
  QObject::connect(&stopper, &QTimer::timeout, &stopper, [this] {
    auto* stop = page->findChild<QWidget*>(QStringLiteral("process_stop"));
    if (stop && stop->isVisible()) QTest::mouseClick(stop, Qt::LeftButton);
  });
  stopper.start(50);
  EXPECT_EQ(DragTo(QStringLiteral("uris")), "0 copy");
  EXPECT_THAT(Arrived(), IsEmpty());
}

TEST_F(DragOutTest, FolderThatAKilledRunHasLeftGoesAtTheStart) {
  fs::create_directories(DragRoot() / "12345678");
  std::ofstream(DragRoot() / "12345678/picture.jpg") << "bytes";
  fs::create_directories(DragRoot() / "not a drag");
  ShowPage();
  EXPECT_THAT(LeftOver(), ElementsAre("not a drag"));
}

TEST_F(DragOutTest, CopiesOfAnEarlierDragGoAfterAnHour) {
  ShowPage();
  for (const char* name : {"11111111", "22222222"}) fs::create_directories(DragRoot() / name);
  fs::last_write_time(DragRoot() / "11111111", fs::file_time_type::clock::now() - std::chrono::minutes(61));
  const QString made = GalleryDragOut::MakeDragDirectory();
  EXPECT_THAT(LeftOver(), UnorderedElementsAre("22222222", QFileInfo(made).fileName().toStdString()));
}

TEST_F(DragOutTest, TwoPicturesOfOneNameArriveBoth) {
  const auto first = Picture("one", Noise(100, 1), false), second = Picture("two", Noise(100, 2), false);
  second->SetFileName(first->FileName());
  Open();
  page->CurrentList()->OnSelectAllKey(0);
  EXPECT_EQ(DragTo(QStringLiteral("uris")), "2 copy");
  const auto files = Arrived();
  ASSERT_EQ(files.size(), 2u);
  EXPECT_TRUE(files.contains("one.jpg") && files.contains("one (1).jpg"));
  EXPECT_EQ((std::set<std::string>{files.at("one.jpg"), files.at("one (1).jpg")}),
            (std::set<std::string>{Noise(100, 1), Noise(100, 2)}));
}

TEST_F(DragOutTest, PictureAtThePointerTellsHowManyAreDragged) {
  (void)Picture("badge", Noise(100), false);
  Open();
  const QImage one = MakeDragPicture(*Cell(), 1).toImage(), many = MakeDragPicture(*Cell(), 1500).toImage();
  EXPECT_EQ(one.size(), QSize(100, 100));
  EXPECT_EQ(one.pixelColor(5, 95), QColor(0xF5, 0xF5, 0xFF));
  const auto blue = [](const QImage& image) {
    int count = 0;
    for (int x = 0; x < image.width(); ++x)
      for (int y = 0; y < image.height(); ++y)
        count += image.pixelColor(x, y) == QColor(0x1E, 0x90, 0xFF) ? 1 : 0;
    return count;
  };
  EXPECT_EQ(blue(one), 0);
  EXPECT_GT(blue(many), 100);
  // "999" and no more: 14 and 4 a digit wide.
  EXPECT_EQ(many, MakeDragPicture(*Cell(), 999).toImage());
}

TEST_F(DragOutTest, PictureDroppedOnAnAlbumOfThePanelMovesThere) {
  const auto file = Picture("moved", Noise(100), false);
  const auto album = Gallery::GetInstance().CreateAlbum(L"Trip", false, -1);
  ASSERT_TRUE(album);
  Open();
  QWidget* place = nullptr;
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        for (QWidget* widget : page->Panel()->findChildren<QWidget*>(QStringLiteral("btn_custom_album")))
          if (widget->isVisible()) place = widget;
        return place != nullptr;
      },
      20000));
  const QPoint start = Cell()->mapToGlobal(Cell()->HitRect().center());
  const QPoint end = place->mapToGlobal(place->rect().center());
  Pointer("mousemove " + At(start) + " mousedown 1");
  ASSERT_TRUE(QTest::qWaitFor([] { return GallerySelectHelper::GetInstance().Count() > 0; }, 20000));
  int step = 0;
  bool began = false, dropped = false;
  QTimer driver;
  QObject::connect(&driver, &QTimer::timeout, &driver, [&] {
    ++step;
    began = began || GlobalData::dragging;
    if (dropped) return;
    if (!began) return Pointer("mousemove " + At(start + QPoint(10 + step % 5, 10)));
    QString name;
    // The panel has marked the album once the drag is over it.
    if (page->Panel()->AlbumAtPoint(QCursor::pos(), name) == album && step % 8 == 7) {
      dropped = true;
      return Pointer("mouseup 1");
    }
    Pointer("mousemove " + At(end + QPoint(step % 7, 0)));
  });
  driver.start(20);
  EXPECT_TRUE(QTest::qWaitFor([&] { return dropped && file->AlbumId() == album->AlbumId.Get(); }, 20000));
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/objects/"), 0u);
}

TEST_F(DragOutTest, SecondAnswerToOneDropFindsNothingToDo) {
  const auto file = Picture("twice", Noise(1000), false);
  Open();
  page->CurrentList()->OnSelectAllKey(0);
  const DragOutData data(*page, {file});
  GlobalData::dragging = true;
  const LogText log;
  for (int i = 0; i < 2; ++i) {
    (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_SHELL_DROP, 0,
                                 reinterpret_cast<platform::LPARAM>(new std::wstring(
                                     folder.Wide("target/") + data.DirectoryName().toStdWString())));
    EXPECT_FALSE(GlobalData::dragging);
  }
  const std::string text = log.Text(), line = "Home Gallery Drag To Local Success";
  EXPECT_NE(text.find(line), std::string::npos);
  EXPECT_EQ(text.find(line), text.rfind(line));
  EXPECT_THAT(text, HasSubstr("GetSelectedVec=1"));
  EXPECT_THAT(text, HasSubstr("GetSelectConTrolsSize=1"));
}

TEST_F(DragOutTest, PathThatIsNotTheDragsIsLeftAlone) {
  (void)Picture("other", Noise(1000), false);
  Open();
  GlobalData::dragging = true;
  (void)platform::SendMessageW(
      page->GetHWND(), WM_GALLERY_SHELL_DROP, 0,
      reinterpret_cast<platform::LPARAM>(new std::wstring(folder.Wide("target/12345678"))));
  EXPECT_TRUE(GlobalData::dragging);
  GlobalData::dragging = false;
  std::vector<DownloadTaskProperty> rows;
  ASSERT_TRUE(DBHelper::GetInstance().GetDownloads(rows));
  EXPECT_THAT(rows, IsEmpty());
}

}  // namespace
