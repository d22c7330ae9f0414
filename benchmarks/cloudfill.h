#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

// Puts `count` visible media, as phones send them, into the account `userName` of
// a server's data folder; also beside a running server. Each has a version of its
// own, and names and times that go on behind those of the calls before.
void FillCloud(const std::filesystem::path& data, const std::string& userName, std::int64_t count);

// Gives the newest `count` records a content and a thumbnail of one stored object
// each. The objects have records only, and no bytes.
void FillAttachments(const std::filesystem::path& data, const std::string& userName, int count);
