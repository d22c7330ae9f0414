#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/requests/ns/cloudphotov2.h"

// Records of media whose contents the cloud has lost, and what is said about
// contents that came back.
namespace NS::CloudPhoto::V2 {

struct LostAttachment {
  std::string usage;  // "content", "thumbnail", "largeThumbnail", "smallThumbnail"
  std::uint32_t status = 0;
};

struct LostMedia {
  std::string id;
  std::uint32_t status = 0;
  std::int64_t size = 0;
  std::vector<LostAttachment> attachments;
};

struct LostChangeList {
  std::vector<LostMedia> media;
  std::string nextCursor;      // of the next page; empty on the last one
  std::string newStartCursor;  // set on the last page only: what was lost since
};

// The answer of the list; the error record stands in the Answer around it.
class LostsListRet {
 public:
  const LostChangeList& GetChangeList() const { return list; }

 private:
  friend bool Read(const Json::Value& json, LostsListRet& answer);
  LostChangeList list;
};
bool Read(const Json::Value& json, LostsListRet& answer);

// A page of the list behind `cursor`; empty is the start.
class LostsListQuery : public Call<LostsListRet> {
 public:
  explicit LostsListQuery(const std::string& cursor);
};

// The answer of a change of one media's status.
class P2ReqMediaPatchMetadataRet {
 public:
  const Media& GetMedia() const { return media; }

 private:
  friend bool Read(const Json::Value& json, P2ReqMediaPatchMetadataRet& answer);
  Media media;
};
bool Read(const Json::Value& json, P2ReqMediaPatchMetadataRet& answer);

// Tells the status of one revision of an asset: 1 its bytes are there, 2 they are
// lost. Needs no lock.
class AssetsRevisionsUpdateQuery : public Call<Nothing> {
 public:
  AssetsRevisionsUpdateQuery(const std::string& mediaId, const std::string& assetId,
                             const std::string& versionId, std::int32_t status);
};

}  // namespace NS::CloudPhoto::V2
