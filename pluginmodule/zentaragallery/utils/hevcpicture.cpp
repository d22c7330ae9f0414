#include "utils/hevcpicture.h"

#include <libheif/heif.h>

#include <array>
#include <cmath>
#include <vector>

#include "utils/avowners.h"
#include "utils/decodelimits.h"
#include "utils/hevcdecoder.h"

namespace {

struct FreeHeif {
  void operator()(heif_context* context) const { heif_context_free(context); }
  void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
  void operator()(heif_image* image) const { heif_image_release(image); }
  void operator()(heif_decoding_options* options) const { heif_decoding_options_free(options); }
};
template <typename Object>
using HeifOwner = std::unique_ptr<Object, FreeHeif>;

constexpr std::array kChannels = {heif_channel_R, heif_channel_G, heif_channel_B};
constexpr int kBands = 3;
// The converter's vector code may write a few bytes beyond the last line.
constexpr std::size_t kSpareBytes = 64;

bool IsGood(const heif_error& error) { return error.code == heif_error_Ok; }

HeifOwner<heif_image_handle> MainPicture(heif_context& context) {
  heif_image_handle* handle = nullptr;
  if (!IsGood(heif_context_get_primary_image_handle(&context, &handle))) return nullptr;
  return HeifOwner<heif_image_handle>(handle);
}

// A preview that is no smaller than what is asked for is less to decode.
bool HasPreviewFor(const heif_image_handle& picture, int longEdge) {
  heif_item_id id = 0;
  if (longEdge == 0 || heif_image_handle_get_list_of_thumbnail_IDs(&picture, &id, 1) < 1) return false;
  heif_image_handle* preview = nullptr;
  if (!IsGood(heif_image_handle_get_thumbnail(&picture, id, &preview))) return false;
  const HeifOwner<heif_image_handle> owner(preview);
  return std::max(heif_image_handle_get_width(preview), heif_image_handle_get_height(preview)) >= longEdge;
}

// What the file says of its colours counts before what the coded picture says.
bool HasUsualColours(const heif_image_handle& picture) {
  heif_color_profile_nclx* colours = nullptr;
  if (!IsGood(heif_image_handle_get_nclx_color_profile(&picture, &colours))) return true;
  const auto matrix = colours->matrix_coefficients;
  const bool isUsual = matrix == heif_matrix_coefficients_unspecified ||
                       matrix == heif_matrix_coefficients_ITU_R_BT_601_6 ||
                       matrix == heif_matrix_coefficients_ITU_R_BT_470_6_System_B_G;
  const bool isFull = colours->full_range_flag != 0;
  heif_nclx_color_profile_free(colours);
  return isUsual && isFull;
}

bool IsPlain(const heif_image_handle& picture) {
  return HasUsualColours(picture) && !heif_image_handle_has_alpha_channel(&picture) &&
         heif_image_handle_get_luma_bits_per_pixel(&picture) == 8 &&
         heif_image_handle_get_chroma_bits_per_pixel(&picture) == 8;
}

// Brightness and colours under other names; see hevcdecoder.h.
HeifOwner<heif_image> Decode(const heif_image_handle& picture) {
  const HeifOwner<heif_decoding_options> options(heif_decoding_options_alloc());
  const char* decoder = HevcDecoderId();
  if (!options || !decoder) return nullptr;
  options->decoder_id = decoder;
  heif_image* image = nullptr;
  if (!IsGood(heif_decode_image(&picture, &image, heif_colorspace_RGB, heif_chroma_444, options.get())))
    return nullptr;
  HeifOwner<heif_image> owner(image);
  const int width = heif_image_get_primary_width(image), height = heif_image_get_primary_height(image);
  bool isGood = PixelsAllowed(width, height);
  for (const heif_channel channel : kChannels)
    isGood = isGood && heif_image_get_width(image, channel) == width &&
             heif_image_get_height(image, channel) == height;
  return isGood ? std::move(owner) : nullptr;
}

struct Size {
  int width = 0, height = 0;
};

Size Fitted(const heif_image& image, int longEdge) {
  const Size whole{heif_image_get_primary_width(&image), heif_image_get_primary_height(&image)};
  const int edge = std::max(whole.width, whole.height);
  if (longEdge == 0 || edge <= longEdge) return whole;
  const double scale = double{1} * longEdge / edge;
  return {std::max(1, static_cast<int>(std::lround(whole.width * scale))),
          std::max(1, static_cast<int>(std::lround(whole.height * scale)))};
}

AvOwner<SwsContext> Converter(const heif_image& image, Size size) {
  AvOwner<SwsContext> converter(sws_getContext(
      heif_image_get_primary_width(&image), heif_image_get_primary_height(&image), AV_PIX_FMT_YUV444P,
      size.width, size.height, AV_PIX_FMT_RGB24, SWS_AREA | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
  if (!converter) return nullptr;
  constexpr int kFullRange = 1, kOne = 1 << 16;
  const int* table = sws_getCoefficients(SWS_CS_ITU601);
  const int set =
      sws_setColorspaceDetails(converter.get(), table, kFullRange, table, kFullRange, 0, kOne, kOne);
  return set < 0 ? nullptr : std::move(converter);
}

void FreePixels(VipsImage*, std::vector<std::uint8_t>* pixels) { delete pixels; }

VipsOwner<VipsImage> ToRgb(const heif_image& image, Size size) {
  const auto converter = Converter(image, size);
  if (!converter) return nullptr;
  const int stride = size.width * kBands;
  const std::size_t bytes = static_cast<std::size_t>(stride) * static_cast<std::size_t>(size.height);
  auto pixels = std::make_unique<std::vector<std::uint8_t>>(bytes + kSpareBytes);
  std::array<const std::uint8_t*, kBands> planes{};
  std::array<int, kBands> strides{};
  for (std::size_t i = 0; i < kChannels.size(); ++i)
    planes[i] = heif_image_get_plane_readonly(&image, kChannels[i], &strides[i]);
  std::uint8_t* const lines[] = {pixels->data()};
  if (sws_scale(converter.get(), planes.data(), strides.data(), 0, heif_image_get_primary_height(&image),
                lines, &stride) != size.height)
    return nullptr;
  VipsOwner<VipsImage> result(
      vips_image_new_from_memory(pixels->data(), bytes, size.width, size.height, kBands, VIPS_FORMAT_UCHAR));
  if (!result) return nullptr;
  g_signal_connect(result.get(), "postclose", G_CALLBACK(FreePixels), pixels.release());
  result->Type = VIPS_INTERPRETATION_sRGB;
  return result;
}

void TakeProfile(const heif_image_handle& picture, VipsImage* image) {
  const auto kind = heif_image_handle_get_color_profile_type(&picture);
  if (kind != heif_color_profile_type_prof && kind != heif_color_profile_type_rICC) return;
  std::vector<char> profile(heif_image_handle_get_raw_color_profile_size(&picture));
  if (!profile.empty() && IsGood(heif_image_handle_get_raw_color_profile(&picture, profile.data())))
    vips_image_set_blob_copy(image, VIPS_META_ICC_NAME, profile.data(), profile.size());
}

}  // namespace

VipsOwner<VipsImage> DecodeHevcPicture(const std::filesystem::path& path, int longEdge) {
  const HeifOwner<heif_context> context(heif_context_alloc());
  if (!context || !IsGood(heif_context_read_from_file(context.get(), path.c_str(), nullptr))) return nullptr;
  const auto picture = MainPicture(*context);
  if (!picture || !IsPlain(*picture) || HasPreviewFor(*picture, longEdge)) return nullptr;
  const auto decoded = Decode(*picture);
  if (!decoded) return nullptr;
  auto image = ToRgb(*decoded, Fitted(*decoded, longEdge));
  if (image) TakeProfile(*picture, image.get());
  return image;
}
