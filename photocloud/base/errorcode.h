#pragma once

#include <string_view>

namespace photocloud {

// Every way in which a request can fail. Callers act on the code's last four
// digits, so a number keeps its meaning for good.
enum class ErrorCode {
  Malformed,
  TokenInvalid,
  CursorInvalid,
  AccountDisabled,
  PathUnknown,
  MethodNotAllowed,
  AlbumReserved,
  LoginRefused,
  RefreshRefused,
  BodyTooLarge,
  RangeOutside,
  BytesDiffer,
  TooManyRequests,
  TooManyItems,
  HeaderTooLarge,
  UrlRefused,
  AlbumNotEmpty,
  MediaUnknown,
  ObjectUnknown,
  DataHidden,
  ObjectsMissing,
  CompareFailed,
  CursorExpired,
  LockInvalid,
  LockHeld,
  AlbumUnknown,
  AlbumNameExists,
  Internal,
  Unavailable,
  NoSpace,
};

struct ErrorInfo {
  ErrorCode error;
  int status;
  std::string_view code;
  std::string_view reason;
  std::string_view subject;
};

const ErrorInfo& Describe(ErrorCode error);

}  // namespace photocloud
