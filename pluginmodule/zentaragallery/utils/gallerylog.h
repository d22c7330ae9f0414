#pragma once

#include <source_location>
#include <string>
#include <string_view>

#include "common/platform/text.h"
#include "host/base/logger.h"

// One line in the log of the gallery module. `tag` is the class and method name.
// `text` comes from a callable, so that a line below the log's level costs
// nothing.
template <typename Text>
void GalleryLog(Logger::Severity severity, std::string_view tag, Text text,
                std::source_location where = std::source_location::current()) {
  auto* logger = Logger::CloudLogger::GetInstance();
  if (!logger->Enabled(severity)) return;
  if constexpr (std::is_invocable_v<Text>) {
    logger->Output("Gallery", severity, static_cast<int>(where.line()), tag, text());
  } else {
    logger->Output("Gallery", severity, static_cast<int>(where.line()), tag, text);
  }
}

template <typename Text>
void LogInfo(std::string_view tag, Text text, std::source_location where = std::source_location::current()) {
  GalleryLog(Logger::Severity::Information, tag, text, where);
}

template <typename Text>
void LogWarning(std::string_view tag, Text text,
                std::source_location where = std::source_location::current()) {
  GalleryLog(Logger::Severity::Warning, tag, text, where);
}

template <typename Text>
void LogError(std::string_view tag, Text text, std::source_location where = std::source_location::current()) {
  GalleryLog(Logger::Severity::Error, tag, text, where);
}
