#include "transfer/upload/uploadsource.h"

#include <cstdio>
#include <filesystem>
#include <memory>

#include "common/platform/files.h"
#include "common/platform/filestream.h"
#include "common/platform/paths.h"
#include "transfer/contentcrypto.h"
#include "utils/gallerylog.h"
#include "utils/streamdigest.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPassBytes = 0x400000;
// Small enough to stay in the processor's cache between reading, encrypting and
// digesting.
constexpr std::size_t kCachedBytes = 0x10000;
// Thumbnails are at most a screen large.
constexpr std::uint64_t kLargestThumbnail = 16 << 20;
constexpr char kSliceTag[] = "GalleryUploadTask::EncryptOriginalData";

std::int64_t SizeOf(const fs::path& path) {
  std::error_code error;
  const auto size = fs::file_size(path, error);
  return error ? -1 : static_cast<std::int64_t>(size);
}

platform::FileStream OpenUnbuffered(const std::wstring& path, std::int64_t start) {
  auto file = platform::OpenAt(platform::NativePath(path), 0);
  if (file) std::setvbuf(file.get(), nullptr, _IONBF, 0);
  if (file && !platform::Seek(file.get(), start)) file.reset();
  return file;
}

bool ReadThumbnail(const std::wstring& path, std::string& bytes, std::string& failure) {
  const auto error = platform::ReadFile(platform::NativePath(path), bytes, kLargestThumbnail);
  if (error) failure = "cannot read a thumbnail: " + error.message();
  return !error;
}

}  // namespace

bool UploadSource::Read(const std::wstring& path, const std::wstring& smallPath,
                        const std::wstring& largePath, const std::string& masterKey,
                        const std::function<bool()>& goOn, std::string& failure) {
  // An empty key would make an HMAC too, but one that anybody can make.
  if (masterKey.empty()) {
    failure = "the master key is no key";
    return false;
  }
  if (!ReadThumbnail(smallPath, smallThumbnail, failure)) return false;
  if (!ReadThumbnail(largePath, largeThumbnail, failure)) return false;
  const fs::path native = platform::NativePath(path);
  size = SizeOf(native);
  if (size < 0) {
    failure = "GetFileHash error: GetFileSizeEx fail. filesize=" + std::to_string(size);
    return false;
  }
  bytes = {};
  StreamDigest hmac = StreamDigest::Hmac(masterKey), plain(StreamDigest::Kind::Sha256);
  StreamDigest unkeyed = StreamDigest::Hmac({});
  std::int64_t length = 0;
  bool isGone = false;
  const auto error = platform::ReadInPasses(native, kPassBytes, [&](std::string_view pass) {
    // An open file stays readable after its name is gone.
    std::error_code ignored;
    isGone = fs::status(native, ignored).type() == fs::file_type::not_found;
    if (isGone) return false;
    length += static_cast<std::int64_t>(pass.size());
    while (!pass.empty()) {
      const std::string_view part = pass.substr(0, kCachedBytes);
      bytes.Update(part);
      if (!hmac.Update(part) || !plain.Update(part) || !unkeyed.Update(part)) return false;
      pass.remove_prefix(part.size());
    }
    return goOn();
  });
  contentHmac = hmac.Finish();
  sha256 = plain.Finish();
  hashId = unkeyed.Finish();
  if (error)
    failure = "cannot read the file: " + error.message();
  else if (isGone)
    failure = "file does not exist";
  else if (!goOn())
    failure = "stopped";
  else if (contentHmac.empty() || sha256.empty() || hashId.empty())
    failure = "HMAC_CTX_new fail";
  else if (length != size)
    failure = "the file's size changes";
  return failure.empty();
}

EncryptedSlice GetEncryptSliceHash(const std::wstring& path, const std::string& key, const std::string& iv,
                                   std::int64_t length, std::int64_t start, ChangeCheck& plain) try {
  EncryptedSlice slice;
  const auto file = OpenUnbuffered(path, start);
  if (!file) {
    LogError(kSliceTag, "open file fail, error code:" + std::to_string(errno));
    return slice;
  }
  ContentCrypto::StreamCipher cipher(key, iv);
  StreamDigest md5(StreamDigest::Kind::Md5), sha256(StreamDigest::Kind::Sha256);
  slice.bytes.resize(static_cast<std::size_t>(ContentCrypto::PaddedSize(length)));
  std::string buffer(kCachedBytes, '\0');
  std::size_t done = 0, written = 0;
  const auto digest = [&] {
    const std::string_view fresh(slice.bytes.data() + done, written);
    done += written;
    return md5.Update(fresh) && sha256.Update(fresh);
  };
  bool sound = true;
  while (sound && length > 0) {
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(length, kCachedBytes));
    const std::size_t taken = std::fread(buffer.data(), 1, wanted, file.get());
    if (taken == 0) break;
    plain.Update(std::string_view(buffer.data(), taken));
    sound =
        cipher.Update(std::string_view(buffer.data(), taken), slice.bytes.data() + done, written) && digest();
    length -= static_cast<std::int64_t>(taken);
  }
  sound =
      sound && std::ferror(file.get()) == 0 && cipher.Finish(slice.bytes.data() + done, written) && digest();
  slice.bytes.resize(done);
  slice.md5 = md5.Finish();
  slice.sha256 = sha256.Finish();
  slice.isWhole = sound && !slice.md5.empty() && !slice.sha256.empty();
  return slice;
} catch (const std::bad_alloc&) {
  LogError(kSliceTag, "buffer is null");
  return {};
}
