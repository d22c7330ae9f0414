#include "transfer/upload/contentcuts.h"

#include "common/platform/files.h"
#include "common/platform/mutex.h"
#include "common/platform/paths.h"
#include "host/base/jsonfile.h"
#include "host/base/jsontext.h"
#include "store/dbhelper.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

namespace {

using JsonText::Number;

constexpr std::int64_t kDayMs = 86'400'000;
constexpr std::int64_t kInOnePiece = 0;
constexpr char kUsual[] = "usualSliceSize";
constexpr char kContents[] = "contents";
constexpr char kTag[] = "ContentCuts::Accept";

std::filesystem::path File() {
  return platform::NativePath(DBHelper::GetInstance().UserFolder() + L"\\cuts.json");
}

bool Store(const Json::Value& cuts) {
  const std::error_code failed = platform::ReplaceAtomically(File(), JsonFile::Text(cuts));
  if (failed) LogError(kTag, "cuts.json: " + failed.message());
  return !failed;
}

bool NoteUsual(Json::Value& cuts, const Json::Value& resource) {
  const std::int64_t size = Number(resource, "sliceSize");
  if (Number(cuts, kUsual) == size) return true;
  cuts[kUsual] = Json::Int64{size};
  return Store(cuts);
}

// As a first upload would have cut it.
std::int64_t UsualCut(const Json::Value& cuts, const Json::Value& resource) {
  const std::int64_t usual = Number(cuts, kUsual, -1);
  return usual >= Number(resource, "length") ? kInOnePiece : usual;
}

}  // namespace

bool ContentCuts::Accept(Upload upload, const std::string& hashId, const Json::Value& resource) {
  static platform::Mutex fileLock;
  platform::MutexLock hold(fileLock);
  Json::Value cuts;
  // One that is damaged begins anew: without it nothing could ever go back.
  if (JsonFile::Load(File(), cuts) == JsonFile::LoadResult::Unreadable) return false;
  if (upload == Upload::First) return NoteUsual(cuts, resource);
  Json::Value& contents = cuts[kContents];
  if (!contents.isObject()) contents = Json::Value(Json::objectValue);
  const std::int64_t cut = resource["objects"].size() > 1 ? Number(resource, "sliceSize") : kInOnePiece;
  const bool known = contents[hashId].isObject();
  const std::int64_t last = known ? Number(contents[hashId], "cut") : UsualCut(cuts, resource);
  if (known && cut == last) return true;
  const std::int64_t now = MethodFunction::CurrentTime();
  const std::int64_t changed = known ? Number(contents[hashId], "changed") : 0;
  const std::int64_t age = now - changed;
  if (cut != last && changed != 0 && age >= 0 && age < kDayMs) {
    LogWarning(kTag, "a content that was cut otherwise less than a day ago is not sent, slice size " +
                         std::to_string(last) + " -> " + std::to_string(cut));
    return false;
  }
  if (cut != last) {
    LogWarning(kTag, "a content goes back in another cut, slice size " + std::to_string(last) + " -> " +
                         std::to_string(cut));
  }
  Json::Value entry(Json::objectValue);
  entry["cut"] = Json::Int64{cut};
  entry["changed"] = Json::Int64{cut == last ? changed : now};
  contents[hashId] = entry;
  return Store(cuts);
}
