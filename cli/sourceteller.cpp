#include "sourceteller.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "resources/resourcetext.h"

namespace fs = std::filesystem;

namespace {

bool IsThere(const fs::path& source) {
  std::error_code error;  // What cannot be looked at may be there.
  return fs::status(source, error).type() != fs::file_type::not_found;
}

}  // namespace

void SourceTeller::Note() {
  waiting.clear();
  Gallery::GetInstance().GetAllFiles(waiting);
  std::erase_if(waiting, [](const GalleryFile::Ptr& file) {
    return !file->IsLocalOnly() || file->IsDeleted || file->IsInBin();
  });
}

bool SourceTeller::Tell() {
  for (const auto& file : waiting) {
    if (!file->IsLocalOnly() || file->IsDeleted) continue;
    const fs::path source = platform::NativePath(file->LocalPath());
    if (IsThere(source) || !told.insert(file).second) continue;
    const bool away = Gallery::GetInstance().GetFile(file->UniqueId()) && platform::IsFolderAway(source);
    Print(*file, away ? "away" : "gone",
          ResourceText::GetUtf8(away ? "IDS_GALLERY_SOURCE_AWAY" : "IDS_GALLERY_SOURCE_GONE"));
  }
  Note();
  return !told.empty();
}

void SourceTeller::Print(const GalleryFile& file, const char* source, const std::string& words) {
  Json::Value json(Json::objectValue);
  json["id"] = file.UniqueId();
  PutExact(json, "fileName", platform::ExactText(file.FileName()));
  PutExact(json, "path", platform::NativePath(file.LocalPath()).string());
  json["source"] = source;
  json["text"] = words;
  if (output.IsJson()) output.Print(json, "");
  output.Error(platform::DisplayText(file.FileName()) + ": " + words + " (" +
               platform::DisplayText(file.LocalPath()) + ")");
}
