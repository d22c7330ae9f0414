#include "ui/viewer/mappedpixels.h"

#include <array>

#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "ui/pagecontext.h"

namespace {

// As all programs that show them have it: files ask for less than they mean.
constexpr int kShortestDelayMs = 20, kUsualDelayMs = 100;
// A map of no file may follow it.
constexpr std::uint64_t kSpareBytes = 64 << 20;

// What a killed process leaves is swept from that folder by this ending.
std::wstring TemporaryName(const std::wstring& folder) {
  return folder + platform::Utf8ToWide(platform::NewGuid()) + L".tmp";
}

std::uint64_t LargestPictureBytes(const std::wstring& source) {
  // The size is only known once it is decoded; nothing compresses much better.
  constexpr std::uint64_t kRatio = 40;
  std::error_code failed;
  const auto bytes = std::filesystem::file_size(platform::NativePath(source), failed);
  return failed ? 0 : bytes * kRatio;
}

// Averages squares of `step` pixels.
template <int kBands>
void Shrink(const uchar* from, std::int64_t stride, int step, QImage& into) {
  const int count = step * step;
  for (int y = 0; y < into.height(); ++y) {
    uchar* out = into.scanLine(y);
    for (int x = 0; x < into.width(); ++x, out += kBands) {
      std::array<int, kBands> sum{};
      for (int dy = 0; dy < step; ++dy) {
        const uchar* in = from + (std::int64_t{y} * step + dy) * stride + std::int64_t{x} * step * kBands;
        for (int dx = 0; dx < step; ++dx)
          for (std::size_t band = 0; band < kBands; ++band) sum[band] += *in++;
      }
      for (std::size_t band = 0; band < kBands; ++band) out[band] = static_cast<uchar>(sum[band] / count);
    }
  }
}

QImage ToScreen(const QImage& image) {
  return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                       : QImage::Format_RGB32);
}

}  // namespace

MappedPixels::~MappedPixels() = default;

std::shared_ptr<const MappedPixels> MappedPixels::Decode(const std::wstring& source,
                                                         const std::wstring& folder) {
  const auto native = platform::NativePath(folder);
  if (platform::MakeFolder(native) || platform::FreeSpace(native) < LargestPictureBytes(source) + kSpareBytes)
    return nullptr;
  const std::wstring name = TemporaryName(folder);
  const std::shared_ptr<MappedPixels> made(new MappedPixels);
  if (!DecodePixels(source, name, 0, made->pixels)) return nullptr;
  const bool mapped = made->Map(name);
  std::error_code ignored;  // Swept later.
  std::filesystem::remove(platform::NativePath(name), ignored);
  return mapped ? made : nullptr;
}

bool MappedPixels::Map(const std::wstring& path) {
  file.setFileName(Page::NativeText(path));
  const qint64 wanted = pixels.FrameBytes() * FrameCount();
  if (!file.open(QIODevice::ReadOnly) || file.size() < wanted) return false;
  bytes = file.map(0, wanted);
  return bytes != nullptr;
}

// The eight orientations: turned, and mirrored before.
QTransform MappedPixels::ToUpright() const {
  const double w = pixels.width, h = pixels.height;
  switch (pixels.orientation) {
    case 2:
      return {-1, 0, 0, 1, w, 0};
    case 3:
      return {-1, 0, 0, -1, w, h};
    case 4:
      return {1, 0, 0, -1, 0, h};
    case 5:
      return {0, 1, 1, 0, 0, 0};
    case 6:
      return {0, 1, -1, 0, h, 0};
    case 7:
      return {0, -1, -1, 0, h, w};
    case 8:
      return {0, -1, 1, 0, 0, w};
    default:
      return {};
  }
}

QSize MappedPixels::Size() const {
  const QSize lies(pixels.width, pixels.height);
  return pixels.orientation >= 5 && pixels.orientation <= 8 ? lies.transposed() : lies;
}

QImage MappedPixels::Read(const QRect& upright, int level) const {
  const int step = 1 << level;
  const QTransform turn = ToUpright();
  const QRect inside = upright & QRect(QPoint(0, 0), Size());
  const QRect lies = turn.inverted().mapRect(QRectF(inside)).toRect();
  // What is left over at the far edges is less than one pixel of the result.
  const QSize small(std::max(1, lies.width() / step), std::max(1, lies.height() / step));
  if (inside.isEmpty() || lies.width() < step || lies.height() < step) return {};
  const bool opaque = pixels.bands == 3;
  const std::int64_t stride = std::int64_t{pixels.width} * pixels.bands;
  const uchar* from = bytes + lies.y() * stride + std::int64_t{lies.x()} * pixels.bands;
  QImage image(small, opaque ? QImage::Format_RGB888 : QImage::Format_RGBA8888);
  opaque ? Shrink<3>(from, stride, step, image) : Shrink<4>(from, stride, step, image);
  const QTransform only(turn.m11(), turn.m12(), turn.m21(), turn.m22(), 0, 0);
  return ToScreen(only.isIdentity() ? image : image.transformed(only));
}

int MappedPixels::DelayMs(int frame) const {
  if (frame < 0 || frame >= static_cast<int>(pixels.delays.size())) return kUsualDelayMs;
  const int delay = pixels.delays[static_cast<std::size_t>(frame)];
  return delay < kShortestDelayMs ? kUsualDelayMs : delay;
}

QImage MappedPixels::Frame(const std::shared_ptr<const MappedPixels>& of, int frame) {
  auto* kept = new std::shared_ptr<const MappedPixels>(of);
  const auto drop = [](void* owner) { delete static_cast<std::shared_ptr<const MappedPixels>*>(owner); };
  return {of->FrameStart(frame),
          of->pixels.width,
          of->pixels.height,
          std::int64_t{of->pixels.width} * of->pixels.bands,
          of->pixels.bands == 3 ? QImage::Format_RGB888 : QImage::Format_RGBA8888,
          drop,
          kept};
}

QImage DecodeFitted(const std::wstring& source, const std::wstring& folder, int longEdge) {
  if (platform::MakeFolder(platform::NativePath(folder))) return {};
  const std::wstring name = TemporaryName(folder);
  PicturePixels pixels;
  if (!DecodePixels(source, name, longEdge, pixels)) return {};
  QFile file(Page::NativeText(name));
  QImage image;
  const qint64 wanted = pixels.FrameBytes();
  if (file.open(QIODevice::ReadOnly) && file.size() >= wanted) {
    if (const uchar* bytes = file.map(0, wanted)) {
      const auto format = pixels.bands == 3 ? QImage::Format_RGB888 : QImage::Format_RGBA8888;
      image = ToScreen(
          QImage(bytes, pixels.width, pixels.height, std::int64_t{pixels.width} * pixels.bands, format)
              .copy());
    }
  }
  (void)file.remove();  // Swept later otherwise.
  return image;
}
