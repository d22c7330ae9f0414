#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "common/platform/clock.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "tests/support/temporaryfolder.h"

// A clock that stands until it is told.
class TestClock : public platform::Clock {
 public:
  TestClock() { platform::Clock::Replace(this); }
  ~TestClock() override { platform::Clock::Replace(nullptr); }
  std::int64_t Ticks() const override { return ms * 10'000; }
  std::atomic<std::int64_t> ms{1'700'000'000'000};
};

// A gallery of an empty profile with its database open.
class GalleryTest : public testing::Test {
 protected:
  using FilePtr = GalleryFile::Ptr;
  using Files = Gallery::Files;

  static constexpr std::int64_t kDayMs = 86'400'000;

  void SetUp() override;
  void TearDown() override;

  // A file that the cloud knows: its id is not its guid.
  FilePtr CloudFile(const std::string& id, const std::string& albumId = "default-album-1",
                    std::int64_t createTime = 1'600'000'000'000);
  // A file that only this computer knows.
  FilePtr LocalFile(const std::string& id, const std::string& albumId = "default-album-1");
  // Into the table and into memory, as a sync or an import does it.
  void Add(const Files& files);
  // The album as the cloud's listing brings it.
  Album::Ptr CloudAlbum(const std::string& id, const std::wstring& name);
  Album::Ptr AlbumOf(AlbumKind kind) { return gallery.GetAlbum(SystemAlbumId(kind)); }
  // Forgets the memory and reads the database again.
  void Restart();

  static std::vector<std::string> Ids(const Album::Ptr& album);
  static bool Holds(const Album::Ptr& album, const FilePtr& file);
  // The row of a file as a fresh record, or null.
  static FilePtr Row(const std::string& id) { return DBHelper::GetInstance().GetFile(id); }

  TemporaryFolder folder;
  TestClock clock;
  Gallery& gallery = Gallery::GetInstance();
};
