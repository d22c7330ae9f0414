#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

#include "cloudserver.h"

// One asset as a device sends it: what the record says, and the bytes that are
// stored, encrypted already.
struct UploadedAsset {
  std::string usage;
  std::int64_t plainBytes = 0;
  std::vector<std::string> objects;
  Json::Value cipher;                         // null: not encrypted
  Json::Value attributes;                     // {"length":{"small":..,"large":..}} of a thumbnail
  std::string sha256 = std::string(64, 'a');  // of the plain bytes; the service does not know them
};

// Uploads a media with these assets and makes it visible; returns its id. Fails
// the test when the service refuses a step.
std::string UploadMedia(OtherDevice& device, const std::string& fileName,
                        const std::vector<UploadedAsset>& assets);

// Content of `plainBytes` and a thumbnail whose bytes are no pictures, for tests
// of what the service does with them. Equal `seed`s give equal bytes.
std::vector<UploadedAsset> AnyAssets(char seed, std::size_t plainBytes = 100);
