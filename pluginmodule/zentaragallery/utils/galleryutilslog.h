#pragma once

#include <string_view>

#include "host/base/logger.h"

// One error line of this folder's sources; `tag` is the class or operation.
inline void LogUtilsError(int line, std::string_view tag, std::string_view text) {
  Logger::CloudLogger::GetInstance()->Output("gallery", Logger::Severity::Error, line, tag, text);
}
