#include "transfer/upload/slicereader.h"

#include "host/base/jsontext.h"
#include "transfer/contentcrypto.h"

using JsonText::Number;

namespace {

// Slices share their key and IV, so that many tiny ones would show which blocks
// of the content are equal.
constexpr std::int64_t kSmallestSlice = 4 << 10;
// Two are in memory.
constexpr std::int64_t kLargestSlice = 1 << 30;

}  // namespace

bool IsCutOf(const Json::Value& resource, std::int64_t size) {
  const Json::Value& objects = resource["objects"];
  const auto count = static_cast<std::int64_t>(objects.size());
  const std::int64_t slice = count == 1 ? size : Number(resource, "sliceSize");
  if (count == 0 || slice > kLargestSlice || Number(resource, "length", -1) != size) return false;
  if (count > 1 && (slice < kSmallestSlice || count != (size + slice - 1) / slice)) return false;
  std::int64_t start = 0;
  for (const Json::Value& object : objects) {
    const std::int64_t stored = ContentCrypto::PaddedSize(std::min(slice, size - start));
    if (Number(object, "start") != start || Number(object, "length") != stored) return false;
    start += slice;
  }
  return true;
}

SliceReader::SliceReader(std::wstring path, const UploadFileCommandParams& params, const Json::Value& cut)
    : source(std::move(path)),
      key(params.aesKey.begin(), params.aesKey.end()),
      iv(params.aesIv.begin(), params.aesIv.end()),
      resource(cut) {}

std::int64_t SliceReader::Start(Json::ArrayIndex index) const {
  return Number(resource["objects"][index], "start");
}

std::int64_t SliceReader::PlainLength(Json::ArrayIndex index) const {
  const std::int64_t slice = Number(resource, "sliceSize");
  if (index + 1 < resource["objects"].size()) return slice;
  return Number(resource, "length") - slice * static_cast<std::int64_t>(index);
}

EncryptedSlice SliceReader::Take(Json::ArrayIndex index) {
  EncryptedSlice slice = (next.valid() ? std::move(next) : Begin(index)).get();
  if (index + 1 < resource["objects"].size()) next = Begin(index + 1);
  return slice;
}

std::future<EncryptedSlice> SliceReader::Begin(Json::ArrayIndex index) {
  return std::async(std::launch::async, GetEncryptSliceHash, source, key, iv, PlainLength(index),
                    Start(index), std::ref(plain));
}
