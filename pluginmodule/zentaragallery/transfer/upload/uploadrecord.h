#pragma once

#include <json/value.h>

#include <cstdint>

#include "cloud/httpheaders.h"

// What the cloud answers to an upload: the record that it has made, with how the
// content is cut and what is still to be sent.
namespace UploadRecord {

// `state` of an asset or an object that the cloud lacks.
inline constexpr int kMustSend = 2;

bool IsContent(const Json::Value& attachment);
// Whether the cloud lacks something of the asset that `resource` stands for.
bool IsAsked(const Json::Value& record, const Json::Value& resource);
// Whether a record can be filled by a content of `contentSize` bytes: it has an id,
// exactly two assets, and a cut that fits. Another cut would send wrong bytes.
bool IsUsable(const Json::Value& record, std::int64_t contentSize);
// How the content is cut, for an answer that asks for it; null for one that does not.
Json::Value ContentToSend(const Json::Value& record);
// The headers that go with an upload address: texts, or lists of which the first
// counts.
HttpHeaders Headers(const Json::Value& json);

}  // namespace UploadRecord
