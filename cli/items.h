#pragma once

#include "model/gallery.h"
#include "output.h"

// Albums and files as a command line names them.

// A live album by its id, its name, or the name that a user reads; null when
// there is none.
Album::Ptr FindAlbum(const std::string& name);
// The file of an id, or null.
GalleryFile::Ptr FindFile(const std::string& id);
// The name under which a user knows an album.
std::string ShownName(const Album& album);
// A file in short: JSON form and one line.
Json::Value FileSummary(const GalleryFile& file);
std::string FileLine(const GalleryFile& file);
