#include "photocloud/store/folderobjectstore.h"

#include <fstream>

#include "photocloud/base/digest.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

class FolderObjectStoreTest : public ::testing::Test {
 protected:
  TempFolder folder;
  FolderObjectStore store{folder.path / "deep" / "objects"};
  const std::string bytes = "0123456789";
  const std::string name = Sha256Hex(bytes);
};

TEST_F(FolderObjectStoreTest, StoredBytesReadBackInParts) {
  ASSERT_TRUE(store.Put(1, name, bytes));
  EXPECT_EQ(store.Length(1, name), 10);
  EXPECT_EQ(store.Read(1, name, 0, 10), bytes);
  EXPECT_EQ(store.Read(1, name, 3, 4), "3456");
  EXPECT_EQ(store.Read(1, name, 0, 0), "");
  EXPECT_FALSE(store.Read(1, name, 5, 6));
}

TEST_F(FolderObjectStoreTest, AccountsAreApart) {
  ASSERT_TRUE(store.Put(1, name, bytes));
  EXPECT_FALSE(store.Length(2, name));
  EXPECT_TRUE(store.List(2).empty());
  EXPECT_TRUE(store.Remove(2, name));
  EXPECT_TRUE(store.Length(1, name));
}

TEST_F(FolderObjectStoreTest, RemovedObjectIsGoneAndListedNoMore) {
  ASSERT_TRUE(store.Put(1, name, bytes));
  EXPECT_EQ(store.List(1), std::vector<std::string>{name});
  EXPECT_TRUE(store.Remove(1, name));
  EXPECT_TRUE(store.List(1).empty());
  EXPECT_FALSE(store.Read(1, name, 0, 1));
}

TEST_F(FolderObjectStoreTest, EmptyObjectIsAnObject) {
  ASSERT_TRUE(store.Put(1, Sha256Hex(""), ""));
  EXPECT_EQ(store.Length(1, Sha256Hex("")), 0);
}

TEST_F(FolderObjectStoreTest, RefusalLeavesNothingBehind) {
  // A file stands where the account's folder would be.
  std::ofstream(folder.path / "deep" / "objects" / "7") << "in the way";
  EXPECT_FALSE(store.Put(7, name, bytes));
  EXPECT_FALSE(store.Length(7, name));
}

TEST_F(FolderObjectStoreTest, HalfWrittenFilesAreNoObjects) {
  ASSERT_TRUE(store.Put(1, name, bytes));
  const auto object = folder.path / "deep" / "objects" / "1" / name.substr(0, 2) / (name + ".abc.part");
  std::ofstream(object) << "half";
  EXPECT_EQ(store.List(1).size(), 1u);
}

}  // namespace
}  // namespace photocloud::testing
