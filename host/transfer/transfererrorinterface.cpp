#include "host/transfer/transfererrorinterface.h"

#include <array>

#include "host/logger.h"

namespace {

struct Sentence {
  TransferErrorInterface::ErrCode code;
  std::string_view text;
};

using E = TransferErrorInterface;
constexpr std::array<Sentence, 20> kSentences{{
    {E::kNone, "nothing went wrong"},
    {E::kRecordNotFound, "the gallery has no record of the file any more"},
    {E::kService, "the cloud could not be reached, or its content was not whole"},
    {E::kNotAllowed, "the cloud does not allow it"},
    {E::kTokenRefused, "the cloud does not accept the session"},
    {E::kServiceBusy, "the cloud is busy"},
    {E::kVersionUnknown, "the cloud's generation is not known"},
    {E::kSourceGone, "the file is not there any more"},
    {E::kNoSpaceInCloud, "the cloud has no space left"},
    {E::kMediaGone, "the file was deleted in the cloud"},
    {E::kAlbumGone, "the album was deleted in the cloud"},
    {E::kNoUrl, "the cloud has no content for the file"},
    {E::kPartFailed, "a part could not be sent"},
    {E::kNoUploadUrl, "the cloud gave no place for a part"},
    {E::kPutFailed, "a part did not arrive"},
    {E::kSmallThumbnailFailed, "the small thumbnail could not be sent"},
    {E::kLargeThumbnailFailed, "the large thumbnail could not be sent"},
    {E::kSourceChanged, "the file was changed meanwhile"},
    {E::kNoSpaceOnDisk, "the disk is full or cannot be written"},
    {E::kGeneral, "the transfer failed"},
}};

}  // namespace

void TransferErrorInterface::AddErr(ErrCode code, Level level, std::string_view function, std::int32_t line,
                                    std::string_view cause, Outage outage) {
  {
    platform::MutexLock hold(errorLock);
    last = {code, level, std::string(function), line, std::string(cause), outage};
  }
  std::string text = "error " + std::to_string(code) + " (" + std::string(Describe(code)) + ") ";
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

std::string_view TransferErrorInterface::Describe(ErrCode code) {
  for (const Sentence& sentence : kSentences) {
    if (sentence.code == code) return sentence.text;
  }
  return "the transfer failed";
}
