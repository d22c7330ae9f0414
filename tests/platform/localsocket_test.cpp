#include "common/platform/localsocket.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "common/platform/filelock.h"
#include "tests/support/temporaryfolder.h"

namespace platform {
namespace {

class LocalSocketTest : public testing::Test {
 protected:
  LocalSocket Listen(const std::filesystem::path& path) {
    std::error_code error;
    auto listener = LocalSocket::Listen(path, error);
    EXPECT_FALSE(error) << error.message();
    return listener;
  }
  static std::string Receive(LocalSocket& socket, std::size_t size) {
    std::string text(size, '\0');
    return socket.Receive(text.data(), size) ? text : "";
  }

  TemporaryFolder folder;
};

TEST_F(LocalSocketTest, BytesGoBothWaysUnderALongPath) {
  const auto path = folder / std::string(200, 'a') / std::string(200, 'b') / "s";
  std::filesystem::create_directories(path.parent_path());
  auto listener = Listen(path);
  auto client = LocalSocket::Connect(path);
  ASSERT_TRUE(client.IsOpen());
  auto server = listener.Accept();
  EXPECT_TRUE(client.Send("there"));
  EXPECT_EQ(Receive(server, 5), "there");
  EXPECT_TRUE(server.Send("back"));
  EXPECT_EQ(Receive(client, 4), "back");
  EXPECT_EQ(server.PeerProcess(), ::getpid());
}

TEST_F(LocalSocketTest, FileIsForItsOwnerOnly) {
  auto listener = Listen(folder / "s");
  struct stat status {};
  ASSERT_EQ(::stat((folder / "s").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(LocalSocketTest, NobodyAnswersAtTheFileOfADeadOne) {
  EXPECT_FALSE(LocalSocket::Connect(folder / "s").IsOpen());
  Listen(folder / "s").Close();
  EXPECT_TRUE(std::filesystem::exists(folder / "s"));
  EXPECT_FALSE(LocalSocket::Connect(folder / "s").IsOpen());
  auto listener = Listen(folder / "s");
  EXPECT_TRUE(LocalSocket::Connect(folder / "s").IsOpen());
}

TEST_F(LocalSocketTest, ShutdownEndsAWaitForConnections) {
  auto listener = Listen(folder / "s");
  std::thread waiting([&listener] { EXPECT_FALSE(listener.Accept().IsOpen()); });
  listener.Shutdown();
  waiting.join();
  EXPECT_FALSE(LocalSocket::Connect(folder / "s").IsOpen());
}

TEST_F(LocalSocketTest, EndOfTheOtherSideIsAFailureAndNoSignal) {
  auto listener = Listen(folder / "s");
  auto client = LocalSocket::Connect(folder / "s");
  listener.Accept().Close();
  EXPECT_EQ(Receive(client, 1), "");
  EXPECT_FALSE(client.Send(std::string(1 << 20, 'x')));
}

TEST_F(LocalSocketTest, LockHasOneHolder) {
  std::error_code error;
  FileLock first, second;
  ASSERT_TRUE(first.TryLock(folder / "lock", error));
  EXPECT_FALSE(second.TryLock(folder / "lock", error));
  EXPECT_FALSE(error);
  first.Release();
  EXPECT_TRUE(second.TryLock(folder / "lock", error));
  EXPECT_FALSE(first.TryLock(folder / "nowhere/lock", error));
  EXPECT_TRUE(error);
}

}  // namespace
}  // namespace platform
