#pragma once

#include <functional>

// Reads albums and files of the database into the gallery, once after
// Gallery::Init: albums first, told to `onAlbumsLoaded` (null: nobody asks; false:
// they could not be read), then files, less those whose content the cloud has lost unless the host shows
// these. In the user's hidden period no album is loaded. False when a table could not be read; what was read
// is in then, and a repeat adds the rest. Any thread but the user-interface thread: it reads every row.
bool LoadModel(const std::function<void(bool good)>& onAlbumsLoaded = nullptr);
