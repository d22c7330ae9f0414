#include "common/platform/paths.h"
#include "utils/mediareading.h"
#include "utils/vipspicture.h"

bool MediaReading::IsWhole(const std::wstring& path) {
  const auto native = platform::NativePath(path);
  const PictureFormat format = FormatOfHead(ReadHead(native, kFormatHeadBytes));
  if (format == PictureFormat::Unknown || !StartVips()) return false;
  MediaFailure why = MediaFailure::None;
  if (!OpenHeader(native, format, why)) return false;  // Also what claims to be too large.
  const auto source = OpenSource(native);
  if (!source) return false;
  const VipsOwner<VipsImage> picture(vips_image_new_from_source(
      source.get(), "", "fail_on", VIPS_FAIL_ON_TRUNCATED, "access", VIPS_ACCESS_SEQUENTIAL, nullptr));
  double average = 0;  // What is asked for does not matter: it takes every pixel.
  const bool whole = picture && vips_avg(picture.get(), &average, nullptr) == 0;
  if (!whole) (void)TakeVipsError();
  return whole;
}
