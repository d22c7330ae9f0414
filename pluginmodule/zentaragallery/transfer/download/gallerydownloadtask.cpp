#include "transfer/download/gallerydownloadtask.h"

#include <chrono>
#include <filesystem>
#include <future>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "host/requests/ns/headbuilder.h"
#include "host/transfer/speedlimit.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "transfer/contentcrypto.h"
#include "transfer/download/downloadplaces.h"
#include "utils/gallerylog.h"

namespace fs = std::filesystem;
using NS::CloudPhoto::V2::ResourceObject;

namespace {

constexpr int kRunReport = 16018;
constexpr std::size_t kPassBytes = 0x400000;
// A piece of ciphertext is at most that long; nothing larger is kept in memory.
constexpr std::int64_t kLargestObject = std::int64_t{1} << 30;

bool CanBeFetched(const ResourceObject& object) {
  return !object.downloadUrl.url.empty() && object.length > 0 && object.length <= kLargestObject;
}

// Ciphertext is always whole blocks, whatever a record says.
std::int64_t WholeBlocks(std::int64_t length) { return (length + 15) / 16 * 16; }

bool IsAuthorization(const std::string& line) {
  return platform::AsciiLower(line).starts_with("authorization:");
}

}  // namespace

GalleryDownloadTask::GalleryDownloadTask(const DatabaseService::TransmissionDB::DownloadTaskProperty& row) {
  static_cast<DownloadTaskProperty&>(*this) = row;
}

bool GalleryDownloadTask::LoadFromDB() { return true; }

bool GalleryDownloadTask::AddToDB() { return DBHelper::GetInstance().AddDownload(*this); }

bool GalleryDownloadTask::DeleteFromDB() {
  LogInfo("GalleryDownloadTask::DeleteFromDB", "Delete DownLoadTask From DB");
  DeleteTempDownloadFile();
  return DBHelper::GetInstance().DeleteDownload(Id);
}

void GalleryDownloadTask::StopTask(TaskStatus status, std::int32_t errorCode) {
  if (!HasEnded()) TransferTask::StopTask(status, errorCode);
}

bool GalleryDownloadTask::OnComplete() {
  constexpr char kStep[] = "GalleryDownloadTask::OnComplete";
  const auto file = Gallery::GetInstance().GetFile(UniqueId);
  if (file) file->SetLocalPath(LocalPath);
  if (!file || !DBHelper::GetInstance().SetLocalPath(file)) {
    AddErr(kRecordNotFound, kInfo, kStep, __LINE__, "the place of the file is not stored");
  }
  return DownloadTask::OnComplete();
}

bool GalleryDownloadTask::GetThumbnailPath(std::wstring& path) {
  const auto file = Gallery::GetInstance().GetFile(GetTransferId());
  path = file ? file->ThumbnailPath() : std::wstring();
  return !path.empty();
}

bool GalleryDownloadTask::RunTask() {
  ClearErr();
  if (!HasItsName() && !SetLocalFile()) {
    LogError("GalleryDownloadTask::RunTask", "set local file fail!");
    return false;
  }
  return StartDownloadTask();
}

bool GalleryDownloadTask::TakeOtherPlace() {
  constexpr char kStep[] = "GalleryDownloadTask::TakeOtherPlace";
  // Covers writing the row, by which others know that the place is taken.
  platform::MutexLock hold(DownloadPlaces::choosing);
  DownloadPlaces places;
  if (!places.Load())
    return Fail(kRecordNotFound, kError, kStep, __LINE__, "the stored downloads cannot be read");
  const std::wstring name = platform::WideFileName(LocalPath), before = TempPath();
  const std::wstring other = places.Take(LocalPath.substr(0, LocalPath.size() - name.size()), name, name);
  if (other.empty()) return Fail(kNoSpaceOnDisk, kError, kStep, __LINE__, "no free name in the folder");
  Change(LocalPath, other);
  // Without a part, or when it cannot follow, the download begins anew.
  (void)platform::RenameNew(platform::NativePath(before), platform::NativePath(TempPath()));
  (void)DBHelper::GetInstance().UpdateDownload(*this, Id);
  return true;
}

bool GalleryDownloadTask::StartDownloadTask() {
  const auto begin = std::chrono::steady_clock::now();
  const bool done = DownloadByVersion(GetGalleryVer());
  tempStream.close();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  Logger::CloudLogger::GetInstance()->ReportLog(
      kRunReport,
      GetResultReportInfo(UniqueId, platform::WideToUtf8(FileName), elapsed.count(), LastErr().code));
  return done;
}

