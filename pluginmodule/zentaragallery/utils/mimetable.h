#pragma once

#include <string_view>

// The type of a file by its extension in small letters with its dot;
// "application/octet-stream" for one that the table does not have.
std::string_view MimeTypeOf(std::string_view extension);
