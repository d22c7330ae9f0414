// The address of a photo cloud elsewhere, before anybody signs in there.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QProcess>
#include <atomic>

#include "addresscheck.h"
#include "choicecard.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/label.h"
#include "common/toolkit/resourcemanager.h"
#include "frametest.h"
#include "tests/cloud/loopbackserver.h"
#include "tests/photocloud/serverprocess.h"

namespace {

using AddressCheck::Answer;
using photocloud::testing::ServerProcess;
using namespace std::chrono_literals;

bool Always() { return true; }

QString Words(const char* key) { return CResourceManager::GetText(QString::fromLatin1(key)); }

// A port that takes connections and says nothing; closed when it goes.
class Listener {
 public:
  Listener() : number(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in here{};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof here;
    auto* address = reinterpret_cast<sockaddr*>(&here);
    EXPECT_EQ(::bind(number, address, length), 0);
    EXPECT_EQ(::listen(number, 8), 0);
    EXPECT_EQ(::getsockname(number, address, &length), 0);
    port = ntohs(here.sin_port);
  }
  ~Listener() { ::close(number); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port); }

 private:
  const int number;
  int port = 0;
};

std::string ClosedPort() { return Listener().Url(); }

class AddressTest : public FrameTest {
 protected:
  std::string Serve(const std::vector<std::string>& more = {}) {
    cloud = std::make_unique<ServerProcess>(PHOTOCLOUD_PROGRAM, (folder.Path() / "cloud").string(), more);
    return (more.empty() ? "http" : "https") + std::string("://127.0.0.1:") + std::to_string(cloud->Port());
  }
  // With a certificate that nobody trusts.
  std::string ServeUntrusted() {
    const QString key = QString::fromStdString((folder.Path() / "key.pem").string()),
                  certificate = QString::fromStdString((folder.Path() / "cert.pem").string());
    const QStringList make{"req",   "-x509",         "-newkey", "rsa:2048", "-nodes", "-days",    "2",
                           "-subj", "/CN=127.0.0.1", "-keyout", key,        "-out",   certificate};
    EXPECT_EQ(QProcess::execute(QStringLiteral("openssl"), make), 0);
    return Serve({"--tls-cert", certificate.toStdString(), "--tls-key", key.toStdString()});
  }
  // The first start with the address typed.
  void Type(const std::string& address) {
    Open();
    ASSERT_TRUE(Until([this] { return FirstRun() && FirstRun()->isVisible(); }));
    QTest::mouseClick(On<ChoiceCardUI>("choice_server"), Qt::LeftButton);
    On<CEditUI>("server_field")->SetText(QString::fromStdString(address));
  }
  QString Told() const { return On<CLabelUI>("check_words")->GetText(); }
  bool IsLogin() const {
    return FirstRun()->FindControl(QStringLiteral("step_login"))->Widget()->isVisible();
  }

  std::unique_ptr<ServerProcess> cloud;
};

TEST_F(AddressTest, PhotoCloudThatAnswersIsAccepted) {
  const std::string url = Serve();
  EXPECT_EQ(AddressCheck::Ask(url, Always), Answer::Local);
  ASSERT_NO_FATAL_FAILURE(Type(url));
  Press("btn_next");
  EXPECT_FALSE(IsLogin());
  EXPECT_TRUE(On<CControlUI>("check_ring")->Widget()->isVisible());
  EXPECT_EQ(Told(), Words("IDS_FIRSTRUN_ASKING"));
  ASSERT_TRUE(Until([this] { return IsLogin(); }));
  Press("btn_back");
  EXPECT_EQ(Told(), Words("IDS_FIRSTRUN_ANSWERS_HERE"));
  // An address that has answered is not asked again.
  FirstRun()->ask = nullptr;
  Press("btn_next");
  EXPECT_TRUE(IsLogin());
  End();
}

TEST_F(AddressTest, ClosedPortIsToldAndNotAccepted) {
  const std::string url = ClosedPort();
  EXPECT_EQ(AddressCheck::Ask(url, Always), Answer::Unreachable);
  ASSERT_NO_FATAL_FAILURE(Type(url));
  Press("btn_next");
  ASSERT_TRUE(Until([this] { return Told() == Words("IDS_LOGIN_UNREACHABLE"); }));
  EXPECT_FALSE(IsLogin());
  EXPECT_TRUE(On<CEditUI>("server_field")->HasError());
  EXPECT_FALSE(On<CControlUI>("check_ring")->Widget()->isVisible());
  // Another address is another matter.
  On<CEditUI>("server_field")->SetText(QStringLiteral("photos.example"));
  EXPECT_EQ(Told(), QString());
  EXPECT_FALSE(On<CEditUI>("server_field")->HasError());
  End();
}

TEST_F(AddressTest, PortThatNeverAnswersIsGivenUp) {
  const Listener silent;
  EXPECT_EQ(AddressCheck::Ask(silent.Url(), Always, 10ms), Answer::Unreachable);
}

TEST_F(AddressTest, WaitForAPortThatNeverAnswersCanBeStopped) {
  const Listener silent;
  ASSERT_NO_FATAL_FAILURE(Type(silent.Url()));
  std::atomic<bool> ended{false};
  FirstRun()->ask = [&ended](const std::string& server, const std::function<bool()>& goesOn) {
    const Answer answer = AddressCheck::Ask(server, goesOn, 1h);
    ended = true;
    return answer;
  };
  Press("btn_next");
  ASSERT_EQ(Told(), Words("IDS_FIRSTRUN_ASKING"));
  Press("check_stop");
  EXPECT_EQ(Told(), QString());
  EXPECT_TRUE(Until([&ended] { return ended.load(); }));
  EXPECT_EQ(Told(), QString());
  EXPECT_FALSE(IsLogin());
  // The end of the page ends a wait too.
  ended = false;
  Press("btn_next");
  Press("btn_later");
  EXPECT_TRUE(Until([&ended] { return ended.load(); }));
  End();
}

TEST_F(AddressTest, CertificateThatNobodyTrustsIsSaidSo) {
  const std::string url = ServeUntrusted();
  EXPECT_EQ(AddressCheck::Ask(url, Always), Answer::NotTrusted);
  ASSERT_NO_FATAL_FAILURE(Type(url));
  Press("btn_next");
  ASSERT_TRUE(Until([this] { return Told() == Words("IDS_CLOUD_NOT_TRUSTED"); }));
  EXPECT_FALSE(IsLogin());
  // Whose file of authorities names it trusts it.
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->SetCloudCaFile((folder.Path() / "cert.pem").wstring()));
  EXPECT_EQ(AddressCheck::Ask(url, Always), Answer::Encrypted);
  End();
}

TEST_F(AddressTest, InTheClearToAnotherComputerIsRefusedUnasked) {
  EXPECT_EQ(AddressCheck::Ask("http://192.0.2.1:8080", Always), Answer::NotAllowed);
}

TEST_F(AddressTest, WhatIsNoPhotoCloudIsToldApart) {
  LoopbackServer web({LoopbackServer::Answer(200, "Hello")});
  ASSERT_NO_FATAL_FAILURE(Type(web.Url()));
  // Leaving the field asks too.
  On<CEditUI>("server_field")->setFocus();
  QTest::keyClick(On<CEditUI>("server_field"), Qt::Key_Tab);
  ASSERT_TRUE(Until([this] { return Told() == Words("IDS_FIRSTRUN_NO_CLOUD"); }));
  End();
}

}  // namespace