bool GalleryDownloadTask::DownloadByVersion(GalleryVer version) {
  switch (version) {
    case GalleryVer::V2:
      return DownloadV2();
    case GalleryVer::V1:
      return UserAuthService::GetInstance()->IsChinaAccount() ? DownloadV1() : DownloadV1Eur();
    case GalleryVer::Unknown:
      break;
  }
  return Fail(kVersionUnknown, kError, "GalleryDownloadTask::StartDownloadTask", __LINE__, "", Outage::Yes);
}

bool GalleryDownloadTask::DownloadV2() {
  constexpr char kStep[] = "GalleryDownloadTask::DownloadV2";
  FollowNewId();
  if (!GetDownloadUrlV2()) return false;
  if (HasItsName() && HoldsTheContent()) return true;
  if (!ReadyToWrite(kStep)) return false;
  // Content that its writer did not encrypt comes through its link, whole.
  const bool isCrypt = !place.slices.empty() && place.content.asset.cipher.isSet;
  const bool there = isCrypt ? DownloadCrypt() : DownloadPlain();
  if (!there) return false;
  tempStream.close();
  return MayGoOn() && PublishFile();
}

bool GalleryDownloadTask::ReadyToWrite(const char* step) {
  if (!SetLocalFile()) return false;
  if (CheckFileStatus() && CreateTempFile()) return true;
  return Fail(kNoSpaceOnDisk, kError, step, __LINE__, "the .download file cannot be written");
}

// Whether an earlier run seems to have died behind its last step, with the row
// still there: another download would make a second file.
bool GalleryDownloadTask::HasItsName() const {
  std::error_code error;
  const auto size = fs::file_size(platform::NativePath(LocalPath), error);
  return !error && Position > 0 && Position == TotalLength && size == static_cast<std::uintmax_t>(Position) &&
         !fs::exists(platform::NativePath(TempPath()), error);
}

bool GalleryDownloadTask::HoldsTheContent() const {
  StreamDigest sha256(StreamDigest::Kind::Sha256);
  const auto error =
      platform::ReadInPasses(platform::NativePath(LocalPath), kPassBytes,
                             [&](std::string_view pass) { return sha256.Update(pass) && MayGoOn(); });
  return !error && MayGoOn() && platform::AsciiLower(place.content.asset.resource.sha256) == sha256.Finish();
}

bool GalleryDownloadTask::DownloadCrypt() {
  if (!DigestEarlierBytes()) return false;
  if (DownloadSlices() && (place.fromFileproxy || CheckContent())) return true;
  LogError("GalleryDownloadTask::DownloadV2", [this] { return "DownloadCrypt failed! fileid: " + UniqueId; });
  return false;
}

bool GalleryDownloadTask::DownloadSlices() {
  std::future<Fetched> ahead;
  slicesWanted = true;
  const bool done = TakeSlices(ahead);
  slicesWanted = false;  // One that is still on its way ends, and is waited for.
  return done;
}

// While one slice is decrypted and written, the next one is on its way.
bool GalleryDownloadTask::TakeSlices(std::future<Fetched>& ahead) {
  constexpr char kStep[] = "GalleryDownloadTask::DownloadCrypt";
  while (objectIndex < place.content.asset.resource.objects.size()) {
    const ResourceObject object = place.content.asset.resource.objects[objectIndex];
    Fetched fetched = ahead.valid() ? ahead.get() : FetchSlice(object);
    if (!MayGoOn()) {
      LogInfo(kStep, [this] { return "task status is not progressing fileid: " + UniqueId; });
      return false;
    }
    if (!CanBeFetched(object)) {
      return Fail(kService, kError, kStep, __LINE__,
                  "get url failed! objects: " + std::to_string(object.number) + " fileid: " + UniqueId);
    }
    if (fetched.httpCode == 404) return RefundGalleryFile();
    if (fetched.httpCode == 403) {
      if (!RefreshDownloadHeader()) return false;
      continue;
    }
    if (!fetched.IsDone()) return FailTransfer(kStep, __LINE__, fetched, object.downloadUrl.url);
    if (objectIndex + 1 < place.content.asset.resource.objects.size()) {
      ahead = std::async(std::launch::async, &GalleryDownloadTask::FetchSlice, this,
                         place.content.asset.resource.objects[objectIndex + 1]);
    }
    if (!TakeSlice(std::move(fetched.bytes))) return false;
  }
  return true;
}

