#pragma once

#include <vips/vips.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "utils/mediareader.h"
#include "utils/pictureformat.h"

// Owner of an object of the picture library.
struct UnrefObject {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename Object>
using VipsOwner = std::unique_ptr<Object, UnrefObject>;

// Starts the picture library at the first call: one thread for each picture
// (imports already run in parallel), no cache of results, only the loaders of
// the gallery's formats. False when it cannot start.
bool StartVips();

// The library's last errors as one short line, and forgets them. Lines that name
// a file are left out. Errors of other threads may be mixed in; it is for the log
// only.
std::string TakeVipsError();

// A source that reads the file. Not by the library's own file names, in which
// "[" begins options, so that a picture called "a[1].jpg" could not be opened.
VipsOwner<VipsSource> OpenSource(const std::filesystem::path& path);

// The picture with its header read and its pixels not. Null, with the reason,
// when there is no header, or its size is beyond the limits.
VipsOwner<VipsImage> OpenHeader(const std::filesystem::path& path, PictureFormat format, MediaFailure& why);

// The same for a picture in memory, which has to outlive the result.
VipsOwner<VipsImage> OpenHeaderOf(std::string_view bytes, PictureFormat format, MediaFailure& why);

// Whether the picture arrives in several scans, each of which covers all of it.
bool IsInterlaced(VipsImage* image);
