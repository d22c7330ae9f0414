#include "model/records/filesequence.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "model/records/filenameindex.h"
#include "model/records/sortedfiles.h"

namespace {

using FilePtr = GalleryFile::Ptr;
const GalleryFile::OrderByCTime kOrder;

FilePtr FileAt(std::int64_t time) {
  auto file = std::make_shared<GalleryFile>();
  file->CreateTime = time;
  return file;
}

struct ByOrder {
  bool operator()(const FilePtr& l, const FilePtr& r) const { return kOrder(l, r); }
};
using Model = std::set<FilePtr, ByOrder>;

std::vector<FilePtr> All(const FileSequence& sequence) { return {sequence.begin(), sequence.end()}; }

TEST(FileSequence, EmptyHasNoBeginning) {
  const FileSequence sequence;
  EXPECT_TRUE(sequence.begin() == sequence.end());
  EXPECT_EQ(sequence.LowerBound(FileAt(1), kOrder), 0u);
}

// Batches of every size against the standard library's ordered set.
TEST(FileSequence, FollowsAnOrderedSetThroughRandomBatches) {
  std::mt19937 random(7);
  Model model;
  auto sequence = std::make_shared<const FileSequence>();
  for (int round = 0; round < 60; ++round) {
    std::vector<FilePtr> added, removed;
    const auto batch = random() % (round % 10 == 0 ? 5000 : 40);
    for (unsigned i = 0; i < batch; ++i) added.push_back(FileAt(static_cast<std::int64_t>(random() % 3000)));
    for (const auto& file : model) {
      if (random() % 10 == 0) removed.push_back(file);
    }
    sequence = sequence->Changed(removed, added, kOrder);
    for (const auto& file : removed) model.erase(file);
    model.insert(added.begin(), added.end());
    ASSERT_EQ(sequence->size(), model.size());
    ASSERT_EQ(All(*sequence), std::vector<FilePtr>(model.begin(), model.end()));
    std::size_t index = 0;
    for (const auto& file : model) {
      ASSERT_EQ(sequence->Find(file, kOrder), index);
      ASSERT_EQ((*sequence)[index], file);
      ++index;
    }
  }
}

TEST(FileSequence, OldSnapshotStaysAsItWas) {
  const auto a = FileAt(1), b = FileAt(2);
  const auto first = FileSequence().Changed({}, {a, b}, kOrder);
  const auto second = first->Changed({a}, {}, kOrder);
  EXPECT_EQ(All(*first), (std::vector<FilePtr>{b, a}));
  EXPECT_EQ(All(*second), (std::vector<FilePtr>{b}));
}

TEST(FileSequence, StepsFromAnyPlace) {
  std::vector<FilePtr> files;
  for (int i = 0; i < 3000; ++i) files.push_back(FileAt(i));
  const auto sequence = FileSequence().Changed({}, files, kOrder);
  const auto it = sequence->begin() + 2000;
  EXPECT_EQ((*it)->CreateTime, 999);
  EXPECT_EQ(it - sequence->begin(), 2000);
  EXPECT_EQ(sequence->end() - it, 1000);
}

TEST(SortedFiles, FileThatComesAndGoesInOneBatchIsNoChange) {
  SortedFiles files(std::make_shared<GalleryFile::OrderByCTime>());
  const auto a = FileAt(1);
  EXPECT_TRUE(files.Insert(a));
  EXPECT_FALSE(files.Insert(a));
  EXPECT_TRUE(files.Erase(a));
  EXPECT_FALSE(files.Contains(a));
  EXPECT_TRUE(files.Insert(a));
  EXPECT_TRUE(files.Erase(a));
  const auto change = files.Refill();
  EXPECT_TRUE(change.added.empty());
  EXPECT_TRUE(change.members->empty());
}

TEST(SortedFiles, FileErasedAndPutBackStaysOnce) {
  SortedFiles files(std::make_shared<GalleryFile::OrderByCTime>());
  const auto a = FileAt(1);
  files.Insert(a);
  files.Erase(a);
  files.Insert(a);
  EXPECT_EQ(files.Refill().members->size(), 1u);
  EXPECT_TRUE(files.Erase(a));
  EXPECT_FALSE(files.Erase(a));
  EXPECT_TRUE(files.Insert(a));
  EXPECT_EQ(files.Refill().members->size(), 1u);
  EXPECT_TRUE(files.Contains(a));
}

FilePtr Named(const wchar_t* name) {
  auto file = std::make_shared<GalleryFile>();
  file->SetFileName(name);
  return file;
}

TEST(FileNameIndex, FindsAllFilesOfAName) {
  FileNameIndex index;
  const auto a = Named(L"a.jpg"), twin = Named(L"a.jpg"), b = Named(L"b.jpg");
  for (const auto& file : {a, twin, b, a}) index.Add(file);
  EXPECT_EQ(index.Find("a.jpg").size(), 2u);
  index.Remove(a);
  EXPECT_EQ(index.Find("a.jpg"), std::vector<FilePtr>{twin});
  EXPECT_FALSE(index.Contains(a));
  EXPECT_TRUE(index.Contains(b));
}

TEST(FileNameIndex, ForgetsAFileThatWasRenamedMeanwhile) {
  FileNameIndex index;
  const auto a = Named(L"a.jpg");
  index.Add(a);
  a->SetFileName(L"new.jpg");
  index.Remove(a);
  EXPECT_TRUE(index.Find("a.jpg").empty());
  a->SetFileName(L"a.jpg");
  EXPECT_FALSE(index.Contains(a));
}

}  // namespace
