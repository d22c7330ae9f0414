#include "host/transfer/transfererrorinterface.h"

#include "host/base/logger.h"
#include "resources/resourcetext.h"

void TransferErrorInterface::AddErr(ErrCode code, Level level, std::string_view function, std::int32_t line,
                                    std::string_view cause, Outage outage) {
  {
    platform::MutexLock hold(errorLock);
    last = {code, level, std::string(function), line, std::string(cause), outage};
  }
  std::string text = "error " + std::to_string(code) + " (" + Describe(code) + ") ";
  text.append(ErrSubject()).append(cause.empty() ? "" : ": ").append(cause);
  Logger::CloudLogger::GetInstance()->Output(
      "Transfer", level == kInfo ? Logger::Severity::Information : Logger::Severity::Error, line, function,
      text);
}

void TransferErrorInterface::ClearErr() {
  platform::MutexLock hold(errorLock);
  last = Error();
}

TransferErrorInterface::Error TransferErrorInterface::LastErr() const {
  platform::MutexLock hold(errorLock);
  return last;
}

std::string TransferErrorInterface::Describe(ErrCode code) {
  const std::string id = "IDS_TRANSFER_ERROR_" + std::to_string(code);
  const std::string words = ResourceText::GetUtf8(id);
  return words == id ? ResourceText::GetUtf8("IDS_TRANSFER_ERROR_40") : words;
}
