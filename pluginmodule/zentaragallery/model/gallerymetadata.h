#pragma once

#include <cstdint>

#include "model/records/galleryfile.h"

// The angle in degrees, clockwise, by which a picture is to be turned to stand
// upright: from its metadata on a V2 cloud, else from its attributes or the EXIF
// of its small thumbnail. A value from 1 to 8 is an EXIF orientation (tag 274)
// and is translated. 0 for a null file and when nothing is known.
std::int32_t RotationOfFile(const GalleryFile::Ptr& file);
