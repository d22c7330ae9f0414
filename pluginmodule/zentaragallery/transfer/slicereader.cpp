#include "transfer/slicereader.h"

#include "host/ns/jsontext.h"

using NS::JsonText::Number;

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

std::future<EncryptedSlice> SliceReader::Begin(Json::ArrayIndex index) const {
  return std::async(std::launch::async, GetEncryptSliceHash, source, key, iv, PlainLength(index),
                    Start(index));
}
