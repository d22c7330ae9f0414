#include "host/base/jsonfile.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>
#include <string>

#include "common/platform/paths.h"

namespace JsonFile {
namespace {

constexpr std::uint64_t kMaxFileBytes = std::uint64_t{16} * 1024 * 1024;

bool Parse(const std::string& text, Json::Value& object) {
  Json::CharReaderBuilder builder;
  builder["rejectDupKeys"] = true;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  try {
    return reader->parse(text.data(), text.data() + text.size(), &object, nullptr) && object.isObject();
  } catch (const std::exception&) {  // Too deep.
    return false;
  }
}

}  // namespace

LoadResult Load(const std::filesystem::path& file, Json::Value& object) {
  object = Json::Value(Json::objectValue);
  std::string text;
  const std::error_code error = platform::ReadFile(file, text, kMaxFileBytes);
  if (error == std::errc::no_such_file_or_directory) return LoadResult::Missing;
  if (error) return LoadResult::Unreadable;
  Json::Value parsed;
  if (!Parse(text, parsed)) return LoadResult::Broken;
  object = std::move(parsed);
  return LoadResult::Loaded;
}

std::string Text(const Json::Value& object) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, object) + "\n";
}

std::filesystem::path Folder() { return platform::ConfigRoot() / "ZentaraCloud"; }

}  // namespace JsonFile
