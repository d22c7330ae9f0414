#include "device.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <csignal>
#include <fstream>

#include "accountapi.h"
#include "photocloud/base/json.h"

using photocloud::ParseJson;
using photocloud::WriteJson;

namespace {

// The rows of a query, each as an object of its columns.
std::vector<Json::Value> Query(const std::filesystem::path& file, const std::string& statement) {
  std::vector<Json::Value> rows;
  sqlite3* database = nullptr;
  EXPECT_EQ(sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK) << file;
  sqlite3_busy_timeout(database, 10'000);
  const auto row = [](void* list, int count, char** values, char** names) {
    Json::Value entry(Json::objectValue);
    for (int i = 0; i < count; ++i) entry[names[i]] = values[i] ? values[i] : "";
    static_cast<std::vector<Json::Value>*>(list)->push_back(entry);
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(database, statement.c_str(), row, &rows, nullptr), SQLITE_OK)
      << statement << ": " << sqlite3_errmsg(database);
  sqlite3_close_v2(database);
  return rows;
}

Json::Value Object(const Json::Value& text) {
  const auto object = ParseJson(text.asString());
  return object && object->isObject() ? *object : Json::Value(Json::objectValue);
}

std::int64_t Number(const Json::Value& text) { return std::atoll(text.asCString()); }

}  // namespace

Device::Device(std::string deviceName, const CloudProcess& cloudProcess)
    : name(std::move(deviceName)), cloud(cloudProcess) {
  Start();
}

void Device::Start() {
  process.emplace(std::vector<std::string>{DEVICE_PROGRAM}, Process::Input::Written);
  Json::Value arguments(Json::objectValue);
  arguments["profile"] = profile.Path().string();
  arguments["server"] = cloud.Url();
  arguments["user"] = "alice";
  arguments["password"] = "wonderland";
  const Json::Value answer = Do("open", arguments);
  ASSERT_TRUE(answer["opened"].asBool());
  id = answer["device"].asString();
}

void Device::Kill() { process.reset(); }

void Device::Send(const std::string& command, Json::Value arguments) {
  arguments["do"] = command;
  (void)process->WriteLine(WriteJson(arguments));  // An end of the process shows in the answer.
}

Json::Value Device::Answer() {
  // An answer may be a bare text or number, which stands in no document.
  const auto list = ParseJson("[" + process->ReadLine() + "]");
  return list && list->size() == 1 ? (*list)[0] : Json::Value();
}

Json::Value Device::Do(const std::string& command, Json::Value arguments) {
  Send(command, std::move(arguments));
  return Answer();
}

Json::Value Device::Do(const std::string& command, const char* key, const Json::Value& value) {
  Json::Value arguments(Json::objectValue);
  arguments[key] = value;
  return Do(command, arguments);
}

std::filesystem::path Device::Database() const {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(profile.Path() / "data")) {
    if (entry.path().string().ends_with("cpp.dat")) return entry.path();
  }
  return {};
}

Json::Value Device::Tables() const {
  Json::Value dump(Json::objectValue);
  dump["albums"] = Json::Value(Json::objectValue);
  dump["files"] = Json::Value(Json::objectValue);
  // Views of the client's own are no albums of the account.
  for (const Json::Value& row : Query(Database(), "SELECT * FROM Album WHERE IsDelete = 0")) {
    if (row["AlbumId"] == "default-album-3") continue;
    Json::Value& entry = dump["albums"][row["AlbumId"].asString()];
    entry["name"] = row["AlbumName"];
    entry["properties"] = Object(row["Expand"]);
    if (row["Operation"] != "") entry["waits"] = row["Operation"];
  }
  for (const Json::Value& row : Query(Database(), "SELECT * FROM GalleryFile")) {
    Json::Value& entry = dump["files"][row["UniqueId"].asString()];
    entry["name"] = row["FileName"];
    entry["album"] = row["AlbumId"];
    entry["bin"] = row["RecycleAlbumId"] == "default-album-3";
    entry["favorite"] = row["IsFavorite"] == "1";
    entry["size"] = Json::Int64(Number(row["Size"]));
    entry["createTime"] = Json::Int64(Number(row["CreateTime"]));
    entry["properties"] = Object(row["Expand"]);
    if (row["GalleryState"] != "0") entry["waits"] = static_cast<int>(Number(row["GalleryState"]));
    if (row["IsDeleted"] != "0") entry["deleted"] = true;
  }
  return dump;
}

Json::Value Device::VersionRow() const {
  const auto rows = Query(Database(), "SELECT * FROM AlbumLocalVersion");
  EXPECT_LE(rows.size(), 1u);
  return rows.empty() ? Json::Value() : rows.front();
}

std::size_t Device::FileRows() const {
  return static_cast<std::size_t>(Number(Query(Database(), "SELECT COUNT(*) AS n FROM GalleryFile")[0]["n"]));
}

std::string Device::PathOf(const std::string& fileId) const {
  const auto rows = Query(Database(), "SELECT LocalPath FROM GalleryFile WHERE UniqueId='" + fileId + "'");
  return rows.empty() ? std::string() : rows.front()["LocalPath"].asString();
}

void Device::Execute(const std::string& statement) const { (void)Query(Database(), statement); }

void Device::Setting(const std::string& key, const Json::Value& value) const {
  const auto file = profile.Path() / "config" / "ZentaraCloud" / "settings.json";
  std::ifstream input(file);
  Json::Value settings = ParseJson(std::string{std::istreambuf_iterator<char>(input), {}})
                             .value_or(Json::Value(Json::objectValue));
  settings[key] = value;
  std::ofstream(file) << WriteJson(settings);
}
