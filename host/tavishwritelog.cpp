#include "host/tavishwritelog.h"

namespace CommonAbility {

void TavishWriteLog(std::string_view text, Logger::Severity severity, std::source_location where) {
  std::string_view file = where.file_name();
  file.remove_prefix(file.find_last_of("\\/") + 1);
  Logger::CloudLogger::GetInstance()->Output(file, severity, static_cast<int>(where.line()),
                                             where.function_name(), text);
}

}  // namespace CommonAbility
