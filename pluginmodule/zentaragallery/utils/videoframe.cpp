#include "utils/videoframe.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "utils/avowners.h"
#include "utils/decodelimits.h"

extern "C" {
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
}

namespace {

// The containers of the video extensions. Others could make the library open
// further files and addresses that a list inside of the file names.
constexpr char kContainers[] = "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,avi,asf";
constexpr char kProtocols[] = "file";

constexpr std::int64_t kPosterAtMicroseconds = 1'000'000;
constexpr auto kPatience = std::chrono::seconds(20);
// Some 30 s of a video in which no picture can be decoded.
constexpr int kMaxPackets = 2000;

using Deadline = std::chrono::steady_clock::time_point;

int IsPastDeadline(void* deadline) {
  return std::chrono::steady_clock::now() > *static_cast<const Deadline*>(deadline) ? 1 : 0;
}

AvOwner<AVFormatContext> OpenContainer(const std::filesystem::path& path, Deadline& deadline) {
  AVFormatContext* context = avformat_alloc_context();
  if (!context) return nullptr;
  context->interrupt_callback = {IsPastDeadline, &deadline};
  av_opt_set(context, "format_whitelist", kContainers, 0);
  av_opt_set(context, "protocol_whitelist", kProtocols, 0);
  // The prefix keeps a name such as "concat:a" from being taken for a protocol.
  const std::string url = "file:" + path.string();
  if (avformat_open_input(&context, url.c_str(), nullptr, nullptr) < 0) return nullptr;
  AvOwner<AVFormatContext> owner(context);
  return avformat_find_stream_info(context, nullptr) < 0 ? nullptr : std::move(owner);
}

AvOwner<AVCodecContext> OpenDecoder(const AVCodec* codec, const AVCodecParameters* parameters) {
  AvOwner<AVCodecContext> decoder(avcodec_alloc_context3(codec));
  if (!decoder) return nullptr;
  decoder->thread_count = 1;
  decoder->max_pixels = kMaxPixels;
  if (parameters && avcodec_parameters_to_context(decoder.get(), parameters) < 0) return nullptr;
  return avcodec_open2(decoder.get(), codec, nullptr) < 0 ? nullptr : std::move(decoder);
}

std::optional<RgbPicture> ToRgb(const AVFrame& frame, std::string& cause) {
  cause = "picture too large";
  if (!MemoryAllowed(frame.width, frame.height, 4)) return std::nullopt;
  cause = "convert picture";
  const AvOwner<SwsContext> converter(
      sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
                     frame.height, AV_PIX_FMT_RGB24, SWS_BILINEAR, nullptr, nullptr, nullptr));
  if (!converter) return std::nullopt;
  RgbPicture picture;
  picture.width = frame.width;
  picture.height = frame.height;
  const int stride = frame.width * 3;
  // The converter's vector code may write a few bytes beyond the last line.
  picture.pixels.resize(static_cast<std::size_t>(stride) * static_cast<std::size_t>(frame.height) + 64);
  std::uint8_t* const lines[] = {picture.pixels.data()};
  const int done = sws_scale(converter.get(), frame.data, frame.linesize, 0, frame.height, lines, &stride);
  return done == frame.height ? std::optional(std::move(picture)) : std::nullopt;
}

// The container's matrix tells how the phone was held.
int RotationOf(const AVStream& stream) {
  const std::uint8_t* matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
  if (!matrix) return 0;
  const double counterClockwise = av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix));
  if (std::isnan(counterClockwise)) return 0;
  const int quarters = static_cast<int>(std::lround(-counterClockwise / 90)) % 4;
  return (quarters + 4) % 4 * 90;
}

class PosterReader {
 public:
  PosterReader(AVFormatContext& opened, AVCodecContext& decoderOfStream, int videoStream)
      : container(opened), decoder(decoderOfStream), stream(videoStream) {}

  // The next picture from where the container stands; null at its end.
  AVFrame* Next() {
    if (!packet || !frame) return nullptr;
    for (int packets = 0; packets < kMaxPackets; ++packets) {
      if (av_read_frame(&container, packet.get()) < 0) return Drain();
      const bool ours = packet->stream_index == stream;
      // A broken packet is no reason to stop: the next key frame may be whole.
      if (ours) (void)avcodec_send_packet(&decoder, packet.get());
      av_packet_unref(packet.get());
      if (ours && avcodec_receive_frame(&decoder, frame.get()) == 0) return frame.get();
    }
    return nullptr;
  }

  void Seek(std::int64_t microseconds) {
    (void)avformat_seek_file(&container, -1, INT64_MIN, microseconds, INT64_MAX, 0);
    avcodec_flush_buffers(&decoder);
  }

 private:
  AVFrame* Drain() {
    (void)avcodec_send_packet(&decoder, nullptr);
    return avcodec_receive_frame(&decoder, frame.get()) == 0 ? frame.get() : nullptr;
  }

  AVFormatContext& container;
  AVCodecContext& decoder;
  int stream;
  AvOwner<AVPacket> packet{av_packet_alloc()};
  AvOwner<AVFrame> frame{av_frame_alloc()};
};

}  // namespace

std::optional<RgbPicture> DecodePoster(const std::filesystem::path& path, std::string& cause) {
  SilenceVideoLibrary();
  Deadline deadline = std::chrono::steady_clock::now() + kPatience;
  cause = "open video";
  const auto container = OpenContainer(path, deadline);
  if (!container) return std::nullopt;
  const AVCodec* codec = nullptr;
  cause = "find video stream";
  const int stream = av_find_best_stream(container.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  if (stream < 0 || !codec) return std::nullopt;
  cause = "open video decoder";
  const auto decoder = OpenDecoder(codec, container->streams[stream]->codecpar);
  if (!decoder) return std::nullopt;

  PosterReader reader(*container, *decoder, stream);
  if (container->duration > kPosterAtMicroseconds) reader.Seek(kPosterAtMicroseconds);
  const AVFrame* frame = reader.Next();
  if (!frame) {
    reader.Seek(0);
    frame = reader.Next();
  }
  cause = "decode video";
  if (!frame) return std::nullopt;
  auto picture = ToRgb(*frame, cause);
  if (picture) picture->rotation = RotationOf(*container->streams[stream]);
  return picture;
}
