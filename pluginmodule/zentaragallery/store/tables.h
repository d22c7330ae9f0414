#pragma once

#include <string>

// The CREATE statements of tables whose other statements stand in sources of
// their own.
std::string FileTableStatement();
std::string DownloadTableStatement();
std::string CompletedTableStatement();
