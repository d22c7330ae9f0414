// Originals of the first generation and of its regional service. Neither tells a
// digest: the length is what an original can be held against.

#include <filesystem>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/transfer/speedlimit.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "transfer/contentcrypto.h"
#include "transfer/download/gallerydownloadtask.h"
#include "utils/gallerylog.h"

namespace fs = std::filesystem;
namespace V1 = NS::CloudPhoto::V1;

namespace {

constexpr char kTag[] = "GalleryDownloadTask::DownloadV1";
constexpr char kRegionalTag[] = "GalleryDownloadTask::DownloadV1Eur";
constexpr int kMostRenewals = 2;
constexpr int kFirstUserKey = 1;
constexpr long kWhole = 200, kForbidden = 403;
// A slice is in memory whole; no record can make this computer take more.
constexpr std::int64_t kLargestSlice = std::int64_t{1} << 30;

template <typename Record>
std::string CauseOf(const NS::Answer<Record>& answer) {
  if (answer.NetError()) return "net error! info:" + curlppx::CurlGlobal::GetErrStr(answer.curlCode);
  if (answer.payload) return "GetUrl error:(" + answer.payload->code + ") " + answer.payload->info;
  return "service error! http code:" + std::to_string(answer.httpCode);
}

std::string TransferText(const char* what, const HttpFetched& fetched, const std::string& id) {
  return std::string(what) + "http code:" + std::to_string(fetched.httpCode) +
         " curl code:" + std::to_string(fetched.curlCode) + " response: " + fetched.response +
         " fileid: " + id;
}

// A file of an album that is not here is in the table alone.
GalleryFile::Ptr KnownFile(const std::string& id) {
  const auto file = Gallery::GetInstance().GetFile(id);
  return file ? file : DBHelper::GetInstance().GetFile(id);
}

}  // namespace

bool GalleryDownloadTask::DownloadV1() {
  if (HasItsName()) return true;
  if (!GetDownloadUrl() || !ReadyToWrite(kTag) || !FetchOriginal() || !CheckLength()) return false;
  tempStream.close();
  return MayGoOn() && PublishFile();
}

bool GalleryDownloadTask::GetDownloadUrl() {
  place = Place();
  const auto file = KnownFile(UniqueId);
  if (!file) return Fail(kRecordNotFound, kError, kTag, __LINE__, "get url failed! fileid: " + UniqueId);
  const auto answer = NS::Request::Sync(V1::File::GetOriginalUrl(*file));
  if (answer.payload && answer.payload->IsGood()) place.address = answer.payload->address;
  if (!place.address.url.empty()) return true;
  return Fail(kNoUrl, kError, kTag, __LINE__, "get url failed! fileid: " + UniqueId + " " + CauseOf(answer),
              answer.IsOutage() ? Outage::Yes : Outage::No);
}

bool GalleryDownloadTask::FetchOriginal() {
  Fetched fetched;
  for (int renewal = 0; renewal <= kMostRenewals && MayGoOn(); ++renewal) {
    if (TotalLength > 0 && Position == TotalLength) return true;
    fetched = FetchRest();
    if (fetched.IsDone()) return MayGoOn() && SavePosition();
    if (fetched.httpCode != kForbidden) break;
    if (!GetDownloadUrl()) return false;
  }
  if (!MayGoOn()) return false;
  if (!tempStream)
    return Fail(kNoSpaceOnDisk, kError, kTag, __LINE__, "file write failed! fileid: " + UniqueId);
  return Fail(kService, kError, kTag, __LINE__, TransferText("download ", fetched, UniqueId),
              fetched.IsOutage() ? Outage::Yes : Outage::No);
}

// Behind what is there. A service that gives no ranges begins at the start.
GalleryDownloadTask::Fetched GalleryDownloadTask::FetchRest() {
  std::vector<std::string> headers = V1::ContentHeaders(place.address.url);
  headers.insert(headers.end(), place.address.headers.begin(), place.address.headers.end());
  const auto append = [this](std::string_view piece) { return AppendPlain(piece); };
  if (Position == 0) return HttpDownload(place.address.url, headers, append);
  headers.push_back("Range:bytes=" + std::to_string(Position) + "-");
  Fetched fetched = FetchByHttp(
      place.address.url, headers, append, [this] { return MayGoOn(); }, Accept::PartOnly,
      &SpeedLimit::Downloads());
  if (fetched.httpCode != kWhole || !StartOver()) return fetched;
  headers.pop_back();
  return HttpDownload(place.address.url, headers, append);
}

bool GalleryDownloadTask::CheckLength() {
  if (tempStream.is_open()) tempStream.flush();
  if (TotalLength <= 0) Change(TotalLength, Position);  // a record that told none
  if (tempStream && Position == TotalLength) return true;
  const std::string lengths =
      " stream length: " + std::to_string(Position) + " file length: " + std::to_string(TotalLength);
  (void)StartOver();  // What is there is of no use to the next run.
  return Fail(kService, kError, kTag, __LINE__, "file length check failed! fileid: " + UniqueId + lengths);
}

