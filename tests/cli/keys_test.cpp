// The account's keys on the command line.

#include <sys/stat.h>

#include <fstream>

#include "clitest.h"

namespace {

constexpr int kDone = 0, kFailed = 1;

class KeysTest : public CliTest {
 protected:
  std::string File() const { return (folder / "keys.json").string(); }
  int Keys(std::vector<std::string> words, const std::string& profile = "profile") {
    words.insert(words.begin(), "keys");
    return RunProgram(Command(words, profile)).status;
  }
  static Json::Value Read(const std::filesystem::path& path) {
    std::ifstream file(path);
    Json::Value document;
    file >> document;
    return document;
  }
  Json::Value Account(const std::string& profile) {
    return Read(folder / profile / "config/ZentaraCloud/account.json");
  }
};

TEST_F(KeysTest, ExportIsForTheOwnerOnlyAndOverwritesNothing) {
  ASSERT_EQ(Keys({"export", "--yes", File()}), kDone);
  struct stat status {};
  ASSERT_EQ(::stat(File().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_EQ(Read(File())["keys"]["mk1"], Account("profile")["mk1"]);
  folder.Write("taken.json", "mine");
  EXPECT_EQ(Keys({"export", "--yes", (folder / "taken.json").string()}), kFailed);
  std::ifstream taken(folder / "taken.json");
  EXPECT_EQ((std::string{std::istreambuf_iterator<char>(taken), {}}), "mine");
}

TEST_F(KeysTest, ExportWithoutATerminalNeedsAYes) {
  EXPECT_EQ(Keys({"export", File()}), kFailed);
  EXPECT_FALSE(std::filesystem::exists(File()));
}

TEST_F(KeysTest, ImportBringsTheKeysToAnotherProfile) {
  ASSERT_EQ(Keys({"export", "--yes", File()}), kDone);
  ASSERT_EQ(Keys({"import", File()}, "other"), kDone);
  EXPECT_EQ(Account("other")["mk2"], Account("profile")["mk2"]);
  EXPECT_EQ(Account("other")["userKey3"], Account("profile")["userKey3"]);
  folder.Write("broken.json", "{\"format\":");
  EXPECT_EQ(Keys({"import", (folder / "broken.json").string()}, "other"), kFailed);
  EXPECT_EQ(Keys({"import", (folder / "missing.json").string()}, "other"), kFailed);
}

// The secret's source stands in the test of its derivation.
TEST_F(KeysTest, LoginSecretIsPrintedForTheOperator) {
  folder.Write("password", "wonderland\n");
  const auto printed =
      Documents({"login-secret", "--user", "Alice", "--password-file", (folder / "password").string()});
  ASSERT_EQ(printed.size(), 1U);
  EXPECT_EQ(printed[0]["loginSecret"].asString(),
            "61d8056e8d26e1639ef03eeec0e707e4d0c5a357a9fed7fc23be7aa1bf2fc2ca");
}

}  // namespace
