#include "devicestest.h"

#include "photocloud/base/json.h"

namespace {

constexpr int kMostCycles = 12;

std::set<std::string> Lines(const Json::Value& dump) {
  std::set<std::string> lines;
  for (const char* kind : {"albums", "files"}) {
    for (const std::string& id : dump[kind].getMemberNames())
      lines.insert(std::string(kind) + " " + id + " " + photocloud::WriteJson(dump[kind][id]));
  }
  return lines;
}

// Ids are the second part of a path, and of a batch each.
std::string CallOf(const SeenRequest& request) {
  const auto slash = request.path.find('/');
  const bool hasId = slash != std::string::npos &&
                     (request.path.starts_with("media/") || request.path.starts_with("albums/"));
  const std::string call = request.method + " " + (hasId ? request.path.substr(0, slash) : request.path);
  return request.inBatch ? "[" + call + "]" : call;
}

}  // namespace

std::string Difference(const Json::Value& expected, const Json::Value& actual) {
  const auto left = Lines(expected), right = Lines(actual);
  std::string text;
  for (const auto& line : left) {
    if (!right.contains(line)) text += "- " + line + "\n";
  }
  for (const auto& line : right) {
    if (!left.contains(line)) text += "+ " + line + "\n";
  }
  return text;
}

void DevicesTest::SettleAlone(Device& device) {
  std::int64_t version = -1;
  for (int cycle = 0; cycle < kMostCycles; ++cycle) {
    const Json::Value outcome = device.Cycle();
    const std::int64_t now = api.Version();
    if (outcome["done"].asBool() && outcome["pending"].asInt() == 0 && now == version) return;
    version = now;
  }
}

void DevicesTest::Settle() {
  std::int64_t version = -1;
  for (int round = 0; round < kMostCycles; ++round) {
    bool idle = true;
    for (Device* device : {&first, &second}) {
      const Json::Value outcome = device->Cycle();
      idle = idle && outcome["done"].asBool() && outcome["pending"].asInt() == 0;
    }
    const std::int64_t now = api.Version();
    if (idle && now == version) return;
    version = now;
  }
}

void DevicesTest::ExpectInStep(Device& device, const std::string& when) {
  const Json::Value there = api.Dump();
  EXPECT_EQ(Difference(there, device.Dump()), "") << "memory of " << device.Name() << ", " << when;
  EXPECT_EQ(Difference(there, device.Tables()), "") << "database of " << device.Name() << ", " << when;
}

void DevicesTest::ExpectInStep(const std::string& when) {
  ExpectInStep(first, when);
  ExpectInStep(second, when);
}

std::vector<std::string> DevicesTest::Calls(const Device& device) const {
  std::vector<std::string> calls;
  for (const auto& request : cloud.Requests()) {
    if (request.device == device.Id()) calls.push_back(CallOf(request));
  }
  return calls;
}

std::int64_t DevicesTest::CountCalls(const Device& device, const std::string& call) const {
  const auto calls = Calls(device);
  return std::count(calls.begin(), calls.end(), call);
}

std::vector<std::string> DevicesTest::Queries(const Device& device, const std::string& call) const {
  std::vector<std::string> queries;
  for (const auto& request : cloud.Requests()) {
    if (request.device == device.Id() && CallOf(request) == call) queries.push_back(request.query);
  }
  return queries;
}

std::vector<std::string> DevicesTest::AddPictures(int count) {
  std::vector<std::string> ids;
  api.TakeLock();
  for (int i = 0; i < count; ++i) ids.push_back(api.AddMedia("p" + std::to_string(pictures++) + ".jpg"));
  api.GiveLockBack();
  return ids;
}
