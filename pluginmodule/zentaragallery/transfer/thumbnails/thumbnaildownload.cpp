#include "transfer/thumbnails/thumbnaildownload.h"

#include <filesystem>
#include <fstream>

#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "transfer/contentcrypto.h"
#include "utils/encrypthelper.h"
#include "utils/gallerylog.h"
#include "utils/picturecheck.h"

namespace fs = std::filesystem;

namespace {

constexpr char kTag[] = "ThumbnailHelper::DownloadThumbnail";
constexpr int kAttempts = 3;
constexpr long kPartialContent = 206;
constexpr long kForbidden = 403;
constexpr long kNotFound = 404;

}  // namespace

std::string ThumbnailDownload::ErrorText(const HttpFetched& fetched) {
  if (fetched.curlCode == curlppx::kCurlUrlMalformat)
    return "DownloadThumbnail error,urlCode:" + std::to_string(fetched.curlCode);
  return "download thumb error:download failed! ErroeCode:" + std::to_string(fetched.curlCode) +
         " http code:" + std::to_string(fetched.httpCode) + " response:" + fetched.response;
}

void ThumbnailDownload::RemoveQuietly(const std::wstring& path) {
  std::error_code ignored;  // Left-overs harm nobody: no reader takes such a name.
  fs::remove(platform::NativePath(path), ignored);
}

ThumbnailDownload::ThumbnailDownload(GalleryFile::Ptr wanted, bool isLarge, std::function<bool()> mayGoOn,
                                     Progress whenFurther)
    : file(std::move(wanted)), isLcd(isLarge), goesOn(std::move(mayGoOn)), progress(std::move(whenFurther)) {}

bool ThumbnailDownload::DownloadThumbnailV2() {
  if (!GetThubDlUrlV2()) return false;
  if (place.fromFileproxy) return DownloadFileproxyFile(place.url);
  return place.thumbnail.asset.cipher.isSet ? DownloadCryptThumbnail() : DownloadPlainThumbnail();
}

bool ThumbnailDownload::DownloadCryptThumbnail() {
  std::string bytes, plain;
  const Outcome outcome = DownloadThumbnail(bytes);
  if (outcome != Outcome::Bytes) return outcome == Outcome::FromFileproxy;
  if (Decode(bytes, plain)) return SaveThumbnail(plain);
  LogError("ThumbnailHelper::DownloadCryptThumbnail",
           [this] { return "download thumb error:decode failed! file id: " + Id(); });
  return false;
}

bool ThumbnailDownload::DownloadPlainThumbnail() {
  std::string bytes;
  const Outcome outcome = DownloadThumbnail(bytes);
  if (outcome != Outcome::Bytes) return outcome == Outcome::FromFileproxy;
  return SaveThumbnail(bytes);
}

ThumbnailDownload::Outcome ThumbnailDownload::DownloadThumbnail(std::string& bytes) {
  if (place.start < 0 || place.length <= 0 || place.start + place.length > kLargestBytes) {
    LogError(kTag, [this] { return "download thumb error:file size error! file id: " + Id(); });
    return Outcome::Failed;
  }
  for (int attempt = 1; MayGoOn(); ++attempt) {
    HttpFetched fetched = FetchRange();
    if (fetched.httpCode == kNotFound) return TakeFromFileproxy();
    if (fetched.IsDone() && TakeRange(fetched, bytes)) return Outcome::Bytes;
    if (!MayGoOn()) return Outcome::Failed;  // stopped, which is no error
    if (!fetched.IsDone()) LogError(kTag, ErrorText(fetched) + " file id: " + Id());
    if (attempt == kAttempts) break;
    LogInfo(kTag, "download thumbnail retry times=" + std::to_string(attempt));
    // A signed address has expired: the record gives a fresh one.
    if (fetched.httpCode == kForbidden && (!GetThubDlUrlV2() || place.fromFileproxy)) break;
  }
  if (!MayGoOn()) return Outcome::Failed;
  LogOperationFailure("download thumb error:download failed!");
  return Outcome::Failed;
}

HttpFetched ThumbnailDownload::FetchRange() {
  const std::int64_t end = place.start + place.length;
  std::vector<std::string> headers = place.headers;
  headers.push_back("Range:bytes=" + std::to_string(place.start) + "-" + std::to_string(end - 1));
  std::string bytes;
  // One byte more tells an answer that is too long; the rest of it is not kept.
  const auto most = static_cast<std::size_t>(end) + 1;
  HttpFetched fetched = FetchByHttp(
      place.url, headers,
      [this, &bytes, most](std::string_view piece) {
        bytes.append(piece.substr(0, most - bytes.size()));
        TellProgress(bytes.size());
        return true;
      },
      [this] { return MayGoOn(); });
  fetched.bytes = std::move(bytes);
  return fetched;
}

// Of an attempt that is repeated only what is new.
void ThumbnailDownload::TellProgress(std::size_t bytes) {
  const auto percent = std::min(100, static_cast<int>(static_cast<std::int64_t>(bytes) * 100 / place.length));
  if (progress && percent > told) progress(told = percent);
}

// A service that gives no ranges answers with the whole object.
bool ThumbnailDownload::TakeRange(HttpFetched& fetched, std::string& bytes) const {
  const auto start = static_cast<std::size_t>(place.start);
  const auto length = static_cast<std::size_t>(place.length);
  if (fetched.httpCode != kPartialContent && fetched.bytes.size() >= start + length)
    fetched.bytes = fetched.bytes.substr(start, length);
  if (fetched.bytes.size() == length) {
    bytes = std::move(fetched.bytes);
    return true;
  }
  LogError(kTag, [&] {
    return "download thumb error:file size error! isLcd:" + std::to_string(isLcd) +
           " fileLen:" + std::to_string(length) + " downloadLength:" + std::to_string(fetched.bytes.size()) +
           " file id: " + Id();
  });
  return false;
}

