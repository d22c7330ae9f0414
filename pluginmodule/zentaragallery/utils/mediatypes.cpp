#include "utils/mediatypes.h"

#include <algorithm>
#include <array>

#include "common/platform/text.h"

namespace {

constexpr std::array<std::wstring_view, 9> kVideoExtensions = {L".mp4", L".3g2", L".3gp", L".asf", L".avi",
                                                               L".m4v", L".mkv", L".mov", L".wmv"};
constexpr std::array<std::wstring_view, 7> kPictureExtensions = {L".jpg", L".jpeg", L".png", L".bmp",
                                                                 L".gif", L".heic", L".nef"};

template <std::size_t size>
bool Holds(const std::array<std::wstring_view, size>& extensions, std::wstring_view extension) {
  return std::find(extensions.begin(), extensions.end(), platform::AsciiLower(extension)) != extensions.end();
}

}  // namespace

bool IsVideoExtension(std::wstring_view extension) { return Holds(kVideoExtensions, extension); }

bool IsPictureExtension(std::wstring_view extension) { return Holds(kPictureExtensions, extension); }

std::int32_t SavedFileTypeOf(std::wstring_view extension) {
  return IsVideoExtension(extension) ? kSavedFileTypeVideo : kSavedFileTypePicture;
}
