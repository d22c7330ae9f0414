#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

#include "support/process.h"
#include "tests/support/temporaryfolder.h"

class CloudProcess;

// The client of one device: a process on a profile of its own, logged in as
// alice. It outlives its process, as a computer does.
class Device {
 public:
  Device(std::string deviceName, const CloudProcess& cloudProcess);

  // Starts the process, at construction too.
  void Start();
  // Ends it as a crash does.
  void Kill();
  void Restart() {
    Kill();
    Start();
  }

  // Sends a command and waits for its answer. Null when the process ends.
  Json::Value Do(const std::string& command, Json::Value arguments = Json::Value(Json::objectValue));
  Json::Value Do(const std::string& command, const char* key, const Json::Value& value);
  // The same without a wait; Answer() gives the answer.
  void Send(const std::string& command, Json::Value arguments = Json::Value(Json::objectValue));
  Json::Value Answer();

  // One cycle; "done" and, when that is false, "step" and "cause".
  Json::Value Cycle() { return Do("cycle"); }
  // What memory holds.
  Json::Value Dump() { return Do("dump"); }
  // What the database holds, read beside the process and without its classes.
  Json::Value Tables() const;
  // The row of versions and cursors; null without one.
  Json::Value VersionRow() const;
  std::size_t FileRows() const;
  // Where the row says that a file lies on this computer.
  std::string PathOf(const std::string& fileId) const;
  // Runs a statement on the database beside the process.
  void Execute(const std::string& statement) const;
  // Writes a member of the profile's settings.json; read at the next start.
  void Setting(const std::string& key, const Json::Value& value) const;

  const std::string& Name() const { return name; }
  // The id under which its requests stand in the server's journal.
  const std::string& Id() const { return id; }

 private:
  std::filesystem::path Database() const;

  const std::string name;
  const CloudProcess& cloud;
  TemporaryFolder profile;
  std::optional<Process> process;
  std::string id;
};