GalleryDownloadTask::Fetched GalleryDownloadTask::FetchSlice(const ResourceObject& object) {
  if (!CanBeFetched(object)) return {};
  const auto wanted = static_cast<std::size_t>(WholeBlocks(object.length));
  std::string bytes;
  bytes.reserve(wanted);
  // What comes behind the object's length is not part of it.
  const auto take = [&bytes, wanted](std::string_view piece) {
    bytes.append(piece.substr(0, wanted - bytes.size()));
    return true;
  };
  Fetched fetched = FetchByHttp(
      object.downloadUrl.url, object.downloadUrl.headers, take, [this] { return slicesWanted && MayGoOn(); },
      Accept::Any, &SpeedLimit::Downloads());
  fetched.bytes = std::move(bytes);
  return fetched;
}

bool GalleryDownloadTask::TakeSlice(std::string bytes) {
  constexpr char kStep[] = "GalleryDownloadTask::DownloadCrypt";
  if (static_cast<std::int64_t>(bytes.size()) < WholeBlocks(place.slices[objectIndex])) {
    return Fail(kService, kError, kStep, __LINE__, "slice file length check failed! fileid: " + UniqueId);
  }
  std::string plain;
  // Nothing but padding is a slice of an empty file only.
  if (!DecodeSlice(bytes, plain) || (plain.empty() && TotalLength > 0)) {
    return Fail(kService, kError, kStep, __LINE__, "Decrypt Error! fileid: " + UniqueId);
  }
  // A stop leaves the slice in its place and is no failure of the disk.
  if (!AppendPlain(plain) && MayGoOn()) {
    return Fail(kNoSpaceOnDisk, kError, kStep, __LINE__, "file write failed! fileid: " + UniqueId);
  }
  ++objectIndex;
  return SavePosition() && MayGoOn();
}

bool GalleryDownloadTask::DecodeSlice(std::string& data, std::string& plain) {
  constexpr char kTag[] = "GalleryDownloadTask::DownloadCrypt";
  if (ContentCrypto::DecryptData(place.keyType, place.encryptedKey, place.ivText, data, plain)) return true;
  LogError(kTag, [this] { return "decode failed! fileid: " + UniqueId; });
  if (ContentCrypto::DecryptDataByHmac(place.content.asset.cipher.hmac, data, plain)) {
    LogInfo(kTag, [this] { return "decode by hmac success,fileid:" + UniqueId; });
    return true;
  }
  LogError(kTag, [this] { return "decode failed by hmac fail,fileid: " + UniqueId; });
  return false;
}

bool GalleryDownloadTask::DownloadPlain() {
  constexpr char kStep[] = "GalleryDownloadTask::DownloadV2";
  if (!StartOver())
    return Fail(kNoSpaceOnDisk, kError, kStep, __LINE__, "the .download file cannot be written");
  std::vector<std::string> headers = NS::HeadBuilder::Lines(NS::HeadBuilder::Build());
  // The session is for the service alone, wherever a record leads to.
  if (!place.usesBearer || !IsOfTheService(place.url)) std::erase_if(headers, IsAuthorization);
  if (!MayGoOn()) {
    LogInfo(kStep, "task status is not progressing");
    return false;
  }
  const Fetched fetched =
      HttpDownload(place.url, headers, [this](std::string_view piece) { return AppendPlain(piece); });
  if (fetched.IsDone()) {
    if (!place.fromFileproxy && place.hasContent) return CheckContent();  // else only a thumbnail is left
    Change(TotalLength, Position);
    return true;
  }
  if (!MayGoOn()) return false;
  if (!tempStream)
    return Fail(kNoSpaceOnDisk, kError, kStep, __LINE__, "file write failed! fileid: " + UniqueId);
  FailTransfer(kStep, __LINE__, fetched, place.url);
  return fetched.httpCode == 404 && RefundGalleryFile();
}

// The length that the record tells, and its digest: a key or a slice of another
// content would pass the cipher's own check now and then.
bool GalleryDownloadTask::CheckContent() {
  constexpr char kStep[] = "GalleryDownloadTask::CheckContent";
  tempStream.flush();
  const std::string sha256 = digest ? digest->Finish() : std::string();
  const std::string& told = place.content.asset.resource.sha256;
  const bool isWhole = Position == TotalLength;
  if (tempStream && isWhole && (told.empty() || platform::AsciiLower(told) == sha256)) return true;
  const std::string cause = !tempStream ? "file write failed! fileid: " + UniqueId
                            : !isWhole  ? "file length check failed! fileid: " + UniqueId +
                                             "stream length: " + std::to_string(Position) +
                                             " file length: " + std::to_string(TotalLength)
                                       : "the content is not the one that was uploaded, fileid: " + UniqueId;
  const bool diskFailed = !tempStream;
  (void)StartOver();  // What is there is of no use to the next run.
  return Fail(diskFailed ? kNoSpaceOnDisk : kService, kError, kStep, __LINE__, cause);
}