bool ThumbnailDownload::Decode(std::string& bytes, std::string& plain) const {
  const auto& cipher = place.thumbnail.asset.cipher;
  const auto chain = cipher.Strongest();
  if (ContentCrypto::DecryptData(chain.type == 3 ? 3 : 1, chain.ekey, cipher.iv, bytes, plain)) return true;
  // What is wrong with a key shows in its length; its digits belong to nobody else.
  LogError("ThumbnailHelper::DownloadCryptThumbnail",
           "decode key err:[ekey:" + std::to_string(chain.ekey.size()) +
               " digits][iv:" + std::to_string(cipher.iv.size()) + " digits] file id: " + Id());
  return ContentCrypto::DecryptDataByHmac(cipher.hmac, bytes, plain);
}

ThumbnailDownload::Outcome ThumbnailDownload::TakeFromFileproxy() {
  LogError(kTag, [this] {
    return "Download file lost thumbnail, fileid: " + Id() +
           " Create time: " + std::to_string(file->CreateTime);
  });
  const bool taken = DownloadFileFromFileproxy();
  ReportLost();
  return taken ? Outcome::FromFileproxy : Outcome::Failed;
}

bool ThumbnailDownload::DownloadFileFromFileproxy() {
  constexpr char kStep[] = "ThumbnailHelper::DownloadFileFromFileproxy";
  const std::string url = GetFileproxyUrl();
  if (url.empty()) {
    LogError(kStep, [this] { return "get url failed! fileid: " + Id(); });
    return false;
  }
  if (!DownloadFileproxyFile(url)) return false;
  LogInfo(kStep, [this] { return "download lcdthumbnail from fileproxy success, fileName: " + Id(); });
  return true;
}

bool ThumbnailDownload::DownloadFileproxyFile(const std::string& url) {
  std::string bytes;
  const HttpFetched fetched = FetchByHttp(
      url, SessionHeaders(url),
      [&bytes](std::string_view piece) {
        bytes.append(piece);
        return bytes.size() <= static_cast<std::size_t>(kLargestBytes);
      },
      [this] { return MayGoOn(); });
  if (fetched.IsDone()) return SaveThumbnail(OwnPart(std::move(bytes)));
  LogError("ThumbnailHelper::DownloadFileproxyFile", ErrorText(fetched) + " file id: " + Id());
  return false;
}

// The proxy may give the whole object, in which the small picture comes first.
std::string ThumbnailDownload::OwnPart(std::string bytes) const {
  const auto small = static_cast<std::size_t>(std::max<std::int64_t>(place.plain[0], 0));
  const auto large = static_cast<std::size_t>(std::max<std::int64_t>(place.plain[1], 0));
  if (small == 0 || large == 0 || bytes.size() != small + large) return bytes;
  return isLcd ? bytes.substr(small) : bytes.substr(0, small);
}

bool ThumbnailDownload::SaveThumbnail(const std::string& plain) const {
  const std::wstring savePath = isLcd ? file->LcdName() : file->ThumbnailName();
  const std::wstring tempPath = savePath + L"." + platform::Utf8ToWide(platform::NewGuid()) + L".crypt";
  const auto fail = [&](const std::string& cause) {
    LogError("ThumbnailHelper::SaveThumbnail",
             "download thumb fail! tempPathBuf: " + platform::DisplayText(tempPath) +
                 " savePath : " + platform::DisplayText(savePath) + " " + cause);
    RemoveQuietly(tempPath);
    return false;
  };
  if (!WriteFile(tempPath, plain)) return fail("download thumb error:save file failed!");
  if (!CheckThumbnail(tempPath)) return false;
  if (const auto error = platform::RenameOver(platform::NativePath(tempPath), platform::NativePath(savePath)))
    return fail(error.message());
  return true;
}

bool ThumbnailDownload::WriteFile(const std::wstring& path, const std::string& bytes) {
  const fs::path native = platform::NativePath(path);
  if (platform::MakeFolder(native.parent_path())) return false;
  std::ofstream out(native, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  return out.good();
}

bool ThumbnailDownload::CheckThumbnail(const std::wstring& path) const {
  if (DeleteDiffShaThm(path)) return false;
  if (IsWholePicture(path)) return true;
  LogError("ThumbnailHelper::CheckThumbnail",
           [this] { return "download thumb error:file format error! file id: " + Id(); });
  RemoveQuietly(path);
  return false;
}

// True when the bytes were not those of the record, and are gone.
bool ThumbnailDownload::DeleteDiffShaThm(const std::wstring& path) const {
  constexpr char kStep[] = "ThumbnailHelper::DeleteDiffShaThm";
  const std::string told = platform::AsciiLower(place.sha256);
  if (told.empty()) return false;
  const std::string found = EncryptHelper::FileSha256(path);
  if (found == told) return false;
  LogError(kStep, [&] {
    return std::string(isLcd ? "LargeThm download fail, different assetsha256 = "
                             : "SmallThm download fail, different assetsha256 = ") +
           told + " contentsha256= " + found + " file id: " + Id();
  });
  RemoveQuietly(path);
  LogInfo(kStep, [&] { return "DELETE THM SUCCESS PATH = " + platform::DisplayText(path); });
  return true;
}
