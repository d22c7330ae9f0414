#pragma once

#include <json/value.h>

#include <filesystem>
#include <system_error>

#include "common/platform/files.h"

// JSON documents that the host keeps in the configuration folder. Exceptions of
// the library end here.
namespace JsonFile {

// Missing is an answer of its own: a file that is there and cannot be read or
// understood must not be replaced by defaults.
enum class LoadResult { Loaded, Missing, Unreadable, Broken };

// Reads a file that holds one JSON object. `object` is an empty object unless
// the result is Loaded.
LoadResult Load(const std::filesystem::path& file, Json::Value& object);

// The document as indented text, for files that people edit.
std::string Text(const Json::Value& object);

// The folder of the host's own files, "ZentaraCloud" below the configuration
// root.
std::filesystem::path Folder();

}  // namespace JsonFile
