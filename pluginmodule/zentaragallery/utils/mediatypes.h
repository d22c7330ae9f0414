#pragma once

#include <cstdint>
#include <string_view>

// Pictures and videos by their extension, which is compared without regard to
// case and has its dot.
inline constexpr std::int32_t kSavedFileTypePicture = 1;
inline constexpr std::int32_t kSavedFileTypeVideo = 4;

bool IsVideoExtension(std::wstring_view extension);
bool IsPictureExtension(std::wstring_view extension);
// 4 for the video set, 1 for any other extension.
std::int32_t SavedFileTypeOf(std::wstring_view extension);

// Filters of the file dialogs.
inline constexpr wchar_t kVideoFilter[] = L"*.mp4; *.3g2; *.3gp; *.asf; *.avi; *.m4v; *.mkv; *.mov; *.wmv;";
inline constexpr wchar_t kPictureFilter[] = L"*.jpg; *.jpeg; *.png; *.bmp; *.gif; *.heic; *.nef;";
inline constexpr wchar_t kPictureAndVideoFilter[] =
    L"*.jpg;*.jpeg;*.png;*.bmp;*.gif;*.heic;*.mp4;*.3g2;*.3gp;*.asf;*.avi;*.m4v;*.mkv;*.mov;*.wmv;*.nef;";
