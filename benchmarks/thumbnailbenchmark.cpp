// Thumbnails a second of 12-megapixel JPEGs, beside vipsthumbnail (package
// libvips-tools) on the same files in the same run, one thread each. Processor
// time is told too: it is what counts on a machine that is busy otherwise.
// Usage: thumbnail_benchmark [FILES [ROUNDS]]

#include <sys/resource.h>
#include <vips/vips.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "common/platform/paths.h"
#include "utils/thumbnailmaker.h"
#include "utils/vipspicture.h"

namespace fs = std::filesystem;

namespace {

constexpr int kWidth = 4000;
constexpr int kHeight = 3000;
constexpr int kLongEdge = 360;

struct Cost {
  double wall = 1e9;
  double processor = 1e9;
};

double Processor(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Keeps the best of all rounds: what others do on the machine only adds.
void Measure(Cost& best, int who, const std::function<void()>& work) {
  const double processor = Processor(who);
  const auto start = std::chrono::steady_clock::now();
  work();
  best.wall =
      std::min(best.wall, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  best.processor = std::min(best.processor, Processor(who) - processor);
}

// Fine grain over soft shapes compresses like a photograph: about 4 MB.
bool WritePhoto(const fs::path& path, int seed) {
  VipsImage *clouds = nullptr, *grain = nullptr, *sum = nullptr, *bands = nullptr, *bytes = nullptr;
  const bool written =
      vips_perlin(&clouds, kWidth, kHeight, "cell_size", 400, "seed", seed, nullptr) == 0 &&
      vips_gaussnoise(&grain, kWidth, kHeight, "mean", 120.0, "sigma", 8.0, "seed", seed, nullptr) == 0 &&
      vips_linear1(clouds, &bands, 90.0, 0.0, nullptr) == 0 && vips_add(bands, grain, &sum, nullptr) == 0 &&
      vips_cast(sum, &bytes, VIPS_FORMAT_UCHAR, nullptr) == 0;
  VipsImage *joined = nullptr, *rgb = nullptr;
  VipsImage* parts[] = {bytes, bytes, bytes};
  const bool saved = written && vips_bandjoin(parts, &joined, 3, nullptr) == 0 &&
                     vips_copy(joined, &rgb, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr) == 0 &&
                     vips_jpegsave(rgb, path.c_str(), "Q", 90, nullptr) == 0;
  for (VipsImage* image : {clouds, grain, sum, bands, bytes, joined, rgb})
    if (image) g_object_unref(image);
  return saved;
}

// Whether both programs made a picture of the same size.
bool SameSize(const fs::path& folder, const std::string& number) {
  MediaFailure why = MediaFailure::None;
  const auto own = OpenHeader(folder / ("own-" + number + ".jpg"), PictureFormat::Jpeg, why);
  const auto peer = OpenHeader(folder / ("peer-" + number + ".jpg"), PictureFormat::Jpeg, why);
  return own && peer && vips_image_get_width(own.get()) == vips_image_get_width(peer.get()) &&
         vips_image_get_height(own.get()) == vips_image_get_height(peer.get());
}

}  // namespace

int main(int argc, char** argv) {
  const int files = argc > 1 ? std::atoi(argv[1]) : 20;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  if (files < 1 || rounds < 1 || !StartVips()) return 2;
  char name[] = "/tmp/zentara-thumbnails-XXXXXX";
  if (!::mkdtemp(name)) return 1;
  const fs::path folder = name;
  std::string list;
  for (int i = 0; i < files; ++i) {
    const fs::path photo = folder / (std::to_string(i) + ".jpg");
    if (!WritePhoto(photo, i)) return 1;
    list += " " + photo.string();
  }
  const std::string peer = "VIPS_CONCURRENCY=1 vipsthumbnail --size " + std::to_string(kLongEdge) + "x" +
                           std::to_string(kLongEdge) + " -o " + folder.string() +
                           "/peer-%s.jpg[Q=85,strip,optimize_coding]" + list;
  Cost own, other;
  bool good = true;
  for (int round = 0; round < rounds; ++round) {
    Measure(own, RUSAGE_SELF, [&] {
      for (int i = 0; i < files; ++i) {
        const auto source = platform::WidePath(folder / (std::to_string(i) + ".jpg"));
        const auto target = platform::WidePath(folder / ("own-" + std::to_string(i) + ".jpg"));
        good = MakeThumbnail(source, target, kLongEdge) && good;
      }
    });
    Measure(other, RUSAGE_CHILDREN, [&] { good = std::system(peer.c_str()) == 0 && good; });
  }
  for (int i = 0; i < files; ++i) good = SameSize(folder, std::to_string(i)) && good;
  if (!good) std::printf("a thumbnail is missing, or of another size\n");
  std::printf("%d pictures of %d x %d, best of %d rounds\n", files, kWidth, kHeight, rounds);
  std::printf("  MakeThumbnail  %6.1f a second, processor %6.2f ms each\n", files / own.wall,
              own.processor / files * 1000);
  std::printf("  vipsthumbnail  %6.1f a second, processor %6.2f ms each\n", files / other.wall,
              other.processor / files * 1000);
  std::printf("  ratio of time  %.2f, of processor time %.2f\n", own.wall / other.wall,
              own.processor / other.processor);
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return good ? 0 : 1;
}
