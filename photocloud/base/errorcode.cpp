#include "photocloud/base/errorcode.h"

#include <array>

namespace photocloud {
namespace {

constexpr std::array kErrors = {
    ErrorInfo{ErrorCode::Malformed, 400, "31084000", "malformed request", ""},
    ErrorInfo{ErrorCode::TokenInvalid, 401, "31084001", "access token missing, unknown or expired", ""},
    ErrorInfo{ErrorCode::CursorInvalid, 400, "31084002", "cursor is not valid", "cursor"},
    ErrorInfo{ErrorCode::AccountDisabled, 403, "31084003", "account is disabled", ""},
    ErrorInfo{ErrorCode::PathUnknown, 404, "31084004", "no such path", ""},
    ErrorInfo{ErrorCode::MethodNotAllowed, 405, "31084005", "method not allowed on this path", ""},
    ErrorInfo{ErrorCode::AlbumReserved, 403, "31084007", "album is reserved", "albumId"},
    ErrorInfo{ErrorCode::LoginRefused, 401, "31084011", "wrong user name or password", ""},
    ErrorInfo{ErrorCode::RefreshRefused, 401, "31084012", "refresh token unknown or expired", ""},
    ErrorInfo{ErrorCode::BodyTooLarge, 413, "31084013", "body too large", ""},
    ErrorInfo{ErrorCode::RangeOutside, 416, "31084016", "range outside the object", ""},
    ErrorInfo{ErrorCode::BytesDiffer, 422, "31084022", "bytes differ from the announced ones", "objectId"},
    ErrorInfo{ErrorCode::TooManyRequests, 429, "31084029", "too many requests", ""},
    ErrorInfo{ErrorCode::TooManyItems, 400, "31084030", "too many items or too deeply nested", ""},
    ErrorInfo{ErrorCode::HeaderTooLarge, 431, "31084031", "header too large", ""},
    ErrorInfo{ErrorCode::UrlRefused, 403, "31084033", "signed URL expired or not valid", ""},
    ErrorInfo{ErrorCode::AlbumNotEmpty, 409, "31084038", "album is not empty", "albumId"},
    ErrorInfo{ErrorCode::MediaUnknown, 404, "31084041", "media does not exist", "mediaId"},
    ErrorInfo{ErrorCode::ObjectUnknown, 404, "31084042", "asset, revision, object or session does not exist",
              ""},
    ErrorInfo{ErrorCode::DataHidden, 403, "31084052", "data is hidden", ""},
    ErrorInfo{ErrorCode::ObjectsMissing, 409, "31084092", "objects are missing", ""},
    ErrorInfo{ErrorCode::CompareFailed, 409, "31084093", "differs from what is stored", ""},
    ErrorInfo{ErrorCode::CursorExpired, 410, "31084100", "cursor expired", "cursor"},
    ErrorInfo{ErrorCode::LockInvalid, 423, "31084230", "lock token missing, wrong or expired", "x-zt-lock"},
    ErrorInfo{ErrorCode::LockHeld, 423, "31084231", "lock is held by another device", ""},
    ErrorInfo{ErrorCode::AlbumUnknown, 404, "31084909", "album does not exist", "albumId"},
    ErrorInfo{ErrorCode::AlbumNameExists, 409, "31084932", "album name already exists", "albumName"},
    ErrorInfo{ErrorCode::Internal, 500, "31085000", "internal error", ""},
    ErrorInfo{ErrorCode::Unavailable, 503, "31085003", "service is stopping or overloaded", ""},
    ErrorInfo{ErrorCode::NoSpace, 507, "31085070", "not enough space", ""},
};

constexpr bool IsInOrder() {
  for (std::size_t i = 0; i < kErrors.size(); ++i) {
    if (static_cast<std::size_t>(kErrors[i].error) != i) return false;
  }
  return kErrors.size() == static_cast<std::size_t>(ErrorCode::NoSpace) + 1;
}
static_assert(IsInOrder(), "the table is indexed by the enumeration");

}  // namespace

const ErrorInfo& Describe(ErrorCode error) { return kErrors[static_cast<std::size_t>(error)]; }

}  // namespace photocloud
