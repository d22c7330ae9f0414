#pragma once

#include <json/value.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "host/account/userauthservice.h"
#include "support/gallerytest.h"

// The real photo cloud in a process of its own, on a free loopback port, with its
// fault switches and the user "alice" whose password is "wonderland".
class CloudServer {
 public:
  // What a device of alice sends in place of the password; see passwordkeys_test
  // for where it comes from.
  static constexpr char kAliceSecret[] = "61d8056e8d26e1639ef03eeec0e707e4d0c5a357a9fed7fc23be7aa1bf2fc2ca";

  explicit CloudServer(const std::vector<std::string>& more = {});
  ~CloudServer();
  CloudServer(const CloudServer&) = delete;
  CloudServer& operator=(const CloudServer&) = delete;

  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port); }
  // `more` go on the command line.
  void AddUser(const std::string& name, const std::string& password,
               const std::vector<std::string>& more = {}) {
    AddUserBy("--password-file", name, password, more);
  }
  // "zentara-photocloud user ..." beside the running server.
  void ManageUser(const std::string& command, const std::string& name,
                  const std::vector<std::string>& more = {});
  // Ends the process as a crash does.
  void Kill();

  // One fault rule or action, as the server's contract has them.
  void Fault(const std::string& ruleJson) { (void)Control("POST", "/faults", ruleJson); }
  void Action(const std::string& actionJson) { (void)Control("POST", "/faults/actions", actionJson); }
  void ClearFaults() { (void)Control("DELETE", "/faults", {}); }
  void ForgetRequests() { (void)Control("DELETE", "/faults/requests", {}); }
  // "METHOD path" of the requests seen, in order; those of a batch in "[]".
  std::vector<std::string> Requests();

 private:
  void AddUserBy(const std::string& option, const std::string& name, const std::string& secret,
                 const std::vector<std::string>& more = {});
  Json::Value Control(const std::string& method, const std::string& path, const std::string& body);

  TemporaryFolder data;
  pid_t process = -1;
  int port = 0;
};

// Another device of the account, which talks to the service without any of the
// client's classes above the connection.
class OtherDevice {
 public:
  OtherDevice(const CloudServer& cloudServer, std::string deviceId);

  // Sends under the lock, which it takes at first use. Fails the test for an
  // answer other than 200.
  Json::Value Send(const std::string& method, const std::string& path, const std::string& body = {});
  // Sends bytes to a signed address that the service gave out.
  static void PutObject(const std::string& url, const std::string& bytes);
  // Asks for the bytes of a media's object, as a download does; the HTTP code.
  long AskForObject(const std::string& mediaId, const std::string& usage);
  void TakeLock();
  void GiveLockBack();
  void AddAlbum(const std::string& id, const std::string& name);
  // A visible media without contents; returns its id. `more` are further members:
  // ,"favorite":true
  std::string AddMedia(const std::string& fileName, const std::string& albumId = "default-album-1",
                       const std::string& more = {});

 private:
  const CloudServer& server;
  const std::string device;
  std::string token;
  std::string lock;
};

// A client that is logged in at a server of its own.
class CloudTest : public GalleryTest {
 protected:
  // `more` go on the server's command line.
  explicit CloudTest(const std::vector<std::string>& more = {}) : server(more) {}
  void SetUp() override;
  void TearDown() override;
  // Alice's session goes on at another service.
  void GoTo(const std::string& url);

  UserAuthService& session = *UserAuthService::GetInstance();
  CloudServer server;
};

// What the log has been told while this object lives.
class LogText {
 public:
  LogText();
  ~LogText();
  std::string Text() const { return Read("log.txt"); }
  std::string Operations() const { return Read("log-operations.txt"); }
  bool Has(const std::string& text) const { return Text().find(text) != std::string::npos; }

 private:
  std::string Read(const char* name) const;

  TemporaryFolder folder;
};