bool GalleryDownloadTask::DownloadV1Eur() {
  if (HasItsName()) return true;
  if (!GetDownloadUrlEur() || !ReadyToWrite(kRegionalTag) || !FindSlice()) return false;
  if (!TakeRegionalSlices() || !OpenRegionalContent()) return false;
  return CheckLength() && MayGoOn() && PublishFile();
}

bool GalleryDownloadTask::GetDownloadUrlEur() {
  place = Place();
  const auto file = KnownFile(UniqueId);
  const std::string folder = file && file->IsInBin() ? NS::VFS::kRecycleFolder : NS::VFS::kFolder;
  const auto answer = NS::Request::Sync(NS::VFS::GetFile(folder + platform::WideToUtf8(FileName)));
  const bool good = answer.payload && answer.payload->IsGood();
  if (good) place.record = *answer.payload;
  // A file of another name or length is not the one that is listed here.
  const bool fits = place.record.name == platform::WideToUtf8(FileName) &&
                    (place.record.size == TotalLength || TotalLength <= 0);
  if (fits && !RegionalContent().slices.empty()) return true;
  return Fail(kNoUrl, kError, kRegionalTag, __LINE__,
              "get url failed! fileid: " + UniqueId + " " + CauseOf(answer),
              answer.IsOutage() ? Outage::Yes : Outage::No);
}

const NS::VFS::Item& GalleryDownloadTask::RegionalContent() const {
  static const NS::VFS::Item kNone;
  const NS::VFS::Item* content = place.record.Find(NS::VFS::kContentItem);
  return content ? *content : kNone;
}

// `Position` counts stored bytes here; a run goes on behind whole slices only.
bool GalleryDownloadTask::FindSlice() {
  std::int64_t start = 0;
  objectIndex = 0;
  const auto& slices = RegionalContent().slices;
  while (objectIndex < slices.size() && start < Position) start += slices[objectIndex++].length;
  digest.reset();
  return start == Position || StartOver() ||
         Fail(kNoSpaceOnDisk, kError, kRegionalTag, __LINE__, "file write failed! fileid: " + UniqueId);
}

bool GalleryDownloadTask::TakeRegionalSlices() {
  int renewals = 0;
  while (objectIndex < RegionalContent().slices.size()) {
    const NS::VFS::Slice slice = RegionalContent().slices[objectIndex];
    Fetched fetched = FetchRegionalSlice(slice);
    if (!MayGoOn()) return false;
    if (fetched.httpCode == kForbidden && renewals++ < kMostRenewals) {
      const std::size_t count = RegionalContent().slices.size();
      if (!GetDownloadUrlEur()) return false;
      if (RegionalContent().slices.size() == count) continue;
    }
    if (!fetched.IsDone()) {
      return Fail(kService, kError, kRegionalTag, __LINE__,
                  TransferText("download failed! ", fetched, UniqueId),
                  fetched.IsOutage() ? Outage::Yes : Outage::No);
    }
    if (static_cast<std::int64_t>(fetched.bytes.size()) != slice.length)
      return Fail(kService, kError, kRegionalTag, __LINE__,
                  "slice file length check failed! fileid: " + UniqueId);
    if (!AppendPlain(fetched.bytes) && MayGoOn())
      return Fail(kNoSpaceOnDisk, kError, kRegionalTag, __LINE__, "file write failed! fileid: " + UniqueId);
    ++objectIndex;
    if (!SavePosition() || !MayGoOn()) return false;
  }
  return true;
}

GalleryDownloadTask::Fetched GalleryDownloadTask::FetchRegionalSlice(const NS::VFS::Slice& slice) {
  if (slice.length <= 0 || slice.length > kLargestSlice) return {};
  std::vector<std::string> headers = V1::ContentHeaders(slice.address.url);
  headers.insert(headers.end(), slice.address.headers.begin(), slice.address.headers.end());
  std::string bytes;
  const auto most = static_cast<std::size_t>(slice.length) + 1;  // one more tells what is too long
  Fetched fetched = HttpDownload(slice.address.url, headers, [&bytes, most](std::string_view piece) {
    bytes.append(piece.substr(0, most - bytes.size()));
    return true;
  });
  fetched.bytes = std::move(bytes);
  return fetched;
}

// [slice 0]...[slice n] in the ".download" file is one stream; what it opens to takes
// its place.
bool GalleryDownloadTask::OpenRegionalContent() {
  tempStream.close();
  const fs::path sealed = platform::NativePath(TempPath()),
                 opened = platform::NativePath(LocalPath + L".crypt");
  std::error_code error;
  const bool isOpen = ContentCrypto::DecryptFile(kFirstUserKey, place.record.e_fek, place.record.e_iv, sealed,
                                                 opened, [this] { return MayGoOn(); });
  const auto length = isOpen ? static_cast<std::int64_t>(fs::file_size(opened, error)) : 0;
  const bool isThere = isOpen && !error && !platform::RenameOver(opened, sealed);
  fs::remove(opened, error);
  if (isThere) {
    Position = length;
    // So that a run behind a crash knows the finished file again.
    (void)DBHelper::GetInstance().UpdateDownload(*this, Id);
    return true;
  }
  if (!MayGoOn()) return false;
  (void)StartOver();  // The slices that are there would not open the next time either.
  return Fail(kService, kError, kRegionalTag, __LINE__, "Decrypt Error! fileid: " + UniqueId);
}
