#pragma once

#include <json/value.h>

#include "photocloud/api/exchange.h"

namespace photocloud {

// Media records as JSON. Attachments cost further reads, so they are made only
// where they are wanted.

// For a single media: attachments unless `exchange.fields` leaves them out.
Json::Value ViewOne(Exchange& exchange, const MediaRecord& media);
// For an element of a list: attachments only when `fields` names them.
Json::Value ViewInList(Exchange& exchange, const MediaRecord& media, const FieldSelector& fields);
Json::Value ViewWithAttachments(Exchange& exchange, const MediaRecord& media);

// An object's part in an asset, with a fresh download URL.
Json::Value ViewSlice(Exchange& exchange, const SliceRecord& slice);
Json::Value SignedUrl(Exchange& exchange, const std::string& method, const std::string& objectId);

// On the wire: 2 asks for the bytes, 1 says that they are held.
int TransferState(bool isHeld);

}  // namespace photocloud
