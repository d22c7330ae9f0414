// The model under many hands; of use under the thread sanitizer.

#include <thread>

#include "support/gallerytest.h"

namespace {

class GalleryThreadsTest : public GalleryTest {};

TEST_F(GalleryThreadsTest, ReadersGoOnWhileBatchesComeAndGo) {
  std::atomic<bool> done{false};
  std::atomic<std::size_t> seen{0};
  const auto timeLine = AlbumOf(AlbumKind::TimeLine);
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      while (!done) {
        for (const auto& file : timeLine->Files())
          seen += file->FileName().size() + file->ExpandText().size();
        (void)gallery.GetFile("f1");
        (void)timeLine->LimitedFiles();
      }
    });
  }
  std::thread editor([&] {
    for (int round = 0; !done; ++round) {
      const auto file = gallery.GetFile("f" + std::to_string(round % 50));
      if (!file) continue;
      (void)gallery.FavoriteFiles(file, !file->IsFavorite);
      file->SetExpandValue("note", std::to_string(round));
    }
  });
  for (int round = 0; round < 10; ++round) {
    Files files;
    for (int i = 0; i < 50; ++i) files.push_back(CloudFile("f" + std::to_string(i)));
    gallery.AddFiles(files);
    gallery.RecycleFiles({files.begin(), files.begin() + 25}, false);
    gallery.RecoverFiles({files.begin(), files.begin() + 10}, false);
    gallery.RemoveFiles(files);
  }
  done = true;
  for (auto& reader : readers) reader.join();
  editor.join();
  EXPECT_EQ(gallery.FileCount(), 0u);
  EXPECT_GT(seen, 0u);
}

TEST_F(GalleryThreadsTest, ParallelMovesLoseNoFile) {
  const auto left = gallery.CreateAlbum(L"Left", false, -1), right = gallery.CreateAlbum(L"Right", false, -1);
  Files files;
  for (int i = 0; i < 60; ++i) files.push_back(CloudFile("f" + std::to_string(i), left->AlbumId.Get()));
  Add(files);
  const auto shuttle = [&](std::size_t from) {
    const Files mine(files.begin() + static_cast<std::ptrdiff_t>(from),
                     files.begin() + static_cast<std::ptrdiff_t>(from + 30));
    for (int round = 0; round < 10; ++round) gallery.MoveFiles(mine, round % 2 ? left : right, false);
  };
  std::thread other([&] { shuttle(30); });
  shuttle(0);
  other.join();
  EXPECT_EQ(left->FileCount() + right->FileCount(), 60u);
  EXPECT_EQ(AlbumOf(AlbumKind::TimeLine)->FileCount(), 60u);
}

}  // namespace
