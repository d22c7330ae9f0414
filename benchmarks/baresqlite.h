#pragma once

#include <filesystem>
#include <vector>

#include "model/records/galleryfile.h"

// The limit of the store: the same rows by nothing but SQLite's own calls.

// Inserts all rows in one transaction by one prepared statement into a fresh file.
// Seconds.
double BareInsert(const std::filesystem::path& database, const std::vector<GalleryFile::Ptr>& files);

// Steps through the table and reads every column. Seconds.
double BareScan(const std::filesystem::path& database);
