#include "host/push/cserverpushserviceevents.h"

#include "host/base/jsontext.h"

namespace {

constexpr std::size_t kLongestEvent = 256 << 10;
constexpr std::string_view kDataField = "data:";

}  // namespace

bool PushEventReader::Take(std::string_view piece) {
  while (!piece.empty()) {
    const auto end = piece.find('\n');
    line += piece.substr(0, end);
    if (line.size() + data.size() > kLongestEvent) return false;
    if (end == std::string_view::npos) return true;
    piece.remove_prefix(end + 1);
    EndLine();
  }
  return true;
}

void PushEventReader::EndLine() {
  if (line.ends_with('\r')) line.pop_back();
  if (line.empty()) EndEvent();
  if (line.starts_with(kDataField)) {
    std::string_view value = std::string_view(line).substr(kDataField.size());
    if (value.starts_with(' ')) value.remove_prefix(1);
    if (!data.empty()) data += '\n';
    data += value;
  }
  line.clear();
}

void PushEventReader::EndEvent() {
  const auto json = JsonText::Parse(data);
  data.clear();
  if (!json || !json->isObject()) return;
  const PushMessage message{JsonText::Text(*json, "cmd"), JsonText::Text(*json, "body")};
  if (!message.command.empty()) sink(message);
}
