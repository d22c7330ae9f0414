// Answers of the photo cloud, from their text to the records that the sync works with.
// The first byte says which call is answered.

#include "cloud/cloudrecords.h"
#include "fuzz.h"
#include "host/base/jsontext.h"
#include "host/requests/ns/basic.h"
#include "host/requests/ns/cloudphotov2.h"
#include "host/requests/ns/cloudphotov2assets.h"
#include "host/requests/ns/cloudphotov2losts.h"
#include "model/records/galleryfile.h"
#include "transfer/upload/uploadrecord.h"

using namespace NS::CloudPhoto;

namespace {

template <typename Record>
void ReadAs(const Json::Value& json) {
  Record record;
  (void)Read(json, record);
}

void TakeMedia(const V2::Media& media) {
  const auto file = std::make_shared<GalleryFile>(CloudRecords::ToFileInfo(media));
  (void)file->UrlSource(0);
  (void)CloudRecords::MediaUpdateRequest(CloudRecords::ToFileInfo(media));
}

void TakeAlbums(const Json::Value& json) {
  V2::AlbumPage page;
  if (!Read(json, page)) return;
  for (const auto& album : page.albums) (void)CloudRecords::AlbumUpdateRequest(*CloudRecords::ToAlbum(album));
}

void TakeMediaPage(const Json::Value& json) {
  V2::MediaPage page;
  if (!Read(json, page)) return;
  for (const auto& media : page.media) TakeMedia(media);
}

void TakeChanges(const Json::Value& json) {
  V2::ChangePage page;
  if (!Read(json, page)) return;
  for (const auto& change : page.changes) TakeMedia(change.media);
}

void TakeUpload(const Json::Value& json) {
  constexpr std::int64_t kSize = 100'000;
  (void)UploadRecord::Headers(json);
  if (UploadRecord::IsUsable(json, kSize)) (void)UploadRecord::ContentToSend(json);
}

void TakeBatch(const Json::Value& json) {
  NS::P2ReqBatchRet batch;
  if (batch.Read(json, 2)) Demand(batch.GetBatchResponse().size() == 2);
}

using Take = void (*)(const Json::Value&);
constexpr Take kCalls[] = {TakeAlbums,
                           TakeMediaPage,
                           TakeChanges,
                           TakeUpload,
                           TakeBatch,
                           ReadAs<V2::About>,
                           ReadAs<V2::StartCursor>,
                           ReadAs<V2::Lock>,
                           ReadAs<V2::MediaGetResponse>,
                           ReadAs<V2::LostsListRet>,
                           ReadAs<V2::P2ReqMediaPatchMetadataRet>,
                           ReadAs<NS::Basic::Tokens>,
                           ReadAs<NS::Basic::KeysRecord>,
                           ReadAs<NS::Basic::SessionList>,
                           ReadAs<NS::Basic::UserRegisterInfo>,
                           ReadAs<NS::Basic::Quota>,
                           ReadAs<NS::Basic::ServerTime>};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // What is no object is no payload, and never gets as far as a record.
  const auto json = JsonText::Parse(TextOf(data + 1, size - 1));
  if (!json || !json->isObject()) return 0;
  if (const auto error = NS::ErrorResp::From(*json)) (void)error->Text();
  (void)NS::Request::GetRetCode(*json);
  kCalls[(data[0] - '0') % std::size(kCalls)](*json);
  return 0;
}