bool GalleryDownloadTask::FailTransfer(const char* step, std::int32_t line, const Fetched& fetched,
                                       const std::string& url) {
  return Fail(kService, kError, step, line,
              "download http code:" + std::to_string(fetched.httpCode) +
                  " curlCode: " + std::to_string(fetched.curlCode) + " response: " + fetched.response +
                  "\n url: " + curlppx::CurlUrl::Place(url) + "\nfileid: " + UniqueId,
              fetched.IsOutage() ? Outage::Yes : Outage::No);
}

GalleryDownloadTask::Fetched GalleryDownloadTask::HttpDownload(const std::string& url,
                                                               const std::vector<std::string>& headers,
                                                               const curlppx::CurlConn::Writer& writer) {
  return FetchByHttp(
      url, headers, writer, [this] { return MayGoOn(); }, Accept::Any, &SpeedLimit::Downloads());
}

bool GalleryDownloadTask::CreateTempFile() {
  const fs::path path = platform::NativePath(TempPath());
  std::error_code error;
  if (!fs::exists(path, error)) {
    LogInfo("GalleryDownloadTask::CreateTempFile",
            [this] { return "create .download file, filename: " + UniqueId; });
  }
  tempStream.close();
  tempStream.clear();
  tempStream.open(path, std::ios::binary | std::ios::app);
  return tempStream.is_open();
}

// Goes on behind whole slices only. The digest of what an earlier run has written
// is not stored: it is taken anew.
bool GalleryDownloadTask::DigestEarlierBytes() {
  const auto& objects = place.content.asset.resource.objects;
  const auto next = std::find_if(objects.begin(), objects.end(),
                                 [this](const ResourceObject& object) { return object.start == Position; });
  objectIndex = static_cast<std::size_t>(next - objects.begin());
  digest.emplace(StreamDigest::Kind::Sha256);
  if (next == objects.end() && Position != TotalLength && !StartOver()) {
    return Fail(kNoSpaceOnDisk, kError, "GalleryDownloadTask::DigestEarlierBytes", __LINE__, "");
  }
  if (Position == 0) return true;
  const auto error =
      platform::ReadInPasses(platform::NativePath(TempPath()), kPassBytes,
                             [this](std::string_view pass) { return digest->Update(pass) && MayGoOn(); });
  if (error)
    Fail(kNoSpaceOnDisk, kError, "GalleryDownloadTask::DigestEarlierBytes", __LINE__, error.message());
  return !error && MayGoOn();
}

bool GalleryDownloadTask::StartOver() {
  tempStream.close();
  std::error_code error;
  fs::remove(platform::NativePath(TempPath()), error);
  Position = 0;
  objectIndex = 0;
  digest.emplace(StreamDigest::Kind::Sha256);
  return CreateTempFile() && SavePosition();
}

bool GalleryDownloadTask::AppendPlain(std::string_view plain) {
  tempStream.write(plain.data(), static_cast<std::streamsize>(plain.size()));
  if (!tempStream || (digest && !digest->Update(plain))) return false;
  Position += static_cast<std::int64_t>(plain.size());
  return ProgressDownload();
}

// Only what the system has taken counts: a crash loses what lies in the stream.
bool GalleryDownloadTask::SavePosition() {
  tempStream.flush();
  if (!tempStream) {
    return Fail(kNoSpaceOnDisk, kError, "GalleryDownloadTask::SavePosition", __LINE__,
                "file write failed! fileid: " + UniqueId);
  }
  (void)DBHelper::GetInstance().UpdateDownload(*this, Id);  // Without it a restart repeats slices.
  return true;
}

void GalleryDownloadTask::DeleteTempDownloadFile() {
  tempStream.close();
  std::error_code error;
  if (fs::remove(platform::NativePath(TempPath()), error)) {
    LogInfo("GalleryDownloadTask::DeleteTempDownloadFile",
            [this] { return "Delete .download file, filename: " + UniqueId; });
  }
}

bool GalleryDownloadTask::Fail(ErrCode code, Level level, const char* step, std::int32_t line,
                               const std::string& text, Outage outage) {
  AddErr(code, level, step, line, text, outage);
  return false;
}
