#pragma once

#include <json/value.h>

#include <cstdint>
#include <future>
#include <string>

#include "cloud/uploadfilecommandparams.h"
#include "transfer/upload/uploadsource.h"

// Whether `resource` cuts a content of `size` bytes as a reader expects it: in
// order, without a gap, into equal slices and a rest, each as long as its padding
// makes it. A slice is 4 KiB to 1 GiB; a single one may be smaller.
bool IsCutOf(const Json::Value& resource, std::int64_t size);

// Encrypts the slices of a content one ahead of the one that is sent. For one
// thread; `resource` outlives it.
class SliceReader {
 public:
  // `resource` tells how the cloud cuts the content, and IsCutOf that it fits.
  SliceReader(std::wstring path, const UploadFileCommandParams& params, const Json::Value& resource);

  // Where object `index` begins in the plain content, and how much of it it holds.
  std::int64_t Start(Json::ArrayIndex index) const;
  std::int64_t PlainLength(Json::ArrayIndex index) const;

  // In the order of the objects.
  EncryptedSlice Take(Json::ArrayIndex index);
  // What all slices were made of, once the last one was taken.
  const ChangeCheck& Plain() const { return plain; }

 private:
  std::future<EncryptedSlice> Begin(Json::ArrayIndex index);

  const std::wstring source;
  const std::string key;
  const std::string iv;
  const Json::Value& resource;
  ChangeCheck plain;  // of the slice that is being made: one at a time, in order
  std::future<EncryptedSlice> next;
};
