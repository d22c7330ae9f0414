// A selection kept as ranges equals a plain set of files.

#include <gtest/gtest.h>

#include <random>

#include "ui/view/fileselection.h"

namespace {

using Ptr = GalleryFile::Ptr;

Ptr FileAt(std::int64_t time) {
  auto file = std::make_shared<GalleryFile>();
  file->CreateTime = time;
  return file;
}

// Both are changed alike; one is the plain set that the other stands for.
class Twins {
 public:
  explicit Twins(unsigned seed) : random(seed) { Change(80, 0); }

  void Step() {
    switch (Number(6)) {
      case 0:
        return InsertOne();
      case 1:
        return EraseOne();
      case 2:
        return Ranges(true);
      case 3:
        return Ranges(false);
      case 4:
        return Change(Number(12), Number(12));
      default:
        selection.Prune();
        std::erase_if(plain, [this](const Ptr& file) { return !members.contains(file); });
    }
  }

  void Compare() const {
    ASSERT_EQ(selection.size(), plain.size());
    const auto list = selection.ToList();
    ASSERT_EQ(std::set<Ptr>(list.begin(), list.end()), plain);
    for (const auto& file : members) ASSERT_EQ(selection.Contains(file), plain.contains(file));
    for (const auto& file : gone) ASSERT_EQ(selection.Contains(file), plain.contains(file));
    ASSERT_EQ(selection.Single(), plain.size() == 1 ? *plain.begin() : nullptr);
  }

 private:
  std::size_t Number(std::size_t below) { return random() % below; }

  Ptr Any() {
    if (!gone.empty() && Number(8) == 0) return gone[Number(gone.size())];
    return files->size() == 0 ? nullptr : (*files)[Number(files->size())];
  }
  void InsertOne() {
    const auto file = Any();
    if (!file) return;
    EXPECT_EQ(selection.Insert(file), plain.insert(file).second);
  }
  void EraseOne() {
    const auto file = Any();
    if (!file) return;
    EXPECT_EQ(selection.Erase(file), plain.erase(file) > 0);
  }
  void Ranges(bool insert) {
    const std::size_t a = Number(files->size() + 1), b = Number(files->size() + 1);
    const FileSelection::Range range{std::min(a, b), std::max(a, b)};
    insert ? selection.InsertRange(range) : selection.EraseRange(range);
    std::size_t within = 0;
    for (std::size_t i = range.first; i < range.last; ++i) {
      insert ? void(plain.insert((*files)[i])) : void(plain.erase((*files)[i]));
      within += plain.contains((*files)[i]) ? 1 : 0;
    }
    EXPECT_EQ(selection.CountIn(range), within);
  }
  // Few times for many files: ties are the rule.
  void Change(std::size_t add, std::size_t remove) {
    std::vector<Ptr> added, removed;
    for (std::size_t i = 0; i < add; ++i) added.push_back(FileAt(static_cast<std::int64_t>(Number(40))));
    for (std::size_t i = 0; i < remove && i < files->size(); ++i) {
      const Ptr file = (*files)[Number(files->size())];
      if (members.erase(file) > 0) removed.push_back(file);
    }
    gone.insert(gone.end(), removed.begin(), removed.end());
    members.insert(added.begin(), added.end());
    files = files->Changed(removed, added, order);
    selection.Follow(FileSnapshot(files), order);
  }

  std::mt19937 random;
  GalleryFile::OrderByCTime order;
  std::shared_ptr<const FileSequence> files = std::make_shared<const FileSequence>();
  std::set<Ptr> members, plain;
  std::vector<Ptr> gone;
  FileSelection selection;
};

TEST(FileSelection, EqualsAPlainSetThroughRandomHistories) {
  const unsigned first = std::random_device{}();
  for (unsigned seed = first; seed < first + 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Twins twins(seed);
    for (int step = 0; step < 60; ++step) {
      twins.Step();
      ASSERT_NO_FATAL_FAILURE(twins.Compare());
    }
  }
}

TEST(FileSelection, FileWithAChangedTimeIsNotLost) {
  GalleryFile::OrderByCTime order;
  const auto a = FileAt(30), b = FileAt(20), c = FileAt(10);
  const auto before = std::make_shared<const FileSequence>()->Changed({}, {a, b, c}, order);
  FileSelection selection;
  selection.Follow(FileSnapshot(before), order);
  selection.InsertRange({0, 2});
  const auto without = before->Changed({a}, {}, order);
  a->CreateTime = 5;
  const auto after = without->Changed({}, {a}, order);
  selection.Follow(FileSnapshot(after), order);
  EXPECT_TRUE(selection.Contains(a));
  EXPECT_TRUE(selection.Contains(b));
  EXPECT_FALSE(selection.Contains(c));
}

}  // namespace
