#pragma once

#include <json/value.h>

#include <string>

#include "photocloud/store/records.h"

namespace photocloud {

// Where a media in the bin says it is. The service keeps the album it came from
// in its place, so that it finds its way back.
constexpr const char* kRecycleAlbum = "default-album-3";

// Takes the fields of a request's body into a record, by a table of names and
// types. Unknown names are left out, so that newer clients can talk to it; null
// removes a field. Returns the name of the first field at fault, or an empty
// text. Does not look at albumId, status and attachments.
std::string TakeMediaFields(const Json::Value& body, MediaRecord& media);

// Takes `albumId` and `recycled`, and keeps `recycledTime` in step. Returns the
// name of the field at fault, or an empty text. Whether the album exists is the
// caller's question.
std::string TakePlace(const Json::Value& body, std::int64_t nowMs, MediaRecord& media);

}  // namespace photocloud
