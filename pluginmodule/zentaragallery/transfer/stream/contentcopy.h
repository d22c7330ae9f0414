#pragma once

#include <filesystem>
#include <functional>

#include "transfer/stream/streamcontent.h"

// Writes the original of a cloud file to `target`, which must not be there, without a
// row, a list or a new local path: for a copy that is handed on and thrown away. Waits.
//
// The name appears when the whole is there and is what was uploaded; nothing is left
// after a failure. Ends, with Outage, about a second after `goesOn` says no.
StreamContent::Outcome CopyContent(const GalleryFile::Ptr& file, const std::filesystem::path& target,
                                   const std::function<bool()>& goesOn);
