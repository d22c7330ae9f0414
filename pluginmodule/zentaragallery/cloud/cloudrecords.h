#pragma once

#include <json/value.h>

#include "cloud/syncrecords.h"
#include "host/requests/ns/cloudphotov2.h"

// Records of the second generation as the sync knows them, and back.
namespace CloudRecords {

Album::Ptr ToAlbum(const NS::CloudPhoto::V2::Album& record);
// `otype` and `device` are left to whoever knows the change.
CloudFileInfo ToFileInfo(const NS::CloudPhoto::V2::Media& record);

// Bodies of requests. An album is created under its own id; an update leaves the
// time of creation alone.
Json::Value AlbumCreateRequest(const Album& album);
Json::Value AlbumUpdateRequest(const Album& album);
// A recycled file names the bin as its album.
Json::Value MediaUpdateRequest(const CloudFileInfo& file);

}  // namespace CloudRecords
