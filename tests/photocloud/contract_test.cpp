// Holds the served routes and error codes against openapi.yaml, both ways.

#include <fstream>
#include <regex>
#include <set>

#include "photocloud/api/handlers.h"
#include "photocloud/api/limits.h"
#include "testcloud.h"

namespace photocloud::testing {
namespace {

std::vector<std::string> Lines() {
  std::ifstream file(PHOTOCLOUD_OPENAPI);
  EXPECT_TRUE(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// "GET /path" for each operation: paths stand two blanks deep, methods four.
std::set<std::string> Described() {
  static const std::regex pathLine("^  (/[^:]*):$");
  static const std::regex methodLine("^    (get|post|put|patch|delete):$");
  std::set<std::string> operations;
  std::string path;
  for (const std::string& line : Lines()) {
    std::smatch match;
    if (std::regex_match(line, match, pathLine)) path = match[1];
    if (!std::regex_match(line, match, methodLine)) continue;
    std::string method = match[1];
    for (char& letter : method) letter = static_cast<char>(std::toupper(letter));
    operations.insert(method + " " + path);
  }
  return operations;
}

std::set<std::string> Served() {
  std::set<std::string> operations;
  for (const auto& routes : {ApiRoutes(), FaultRoutes()}) {
    for (const Route& route : routes) {
      EXPECT_TRUE(operations.insert(std::string(route.method) + " " + route.pattern).second) << route.pattern;
    }
  }
  return operations;
}

TEST(Contract, ServedRoutesAreTheDescribedOnes) {
  EXPECT_GT(Served().size(), 30u);
  EXPECT_EQ(Served(), Described());
}

TEST(Contract, ErrorCodesAreTheDescribedOnes) {
  static const std::regex codeLine("^    \\| (\\d{8}) \\| (\\d{3}) \\|.*");
  std::map<std::string, int> described;
  for (const std::string& line : Lines()) {
    std::smatch match;
    if (std::regex_match(line, match, codeLine)) described[match[1]] = std::stoi(match[2]);
  }
  std::map<std::string, int> known;
  for (int i = 0; i <= static_cast<int>(ErrorCode::NoSpace); ++i) {
    const ErrorInfo& info = Describe(static_cast<ErrorCode>(i));
    known[std::string(info.code)] = info.status;
  }
  EXPECT_EQ(known, described);
}

// "where name" of each limit that the file gives: maxLength and maximum, and "at most
// so many KiB" in descriptions. `where` is the path or the component above it.
std::map<std::string, std::int64_t> DescribedLimits() {
  static const std::regex holderLine("^(?:  (/[^:]*)|    (?!(?:get|post|put|patch|delete):)(\\w+)):.*");
  static const std::regex limit("(?:(\\w+): \\{|^) [^{}]*(?:maxLength|maximum): (\\d+)");
  static const std::regex kibibytes("(?:(\\w+): \\{)?[^{}]*\\b[aA]t most (\\d+) KiB");
  std::map<std::string, std::int64_t> limits;
  std::string holder;
  for (const std::string& line : Lines()) {
    std::smatch match;
    if (std::regex_match(line, match, holderLine)) holder = match[1].matched ? match[1] : match[2];
    if (std::regex_search(line, match, limit)) limits[holder + ' ' + match[1].str()] = std::stoll(match[2]);
    if (std::regex_search(line, match, kibibytes))
      limits[holder + ' ' + match[1].str()] = std::stoll(match[2]) << 10;
  }
  return limits;
}

TEST(Contract, LimitsAreTheDescribedOnes) {
  const std::map<std::string, std::int64_t> known = {{"/cloudPhoto/v1/auth/login userName", kLongestUserName},
                                                     {"/cloudPhoto/v1/auth/login deviceId", kLongestDevice},
                                                     {"device schema", kLongestDevice},
                                                     {"/cloudPhoto/v1/auth/password keys", kLongestKeys},
                                                     {"/cloudPhoto/v1/keys ", kLongestKeys},
                                                     {"pageSize schema", kMaxPageSize},
                                                     {"Album id", kLongestAlbumId},
                                                     {"Album albumName", kLongestAlbumName},
                                                     {"Album type", kLongestAlbumType},
                                                     {"Album localPath", kLongestAlbumPath},
                                                     {"Album properties", kLongestAlbumProperties},
                                                     {"Media ", kLongestMediaFields},
                                                     {"Media albumId", kLongestAlbumId},
                                                     {"Media fileName", kLongestMediaText},
                                                     {"Media mimeType", kLongestMediaText},
                                                     {"Media hashId", kLongestMediaText},
                                                     {"Media source", kLongestMediaText},
                                                     {"Media description", kLongestMediaText},
                                                     {"Attachment ", kLongestAssetFields},
                                                     {"Resource hash", kLongestHash},
                                                     // Of 64 hexadecimal digits, not more and not less.
                                                     {"Resource sha256", 64}};
  EXPECT_EQ(known, DescribedLimits());
}

// Clients look at the last four digits only.
TEST(Contract, LastFourDigitsTellErrorsApart) {
  std::set<std::string> tails;
  for (int i = 0; i <= static_cast<int>(ErrorCode::NoSpace); ++i) {
    EXPECT_TRUE(tails.insert(std::string(Describe(static_cast<ErrorCode>(i)).code.substr(4))).second);
  }
}

TEST_F(CloudTest, UnknownPathsAndMethodsAreTold) {
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/nothing").Code(), "31084004");
  EXPECT_EQ(cloud.Call(anna, "GET", "/").Code(), "31084004");
  EXPECT_EQ(cloud.Call(anna, "PUT", "/cloudPhoto/v1/albums").Code(), "31084005");
  EXPECT_EQ(cloud.Call(anna, "GET", "/cloudPhoto/v1/media/%zz").Code(), "31084004");
}

TEST_F(CloudTest, EveryRouteButTheOpenOnesNeedsAToken) {
  const std::set<std::string> open = {"POST /cloudPhoto/v1/auth/login",
                                      "POST /cloudPhoto/v1/auth/refresh",
                                      "GET /cloudPhoto/v1/time",
                                      "GET /cloudPhoto/v1/objects/{objectId}",
                                      "PUT /cloudPhoto/v1/objects/{objectId}",
                                      "GET /metrics"};
  for (const Route& route : ApiRoutes()) {
    if (open.count(std::string(route.method) + " " + route.pattern)) continue;
    const Reply reply = cloud.Call({"", "stolen", ""}, route.method, route.pattern, Json("{}"));
    EXPECT_EQ(reply.Code(), "31084001") << route.method << ' ' << route.pattern;
  }
}

TEST(Contract, FaultRoutesNeedTheirFlag) {
  TestCloud cloud;
  cloud.services.faults.reset();
  const Router plain(cloud.services);
  for (const Route& route : plain.Routes()) EXPECT_NE(std::string(route.pattern).rfind("/faults", 0), 0u);
}

}  // namespace
}  // namespace photocloud::testing
