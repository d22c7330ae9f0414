#pragma once

#include <gmock/gmock.h>

#include <map>

#include "devicestest.h"

using Strings = std::vector<std::string>;

// Kinds of cycles as devices tell them.
inline constexpr int kNewAccount = 1, kFull = 2, kBriefing = 4, kIncrement = 5;

// Members of a query, by name.
inline std::map<std::string, std::string> Members(const std::string& query) {
  std::map<std::string, std::string> members;
  std::istringstream text(query);
  for (std::string member; std::getline(text, member, '&');) {
    const auto equals = member.find('=');
    if (equals != std::string::npos) members[member.substr(0, equals)] = member.substr(equals + 1);
  }
  return members;
}

class WireTest : public DevicesTest {
 protected:
  using DevicesTest::DevicesTest;

  // A device in step with pictures, and nothing in the journal.
  Strings StartWith(int pictures) {
    Strings ids = AddPictures(pictures);
    SettleAlone(first);
    ExpectInStep(first, "start");
    cloud.ForgetRequests();
    return ids;
  }
  std::string VersionText() { return std::to_string(api.Version()); }
  std::string Row(const char* column) { return first.VersionRow()[column].asString(); }
};
