#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <vector>

#include "photocloud/api/exchange.h"

namespace photocloud {

// Media records as JSON text, put together from what is stored.

// For a single media: attachments unless `exchange.fields` leaves them out.
Answer ViewOne(Exchange& exchange, const MediaRecord& media);

// The records of one page. What attachments need is read in one step for all of
// them, and only where the selector names something of it.
class PageView {
 public:
  // `fields` holds inside each record.
  PageView(Exchange& pageExchange, const FieldSelector& recordFields,
           const std::vector<MediaRecord>& records);
  PageView(const PageView&) = delete;
  PageView& operator=(const PageView&) = delete;

  // How many of the records can be shown: a page whose attachments are too many
  // ends before its last record, and never before its first.
  std::size_t Count() const { return count; }
  void Append(std::string& out, const MediaRecord& media) const;

 private:
  Exchange& exchange;
  const FieldSelector& fields;
  const bool wantsAssets;
  std::size_t count;
  std::map<std::string, std::vector<ContentRecord>> contents;  // By media.
};

// An object's part in an asset, with a fresh download URL.
Json::Value ViewSlice(Exchange& exchange, const SliceRecord& slice);
Json::Value SignedUrl(Exchange& exchange, const std::string& method, const std::string& objectId);

// On the wire: 2 asks for the bytes, 1 says that they are held.
int TransferState(bool isHeld);

}  // namespace photocloud
