#pragma once

#include <gtest/gtest.h>
#include <json/writer.h>

#include "accountapi.h"
#include "device.h"

// A cloud, an account, and two devices that are logged in and have not synced
// yet.
class DevicesTest : public testing::Test {
 protected:
  explicit DevicesTest(const std::vector<std::string>& serverOptions = {}) : cloud(serverOptions) {
    cloud.ForgetRequests();
  }

  // Cycles on both devices until each went well with nothing left to send, and
  // the cloud's version stands still.
  void Settle();
  // Memory and database of each device hold what the cloud holds.
  void ExpectInStep(const std::string& when = {});
  void ExpectInStep(Device& device, const std::string& when = {});
  void SettleAlone(Device& device);
  // What a device asked the cloud since the last ForgetRequests, without ids,
  // queries and the version's prefix: "GET media", "POST batch", "[PATCH media]".
  std::vector<std::string> Calls(const Device& device) const;
  std::int64_t CountCalls(const Device& device, const std::string& call) const;
  // The queries of the calls, decoded, in order.
  std::vector<std::string> Queries(const Device& device, const std::string& call) const;
  // Pictures of names of their own in the first album; their ids.
  std::vector<std::string> AddPictures(int count);

  CloudProcess cloud;
  AccountApi api{cloud};
  Device first{"first", cloud};
  Device second{"second", cloud};
  int pictures = 0;
};

// Lines that differ, "-" in `expected` only, "+" in `actual` only; empty when they
// are the same.
std::string Difference(const Json::Value& expected, const Json::Value& actual);
