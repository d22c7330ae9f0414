#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "serverprocess.h"
#include "testhttp.h"
#include "tests/support/temporaryfolder.h"

// One request as the server's journal has it.
struct SeenRequest {
  std::string method;
  std::string path;   // without "/cloudPhoto/v1/"
  std::string query;  // decoded
  std::string device;
  bool inBatch = false;
  int status = 0;
};

// The real photo cloud on a free port with its fault switches and the user
// "alice" whose password is "wonderland".
class CloudProcess {
 public:
  explicit CloudProcess(const std::vector<std::string>& more = {});

  int Port() const { return server->Port(); }
  std::string Url() const { return "http://127.0.0.1:" + std::to_string(Port()); }
  // One fault rule, or one action for alice, as the server's contract has them.
  void Rule(const std::string& json) const { (void)Control("POST", "/faults", json); }
  void Action(const std::string& action, const std::string& more = {}) const;
  void ClearRules() const { (void)Control("DELETE", "/faults", {}); }
  void ForgetRequests() const { (void)Control("DELETE", "/faults/requests", {}); }
  std::vector<SeenRequest> Requests() const;
  // Waits until a request of this path was answered 200; fails the test when none
  // comes for a minute.
  void AwaitRequest(const std::string& path, const std::string& device = {}) const;
  // What the server keeps, for its other commands.
  const std::filesystem::path& Data() const { return data.Path(); }
  // Ends the server as a crash does.
  void Stop() { server.reset(); }
  // Copies what it keeps to `folder`, and goes on with such a copy at another port.
  void BackUp(const std::filesystem::path& folder) const;
  void PutBack(const std::filesystem::path& folder);

 private:
  Json::Value Control(const std::string& method, const std::string& path, const std::string& body) const;

  void Serve();

  TemporaryFolder data;
  std::vector<std::string> options{"--faults"};
  std::unique_ptr<photocloud::testing::ServerProcess> server;
};

// A third device of the account, as a browser or a phone would talk to it. Shares
// nothing with the client.
class AccountApi {
 public:
  explicit AccountApi(const CloudProcess& cloudProcess);

  // The id; empty when the cloud refuses.
  std::string AddAlbum(const std::string& id, const std::string& name);
  bool RenameAlbum(const std::string& id, const std::string& name);
  bool DeleteAlbum(const std::string& id);
  // A visible media of 1000 bytes without objects. `more` are further members:
  // ,"favorite":true
  std::string AddMedia(const std::string& name, const std::string& album = "default-album-1",
                       const std::string& more = {});
  bool Change(const std::string& id, const std::string& body);
  bool Delete(const std::string& id);

  // Albums and media as devices dump them.
  Json::Value Dump();
  std::int64_t Version();
  bool IsLocked();

  photocloud::testing::HttpReply Call(const std::string& method, const std::string& path,
                                      const std::string& body = {});
  void TakeLock();
  void GiveLockBack();

 private:
  // Under the lock, which is given back afterwards.
  photocloud::testing::HttpReply Write(const std::string& method, const std::string& path,
                                       const std::string& body);
  std::vector<Json::Value> All(const std::string& path, const char* member);

  const CloudProcess& cloud;
  std::string token;
  std::string lock;
};
