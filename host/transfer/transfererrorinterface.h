#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "common/platform/mutex.h"

// What went wrong in a task. The last recorded error decides what the user sees.
// Safe from any thread.
class TransferErrorInterface {
 public:
  // The numbers are stored and reported; they stay.
  enum ErrCode : std::int32_t {
    kNone = 0,
    kRecordNotFound = 2,  // the file left the gallery, or its row cannot be written
    kService = 3,         // no answer, or content that is not what was announced
    kNotAllowed = 4,
    kTokenRefused = 5,
    kServiceBusy = 6,
    kVersionUnknown = 7,  // nobody could tell the generation of the service
    kSourceGone = 13,
    kNoSpaceInCloud = 15,
    kMediaGone = 16,  // the cloud does not know the file any more
    kAlbumGone = 17,
    kNoUrl = 19,
    kPartFailed = 21,
    kNoUploadUrl = 22,
    kPutFailed = 23,
    kSmallThumbnailFailed = 24,
    kLargeThumbnailFailed = 25,
    kSourceChanged = 37,
    kNoSpaceOnDisk = 38,
    kGeneral = 40,
  };
  // How much it matters: a note, or what the user is told.
  enum Level : std::int32_t { kInfo = 1, kError = 2, kFatal = 3 };

  // Whether the service, or the way to it, was out: the same run may succeed later.
  enum class Outage { No, Yes };

  struct Error {
    ErrCode code = kNone;
    Level level = kInfo;
    std::string step;  // the operation in which it happened
    std::int32_t line = 0;
    std::string cause;  // in English, without secrets; may be empty
    Outage outage = Outage::No;
  };

  virtual ~TransferErrorInterface() = default;

  // Records an error and writes it to the log.
  void AddErr(ErrCode code, Level level, std::string_view function, std::int32_t line,
              std::string_view cause = {}, Outage outage = Outage::No);
  void ClearErr();
  // kNone when nothing went wrong.
  Error LastErr() const;

  // A sentence for the user, from the resources.
  static std::string Describe(ErrCode code);

 protected:
  // Names the file in log lines; without its folder.
  virtual std::string ErrSubject() const { return {}; }

 private:
  mutable platform::Mutex errorLock;
  Error last GUARDED_BY(errorLock);
};
