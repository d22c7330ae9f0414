// Two users, one behind the other, in one process.

#include "answerchanger.h"
#include "cloudserver.h"
#include "common/platform/text.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "utils/globaldata.h"
#include "zentaragalleryobj.h"

namespace {

class NextUserTest : public GalleryTest {
 protected:
  void SetUp() override {
    GalleryTest::SetUp();
    server.AddUser("bob", "looking-glass");
    SyncHelper::Replace(&sync);
  }
  void TearDown() override {
    object.CloseWndClear();
    SyncHelper::Replace(nullptr);
    GalleryTest::TearDown();
  }
  // Logs in, has one album in the cloud, and ends in the middle of a lock.
  void Begin(const std::string& user, const std::string& password) {
    ASSERT_EQ(session.Login(proxy.Url(), user, password), UserAuthService::LoginResult::Done);
    object.InitWnd();
    sync.StartSync();
    Cycle();
    ASSERT_TRUE(gallery.CreateAlbum(L"Mine", false, -1));
    Cycle();
    ASSERT_TRUE(sync.BetweenCycles([this] { return sync.Lock(); }));
  }
  // One that is not refused because the timer's runs.
  void Cycle() {
    while (!sync.RunOnce()) std::this_thread::yield();
  }

  UserAuthService& session = *UserAuthService::GetInstance();
  CloudServer server;
  AnswerChanger proxy{server.Url(), [](const std::string&, const std::string& answer) { return answer; }};
  SyncHelper sync{HostSyncServices()};
  ZentaraGalleryObj object;
};

TEST_F(NextUserTest, NoRequestCarriesAnythingOfTheUserBefore) {
  Begin("alice", "wonderland");
  if (HasFatalFailure()) return;
  const std::string secrets[] = {
      platform::WideToUtf8(session.GetCurrentAT()), platform::WideToUtf8(session.GetCurrentRT()),
      platform::WideToUtf8(session.GetCurrentUserID()), GalleryTransManager::GetInstance().LockToken()};
  object.CloseWndClear();
  EXPECT_EQ(server.Requests().back(), "DELETE /cloudPhoto/v1/locks")
      << "the lock went back before the log-out";
  ASSERT_TRUE(session.Logout());
  const std::size_t before = proxy.Requests().size();
  Begin("bob", "looking-glass");
  const auto requests = proxy.Requests();
  ASSERT_GT(requests.size(), before + 5);
  for (std::size_t i = before; i < requests.size(); ++i) {
    for (const std::string& secret : secrets) {
      ASSERT_FALSE(secret.empty());
      EXPECT_EQ(requests[i].find(secret), std::string::npos) << requests[i];
    }
  }
}

}  // namespace
