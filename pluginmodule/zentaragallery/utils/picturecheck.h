#pragma once

#include <string>

// Whether `path` holds a picture of a known format all of whose pixels can be
// decoded. Safe from any thread.
bool IsWholePicture(const std::wstring& path);
