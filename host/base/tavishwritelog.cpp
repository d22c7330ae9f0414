#include "host/base/tavishwritelog.h"

namespace CommonAbility {

void TavishWriteLog(std::string_view text, Logger::Severity severity, const char* file, const char* function,
                    int line) {
  std::string_view name = file;
  name.remove_prefix(name.find_last_of("\\/") + 1);
  Logger::CloudLogger::GetInstance()->Output(name, severity, line, function, text);
}

}  // namespace CommonAbility
