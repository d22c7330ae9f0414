// Thumbnails from the first generation and from its regional service.

#include <filesystem>

#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "transfer/contentcrypto.h"
#include "transfer/thumbnails/thumbnaildownload.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "utils/gallerylog.h"

namespace V1 = NS::CloudPhoto::V1;

namespace {

constexpr char kTag[] = "ThumbnailHelper::DownloadThumbnailV1";
constexpr int kScreen = 1, kThumbnail = 2;  // of GalleryFile::UrlSource
constexpr int kOriginal = 0;                // of its result
constexpr int kAttempts = 3;
constexpr long kForbidden = 403;
constexpr int kFirstUserKey = 1;
constexpr wchar_t kGif[] = L".gif";

template <typename Record>
bool IsAnswered(const NS::Answer<Record>& answer) {
  if (answer.payload && answer.payload->IsGood()) return true;
  if (answer.NetError()) {
    LogError(kTag, "net error! info:" + curlppx::CurlGlobal::GetErrStr(answer.curlCode));
  } else if (answer.payload) {
    LogError(kTag, "GetUrl error:(" + answer.payload->code + ") " + answer.payload->info);
  } else {
    LogError(kTag, "service error! http code:" + std::to_string(answer.httpCode));
  }
  return false;
}

}  // namespace

bool ThumbnailDownload::DownloadThumbnailV1() {
  std::string bytes;
  if (!FetchAll(&ThumbnailDownload::GetThubDlUrlV1, bytes)) return false;
  return place.isOriginal ? MakeOfOriginal(bytes) : SaveThumbnail(bytes);
}

bool ThumbnailDownload::DownloadThumbnailV1Eur() {
  std::string bytes, plain;
  if (!FetchAll(&ThumbnailDownload::GetThubDlUrlV1Eur, bytes)) return false;
  if (!ContentCrypto::DecryptData(kFirstUserKey, place.encryptedKey, place.iv, bytes, plain)) {
    LogError(kTag, [this] { return "download thumb error:decode failed! file id: " + Id(); });
    return false;
  }
  return place.isOriginal ? MakeOfOriginal(plain) : SaveThumbnail(plain);
}

bool ThumbnailDownload::GetThubDlUrlV1() {
  place = Place();
  if (Id().empty()) {
    LogError(kTag, "download thumb error:uniqueid is empty!");
    return false;
  }
  const V1::UrlSourceInfo source = file->UrlSource(isLcd ? kScreen : kThumbnail);
  place.isOriginal = source.type == kOriginal;
  if (place.isOriginal && file->IsVideo()) return false;  // A film is not fetched for a picture of it.
  const auto answer = NS::Request::Sync(V1::File::GetUrl(source));
  if (!IsAnswered(answer)) return false;
  const auto& address = answer.payload->address;
  if (!address.url.empty()) place.slices = {{0, address}};
  return !place.slices.empty();
}

bool ThumbnailDownload::GetThubDlUrlV1Eur() {
  place = Place();
  const std::string folder = file->IsInBin() ? NS::VFS::kRecycleFolder : NS::VFS::kFolder;
  const auto answer = NS::Request::Sync(NS::VFS::GetFile(folder + platform::WideToUtf8(file->FileName())));
  if (!IsAnswered(answer)) return false;
  const NS::VFS::Item* item = answer.payload->Find(isLcd ? NS::VFS::kLargeItem : NS::VFS::kSmallItem);
  place.isOriginal = !item && !file->IsVideo();
  if (place.isOriginal) item = answer.payload->Find(NS::VFS::kContentItem);
  if (item) place.slices = item->slices;
  place.iv = answer.payload->e_iv;
  place.encryptedKey = answer.payload->e_fek;
  return !place.slices.empty();
}

// A signed address may have expired by its turn: the service gives a fresh one.
bool ThumbnailDownload::FetchAll(GetAddress getAddress, std::string& bytes) {
  for (int attempt = 1; attempt <= kAttempts && MayGoOn(); ++attempt) {
    if (!(this->*getAddress)()) {
      LogError(kTag, [this] { return "download thumb error:get download url failed! file id: " + Id(); });
      return false;
    }
    HttpFetched fetched = FetchWhole();
    bytes = std::move(fetched.bytes);
    if (fetched.IsDone() || !MayGoOn()) return fetched.IsDone();
    LogError(kTag, [&] { return ErrorText(fetched) + " file id: " + Id(); });
    if (fetched.httpCode != kForbidden && !fetched.IsOutage()) return false;
    LogInfo(kTag, "download thumbnail retry times=" + std::to_string(attempt));
  }
  return false;
}

// The fetch that failed, or the last one with the bytes of all.
HttpFetched ThumbnailDownload::FetchWhole() {
  HttpFetched fetched;
  std::string bytes;
  for (const NS::VFS::Slice& slice : place.slices) {
    std::vector<std::string> headers = V1::ContentHeaders(slice.address.url);
    headers.insert(headers.end(), slice.address.headers.begin(), slice.address.headers.end());
    fetched = FetchByHttp(
        slice.address.url, headers,
        [&bytes](std::string_view piece) {
          bytes.append(piece);
          return bytes.size() <= static_cast<std::size_t>(kLargestBytes);
        },
        [this] { return MayGoOn(); });
    if (!fetched.IsDone()) return fetched;
  }
  fetched.bytes = std::move(bytes);
  return fetched;
}

// A small moving picture is shown as it is; any other is too large for a cache of
// thumbnails.
bool ThumbnailDownload::MakeOfOriginal(const std::string& bytes) const {
  const std::wstring target = isLcd ? file->LcdName() : file->ThumbnailName();
  if (platform::WideExtension(target) == kGif) return SaveThumbnail(bytes);
  // A raw picture is known by its extension alone.
  const std::wstring source = target + L"." + platform::Utf8ToWide(platform::NewGuid()) + L".crypt" +
                              platform::WideExtension(file->FileName());
  const bool made = WriteFile(source, bytes) &&
                    ThumbnailHelper::GetInstance().CreateThumbnail(*file, source, target, isLcd);
  RemoveQuietly(source);
  if (!made)
    LogError(kTag, [this] { return "download thumb error:Create Thumbnail failed! file id: " + Id(); });
  return made;
}
