#include "utils/hevcdecoder.h"

#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

#include <array>
#include <cstring>
#include <vector>

#include "utils/avowners.h"
#include "utils/decodelimits.h"

namespace {

constexpr char kId[] = "gallery-hevc";
// Below that of every decoder that the library brings.
constexpr int kPriority = 1;
constexpr int kPluginVersion = 3;
constexpr std::size_t kLengthBytes = 4;
constexpr std::array<std::uint8_t, kLengthBytes> kStartCode = {0, 0, 0, 1};

constexpr heif_error kGood = {heif_error_Ok, heif_suberror_Unspecified, "Success"};
constexpr heif_error kFailed = {heif_error_Decoder_plugin_error, heif_suberror_Unspecified, "not decoded"};

// The units of a picture, first its parameters, each behind a start code.
using Units = std::vector<std::uint8_t>;

const char* Name() { return "FFmpeg's HEVC decoder"; }
int Supports(heif_compression_format format) { return format == heif_compression_HEVC ? kPriority : 0; }
void SetStrict(void*, int) {}

heif_error Make(void** decoder) {
  *decoder = new Units;
  return kGood;
}

void Free(void* decoder) { delete static_cast<Units*>(decoder); }

// The library hands over units with their length before them.
heif_error Push(void* decoder, const void* data, std::size_t size) {
  auto& units = *static_cast<Units*>(decoder);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  while (size >= kLengthBytes) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < kLengthBytes; ++i) length = length << 8 | bytes[i];
    if (length > size - kLengthBytes) return kFailed;
    units.insert(units.end(), kStartCode.begin(), kStartCode.end());
    units.insert(units.end(), bytes + kLengthBytes, bytes + kLengthBytes + length);
    bytes += kLengthBytes + length;
    size -= kLengthBytes + length;
  }
  return size == 0 ? kGood : kFailed;
}

AvOwner<AVFrame> Decode(Units& units) {
  const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_HEVC);
  SilenceVideoLibrary();
  AvOwner<AVCodecContext> context(codec ? avcodec_alloc_context3(codec) : nullptr);
  AvOwner<AVPacket> packet(av_packet_alloc());
  AvOwner<AVFrame> frame(av_frame_alloc());
  if (!context || !packet || !frame || units.size() > INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE) return nullptr;
  context->thread_count = 1;  // The library decodes the tiles of a picture side by side.
  context->max_pixels = kMaxPixels;
  context->err_recognition = AV_EF_EXPLODE;
  if (avcodec_open2(context.get(), codec, nullptr) < 0) return nullptr;
  packet->size = static_cast<int>(units.size());
  units.resize(units.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  packet->data = units.data();
  if (avcodec_send_packet(context.get(), packet.get()) < 0) return nullptr;
  (void)avcodec_send_packet(context.get(), nullptr);
  if (avcodec_receive_frame(context.get(), frame.get()) < 0) return nullptr;
  const bool isWhole = !(frame->flags & AV_FRAME_FLAG_CORRUPT) && frame->decode_error_flags == 0;
  return isWhole ? std::move(frame) : nullptr;
}

// Full range and the usual matrix, which a picture that says nothing has as well.
bool HasUsualColours(const AVFrame& frame) {
  const bool isHalved = frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P;
  const bool isUsual = frame.colorspace == AVCOL_SPC_UNSPECIFIED || frame.colorspace == AVCOL_SPC_SMPTE170M ||
                       frame.colorspace == AVCOL_SPC_BT470BG;
  return isHalved && isUsual && frame.color_range == AVCOL_RANGE_JPEG;
}

// Each value of a row twice.
void Double(const std::uint8_t* from, int width, std::uint8_t* to) {
  for (int x = 0; x < width / 2; ++x) to[2 * x] = to[2 * x + 1] = from[x];
  if (width % 2) to[width - 1] = from[width / 2];
}

bool CopyPlane(heif_image* image, heif_channel channel, const AVFrame& frame, std::size_t plane) {
  if (heif_image_add_plane(image, channel, frame.width, frame.height, 8).code != heif_error_Ok) return false;
  int stride = 0;
  std::uint8_t* to = heif_image_get_plane(image, channel, &stride);
  if (!to) return false;
  const bool isBrightness = plane == 0;
  for (int y = 0; y < frame.height; ++y, to += stride) {
    const std::uint8_t* from =
        frame.data[plane] + std::ptrdiff_t{isBrightness ? y : y / 2} * frame.linesize[plane];
    isBrightness ? void(std::memcpy(to, from, static_cast<std::size_t>(frame.width)))
                 : Double(from, frame.width, to);
  }
  return true;
}

heif_error DecodeImage(void* decoder, heif_image** result) {
  const AvOwner<AVFrame> frame = Decode(*static_cast<Units*>(decoder));
  if (!frame || !HasUsualColours(*frame)) return kFailed;
  heif_image* image = nullptr;
  const heif_error made =
      heif_image_create(frame->width, frame->height, heif_colorspace_RGB, heif_chroma_444, &image);
  if (made.code != heif_error_Ok) return made;
  *result = image;
  constexpr std::array kChannels = {heif_channel_R, heif_channel_G, heif_channel_B};
  for (std::size_t plane = 0; plane < kChannels.size(); ++plane) {
    if (CopyPlane(image, kChannels[plane], *frame, plane)) continue;
    heif_image_release(image);
    *result = nullptr;
    return kFailed;
  }
  return kGood;
}

// The library keeps the address.
const heif_decoder_plugin kPlugin = {kPluginVersion, Name, nullptr,     nullptr,   Supports, Make,
                                     Free,           Push, DecodeImage, SetStrict, kId};

}  // namespace

const char* HevcDecoderId() {
  static const bool isTaken = heif_register_decoder_plugin(&kPlugin).code == heif_error_Ok;
  return isTaken ? kId : nullptr;
}
