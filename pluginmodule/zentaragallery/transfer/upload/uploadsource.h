#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "utils/changecheck.h"

// What an upload needs to know of its source, found out in one pass over it.
struct UploadSource {
  std::int64_t size = 0;
  ChangeCheck bytes;
  std::string contentHmac;  // HMAC-SHA-256 with the first master key, 64 small digits
  std::string sha256;       // 64 small digits
  std::string hashId;       // HMAC-SHA-256 with an empty key
  std::string smallThumbnail;
  std::string largeThumbnail;
  std::string thumbHmac;  // over the small thumbnail, then the large one; not by Read

  // Reads everything. False, with `failure` naming what could not be read, also
  // when `goOn` says no between two passes.
  bool Read(const std::wstring& path, const std::wstring& smallPath, const std::wstring& largePath,
            const std::string& masterKey, const std::function<bool()>& goOn, std::string& failure);
};

// One piece of a content, ready to send.
struct EncryptedSlice {
  bool isWhole = false;
  std::string bytes;
  std::string md5;     // of `bytes`, 32 small digits
  std::string sha256;  // 64
};

// Encrypts plain[start, start + length) of the file, cut at its end, as a stream
// of its own, and digests what comes out in the same pass. Not whole, logged,
// when the file cannot be opened and without memory for the slice. `plain` takes in
// what was read.
EncryptedSlice GetEncryptSliceHash(const std::wstring& path, const std::string& key, const std::string& iv,
                                   std::int64_t length, std::int64_t start, ChangeCheck& plain);
