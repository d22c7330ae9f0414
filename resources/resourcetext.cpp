#include "resources/resourcetext.h"

#include <json/json.h>

#include <memory>

#include "common/platform/text.h"

// Made by the build from resources/strings/en.json.
extern const char kEnglishTexts[];

namespace {

const Json::Value& Texts() {
  static const Json::Value texts = [] {
    Json::Value parsed;
    std::istringstream(kEnglishTexts) >> parsed;
    return parsed;
  }();
  return texts;
}

}  // namespace

std::string ResourceText::GetUtf8(std::string_view id) {
  const Json::Value* text = Texts().find(id.data(), id.data() + id.size());
  return text && text->isString() ? text->asString() : std::string(id);
}

std::wstring ResourceText::Get(std::wstring_view id) {
  return platform::Utf8ToWide(GetUtf8(platform::WideToUtf8(id)));
}
