#pragma once

#include <source_location>
#include <string_view>

#include "host/logger.h"

namespace CommonAbility {

// The log call of window code: the line names source file and function of the
// caller. Safe from any thread.
void TavishWriteLog(std::string_view text, Logger::Severity severity = Logger::Severity::Information,
                    std::source_location where = std::source_location::current());

}  // namespace CommonAbility
