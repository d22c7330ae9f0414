#pragma once

#include <string>

// What the user has chosen on the page and finds again: kept in the settings of the
// profile. Reading costs no disk; writing happens on a worker.
namespace UserProperties {

inline constexpr char kRowCount[] = "GalleryRowCount";           // zoom, 0 to 3
inline constexpr char kTipSeen[] = "GalleryMultiSelectTipSeen";  // 1: the tip was dismissed
inline constexpr char kUseDownloads[] = "IsUseDownloadsPath";    // 1: the standard folder
inline constexpr char kDownloadFolder[] = "NewDownLoadFolder";   // UTF-8
inline constexpr char kAskDownload[] = "IsOpenDownloadWnd";      // 1: ask where to each time

int GetNumber(const char* name, int otherwise);
bool GetFlag(const char* name);
std::string GetText(const char* name);
void Set(const char* name, int value);
void Set(const char* name, const std::string& value);

}  // namespace UserProperties
