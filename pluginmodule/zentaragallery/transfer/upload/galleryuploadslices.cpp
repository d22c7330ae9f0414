// The objects of a record, one after the other: encrypted, announced, sent and
// confirmed.

#include "host/base/jsontext.h"
#include "transfer/contentcrypto.h"
#include "transfer/upload/galleryuploadtask.h"
#include "transfer/upload/slicereader.h"
#include "transfer/upload/uploadrecord.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"

using JsonText::Member;
using JsonText::Number;
using JsonText::Text;
using UploadRecord::kMustSend;

namespace {

// Kinds of objects.
constexpr std::int32_t kContent = 0;
constexpr std::int32_t kThumbnail = 1;

}  // namespace

bool GalleryUploadTask::UploadAttachment(Json::ArrayIndex index, FileSliceCmdParamsV2& record,
                                         UploadFileCommandParams& params) {
  record.attachmentIndex = index;
  const std::int32_t kind = UploadRecord::IsContent(record.Attachment()) ? kContent : kThumbnail;
  return UploadV2Slice(index, record.Asset()["resource"]["objects"].size(), params, kind, record);
}

bool GalleryUploadTask::UploadV2Slice(Json::ArrayIndex attachmentIndex, Json::ArrayIndex objectCount,
                                      UploadFileCommandParams& params, std::int32_t kind,
                                      FileSliceCmdParamsV2& record) {
  record.attachmentIndex = attachmentIndex;
  params.kind = kind;
  SliceReader reader(localPath, params, record.Asset()["resource"]);
  for (Json::ArrayIndex index = 0; index < objectCount; ++index) {
    record.objectIndex = index;
    params.readPosition = 0;
    params.fileOffset = reader.Start(index);
    params.slicePlainLength = reader.PlainLength(index);
    if (!(kind == kContent ? EncryptOriginalData(reader, params, record)
                           : EncryptThumbData(params, record)) ||
        !UploadV2SliceRequestUrl(record) || !SendObject(params, record) ||
        !UploadV2SliceRequestUploadState(record)) {
      return false;
    }
    if (kind == kContent) SetTransferred(params.fileOffset + params.slicePlainLength);
  }
  // A record of other bytes than its digests are of could be checked by no reader.
  if (kind == kContent && objectCount > 0 && !reader.Plain().SawTheSameAs(source.bytes)) {
    return Fail(kSourceChanged, "GalleryUploadTask::UploadV2Slice", __LINE__);
  }
  return true;
}

bool GalleryUploadTask::EncryptOriginalData(SliceReader& reader, UploadFileCommandParams& params,
                                            FileSliceCmdParamsV2& record) {
  EncryptedSlice slice = reader.Take(record.objectIndex);
  if (!slice.isWhole) {
    if (SourceIsGone()) ForgetFile();
    return Fail(kGeneral, "GalleryUploadTask::EncryptOriginalData", __LINE__, "the source cannot be read");
  }
  params.body = std::move(slice.bytes);
  record.md5 = slice.md5;
  record.sha256 = slice.sha256;
  return true;
}

bool GalleryUploadTask::EncryptThumbData(UploadFileCommandParams& params, FileSliceCmdParamsV2& record) {
  params.body = AES_128_CBC_Thumb(record);
  if (params.body.empty()) {
    return Fail(kGeneral, "GalleryUploadTask::EncryptThumbData", __LINE__,
                "the thumbnails cannot be encrypted");
  }
  record.md5 = MethodFunction::Md5(params.body);
  record.sha256 = MethodFunction::Sha256(params.body);
  return true;
}

// Leaves out what the cloud holds already, as a whole or of this object.
bool GalleryUploadTask::SendObject(UploadFileCommandParams& params, FileSliceCmdParamsV2& record) {
  const Json::Value& resource = record.Asset()["resource"];
  const Json::Value& object = resource["objects"][record.objectIndex];
  const Json::Value& objects = Member(Member(record.sliceResponse, "resource"), "objects");
  const bool isAnswered = objects.isArray() && record.objectIndex < objects.size();
  const Json::Value& answered = isAnswered ? objects[record.objectIndex] : Json::Value::nullSingleton();
  params.sliceLength = static_cast<std::uint32_t>(Number(object, "length"));
  const bool isAsked =
      UploadRecord::IsAsked(record.doc, resource) && Number(answered, "state", kMustSend) == kMustSend;
  if (isAsked) return PutObject(params, object, Member(answered, "uploadUrl"));
  LogInfo("GalleryUploadTask::UploadV2Slice",
          [&] { return "upload file rapid, fileid: " + Text(record.doc, "id"); });
  return true;
}

bool GalleryUploadTask::PutObject(UploadFileCommandParams& params, const Json::Value& object,
                                  const Json::Value& uploadUrl) {
  constexpr char kStep[] = "GalleryUploadTask::PutObject";
  // Fewer bytes than the cloud waits for: the file has changed since its start.
  if (params.body.size() != params.sliceLength) {
    return Fail(kSourceChanged, kStep, __LINE__, "the source has another length now");
  }
  if (!MayGoOn()) return false;
  httpLib.Reset();
  if (!MayGoOn()) return false;
  LogInfo(kStep, [&] { return "upload slice idx:" + Text(object, "number"); });
  std::string response;
  if (uploadUrl.isObject() && httpLib.UploadFile(params, Text(uploadUrl, "url"),
                                                 UploadRecord::Headers(uploadUrl["headers"]), response)) {
    return true;
  }
  if (!MayGoOn()) return false;
  if (SourceIsGone()) {
    ForgetFile();
    return Fail(kGeneral, kStep, __LINE__, "the source was deleted while it was sent");
  }
  return FailAnswer(kStep, __LINE__, JsonText::Parse(response).value_or(Json::Value()));
}

bool GalleryUploadTask::UploadV2SliceRequestUrl(FileSliceCmdParamsV2& record) {
  constexpr char kStep[] = "GalleryUploadTask::UploadV2SliceRequestUrl";
  Json::Value answer;
  if (!Send(kAnnounceSlice, record, answer)) return false;
  if (!Member(answer, "resource").isObject()) return FailAnswer(kStep, __LINE__, answer);
  record.sliceResponse = std::move(answer);
  return true;
}

bool GalleryUploadTask::UploadV2SliceRequestUploadState(FileSliceCmdParamsV2& record) {
  Json::Value answer;
  if (!Send(kConfirmSlice, record, answer)) return false;
  return httpLib.HasGoodAnswer() || Member(answer, "resource").isObject() ||
         FailAnswer("GalleryUploadTask::UploadV2SliceRequestUploadState", __LINE__, answer);
}
