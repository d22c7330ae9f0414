#include "photocloud/api/exchange.h"

#include <algorithm>

#include "photocloud/api/limits.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

Json::Value ErrorRecord(const ErrorInfo& info, const std::string& subject) {
  Json::Value item(Json::objectValue);
  item["code"] = std::string(info.code);
  item["reason"] = std::string(info.reason);
  item["subject"] = subject;
  Json::Value record(Json::objectValue);
  record["error"]["status"] = info.status;
  record["error"]["description"] = std::string(info.reason);
  record["error"]["errors"].append(item);
  return record;
}

std::optional<std::int64_t> ParseSigned(const std::string& text) {
  if (text.empty() || text.front() != '-') return ParseNumber(text);
  const auto value = ParseNumber(std::string_view(text).substr(1));
  if (!value) return std::nullopt;
  return -*value;
}

bool IsFromStart(const std::string& cursor) { return cursor.empty() || cursor == "0"; }

}  // namespace

Answer::Answer(ErrorCode error) : Answer(error, std::string(Describe(error).subject)) {}

Answer::Answer(ErrorCode error, const std::string& subject)
    : status(Describe(error).status), json(ErrorRecord(Describe(error), subject)), isSelected(true) {}

Answer Answer::OfText(std::string text) {
  Answer answer;
  answer.text = std::move(text);
  answer.isSelected = true;
  return answer;
}

std::string Exchange::Device() const {
  const std::string named = request.Header("x-zt-device-id");
  return !named.empty() && IsDeviceName(named) ? named : caller.deviceId;
}

bool IsDeviceName(const std::string& text) { return text.size() <= kLongestDevice && IsPlainText(text); }

std::int64_t Exchange::NextVersion() {
  TellDevices();
  return services.store.NextVersion(Account());
}

void Exchange::TellDevices() {
  scope.hasChanged = true;
  scope.changedBy = Device();
  scope.account = Account();
}

std::variant<int, ErrorCode> PageSize(const Request& request) {
  const std::string text = request.Query("pageSize");
  if (text.empty()) return kMaxPageSize;
  const auto size = ParseNumber(text);
  if (!size || *size < 1) return ErrorCode::Malformed;
  return static_cast<int>(std::min<std::int64_t>(*size, kMaxPageSize));
}

std::string WriteCursor(std::int64_t version, const ListPosition& position) {
  return "v" + std::to_string(version) + "." + std::to_string(position.createdMs) + "." + position.id;
}

std::variant<ListCursor, ErrorCode> ReadListCursor(const Request& request, const Account& account) {
  const std::string text = request.Query("cursor");
  if (IsFromStart(text)) return ListCursor{account.version, std::nullopt};
  const auto first = text.find('.');
  const auto second = first == std::string::npos ? first : text.find('.', first + 1);
  if (text.front() != 'v' || second == std::string::npos) return ErrorCode::CursorInvalid;
  const auto version = ParseNumber(text.substr(1, first - 1));
  const auto created = ParseSigned(text.substr(first + 1, second - first - 1));
  if (!version || !created) return ErrorCode::CursorInvalid;
  if (*version < account.oldestCursor || *version > account.version) return ErrorCode::CursorExpired;
  return ListCursor{*version, ListPosition{*created, text.substr(second + 1)}};
}

std::variant<std::int64_t, ErrorCode> ReadVersionCursor(const Request& request, const Account& account) {
  const std::string text = request.Query("cursor");
  if (text.empty()) return std::int64_t{0};
  const auto version = ParseNumber(text);
  if (!version) return ErrorCode::CursorInvalid;
  // A cursor from ahead of the account was given out before a backup was put back.
  if (*version > account.version) return ErrorCode::CursorExpired;
  return *version;
}

std::optional<std::map<std::string, std::string>> QueryTerms(const Request& request) {
  std::map<std::string, std::string> terms;
  for (const std::string& term : Split(request.Query("queryParam"), '&')) {
    if (term.empty()) continue;
    const auto equals = term.find('=');
    if (equals == std::string::npos) return std::nullopt;
    std::string value = term.substr(equals + 1);
    if (value.size() >= 2 && value.front() == '\'' && value.back() == '\'')
      value = value.substr(1, value.size() - 2);
    terms[term.substr(0, equals)] = value;
  }
  return terms;
}

}  // namespace photocloud
