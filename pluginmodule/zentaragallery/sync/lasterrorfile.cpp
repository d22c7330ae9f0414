#include "sync/lasterrorfile.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "host/base/jsonfile.h"
#include "host/base/jsontext.h"
#include "store/dbhelper.h"
#include "utils/gallerylog.h"

namespace {

std::filesystem::path File() {
  return platform::NativePath(DBHelper::GetInstance().UserFolder() + L"\\lastsyncerror.json");
}

}  // namespace

bool LastErrorFile::Store(const SyncError& error) {
  std::error_code failed;
  if (error.step.empty()) {
    std::filesystem::remove(File(), failed);
  } else {
    Json::Value json(Json::objectValue);
    json["step"] = error.step;
    json["cause"] = error.cause;
    json["item"] = error.item;
    json["words"] = error.words;
    json["time"] = Json::Int64{error.timeMs};
    failed = platform::ReplaceAtomically(File(), JsonFile::Text(json));
  }
  if (failed) LogWarning("LastErrorFile::Store", failed.message());
  return !failed;
}

SyncError LastErrorFile::Load() {
  Json::Value json;
  if (JsonFile::Load(File(), json) != JsonFile::LoadResult::Loaded) return {};
  return {JsonText::Text(json, "step"), JsonText::Text(json, "cause"), JsonText::Text(json, "item"),
          JsonText::Number(json, "time"), JsonText::Text(json, "words")};
}
