#pragma once

#include <map>
#include <string>

// What the operator of the service and the owner of this computer can set for the
// client. Each member names its key.
struct PcClientProperties {
  int briefingPeriodDays = 7;  // "briefingPeriodDays": days between two full comparisons, at least 1
  std::map<std::string, std::string> other;  // what else the service has told, by its key
};

// The client's properties, put together from, first counts most: the file
// settings.json, what the service told last, defaults. Safe from any thread.
class COperationManageService {
 public:
  static COperationManageService* GetInstance();

  PcClientProperties GetPcClientProPertiesConfig() const;

  // Told by whoever asks the service about itself.
  void SetServerSettings(std::map<std::string, std::string> settings);

 private:
  COperationManageService();
  ~COperationManageService() = delete;  // lives until the process ends
  struct State;
  State* const state;
};
