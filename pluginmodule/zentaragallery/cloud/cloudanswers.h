#pragma once

#include <string>
#include <string_view>

#include "host/requests/curlppx.h"
#include "host/requests/ns/request.h"
#include "utils/gallerylog.h"

// What all calls of the second generation do with an answer.
namespace CloudAnswers {

// True when the answer has its payload. Else logs, under `tag`, what came in its
// place: no answer, an error record with `prefix` in front, or something else.
template <typename Record>
bool HasPayload(const NS::Answer<Record>& answer, std::string_view tag, std::string_view prefix = {}) {
  if (answer.NetError()) {
    LogError(tag, "net error! info:" + curlppx::CurlGlobal::GetErrStr(answer.curlCode));
    return false;
  }
  if (answer.error) {
    LogError(tag, std::string(prefix) + "url:" + answer.url + " " + answer.error->Text());
    return false;
  }
  if (answer.payload) return true;
  LogError(tag, "service error! http code:" + std::to_string(answer.httpCode));
  return false;
}

}  // namespace CloudAnswers
