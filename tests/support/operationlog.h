#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <fstream>
#include <string>
#include <vector>

#include "host/base/logger.h"
#include "tests/support/temporaryfolder.h"

// The operation log while a test runs.
class OperationLog {
 public:
  OperationLog() { EXPECT_TRUE(Logger::CloudLogger::GetInstance()->Open(folder / "log.txt")); }
  ~OperationLog() { Logger::CloudLogger::GetInstance()->Close(); }
  OperationLog(const OperationLog&) = delete;
  OperationLog& operator=(const OperationLog&) = delete;

  // Lines of one event, without their time, in the order of the log; each a line of
  // compact JSON with sorted keys.
  std::vector<std::string> Of(int event) const {
    Logger::CloudLogger::GetInstance()->ReportLog();
    std::ifstream file(folder / "log-operations.txt");
    std::vector<std::string> found;
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    for (std::string line; std::getline(file, line);) {
      Json::Value entry;
      EXPECT_TRUE(Json::Reader().parse(line, entry)) << line;
      if (entry["event"] != event) continue;
      entry.removeMember("time");
      entry.removeMember("event");
      found.push_back(Json::writeString(compact, entry));
    }
    return found;
  }

 private:
  TemporaryFolder folder;
};
