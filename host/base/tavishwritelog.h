#pragma once

#include <string_view>

#include "host/base/logger.h"

namespace CommonAbility {

// The log call of window code: the line names source file and function of the
// caller, which the compiler fills in. Safe from any thread.
void TavishWriteLog(std::string_view text, Logger::Severity severity = Logger::Severity::Information,
                    const char* file = __builtin_FILE(), const char* function = __builtin_FUNCTION(),
                    int line = __builtin_LINE());

}  // namespace CommonAbility
