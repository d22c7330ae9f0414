#pragma once

#include <gtest/gtest.h>
#include <json/value.h>
#include <json/writer.h>

#include <filesystem>
#include <map>
#include <string>

#include "photocloud/api/router.h"
#include "photocloud/api/services.h"
#include "photocloud/store/folderobjectstore.h"
#include "photocloud/store/sqlitestore.h"

namespace photocloud::testing {

// A folder that goes with its owner.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  const std::filesystem::path path;
};

// JSON from a literal; fails the test when it does not parse.
Json::Value Json(const std::string& text);

struct Reply {
  int status = 0;
  Json::Value json;
  Response raw;

  // The first error's code, or empty.
  std::string Code() const;
};

// A logged-in client. `lock` goes along as x-zt-lock when it is not empty.
struct Device {
  std::string name;
  std::string token;
  std::string lock;
};

// The whole service without a socket, over a real store in a folder of its own.
class TestCloud {
 public:
  explicit TestCloud(ServiceSettings settings = SmallSettings());

  // Slices of 64 bytes, batches of 5.
  static ServiceSettings SmallSettings();

  Reply Call(const Device& device, const std::string& method, const std::string& target,
             const Json::Value& body = Json::Value(), const std::map<std::string, std::string>& headers = {});
  Reply CallRaw(Request request);

  void AddUser(const std::string& user, std::int64_t quotaBytes = 1 << 30);
  Device Login(const std::string& user, const std::string& deviceName);
  // Login, and the lock taken.
  Device Writer(const std::string& user, const std::string& deviceName);
  void TakeLock(Device& device);

  std::string MakeAlbum(const Device& device, const std::string& id, const std::string& name);
  // A visible media without content; returns its id.
  std::string MakeMedia(const Device& device, const std::string& fileName,
                        const std::string& createdTime = "2024-05-01T10:20:30");
  std::string Version(const Device& device);

  TempFolder folder;
  SqliteStore store;
  FolderObjectStore objects;
  Clock clock;
  Services services;
  Router router;
};

// One user "anna" with a device that holds the lock.
class CloudTest : public ::testing::Test {
 protected:
  CloudTest();
  TestCloud cloud;
  Device anna;
};

// The path and query of an absolute URL.
std::string TargetOf(const std::string& url);

// A create body with content and thumbnail of the given plain bytes, "encrypted"
// so that each piece grows to the next block.
Json::Value UploadBody(const std::string& fileName, const std::string& content, const std::string& small,
                       const std::string& large);
// What the client would send for an object: `plain` filled up to `length`.
std::string Sealed(const std::string& plain, std::size_t length);
// Announces and sends all objects of a created media. Returns how many had to be sent.
int SendObjects(TestCloud& cloud, const Device& device, const Json::Value& media, const std::string& content,
                const std::string& small, const std::string& large);
// Create, send, make visible; returns the id.
std::string Upload(TestCloud& cloud, const Device& device, const std::string& fileName,
                   const std::string& content);

}  // namespace photocloud::testing
