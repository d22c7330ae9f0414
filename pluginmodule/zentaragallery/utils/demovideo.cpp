#include "utils/demovideo.h"

#include "utils/demolandscape.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 360;
constexpr int kFramesPerSecond = 25;
constexpr int kFrames = 2 * kFramesPerSecond;
constexpr int kBitsPerSecond = 1'500'000;

struct FreeAv {
  void operator()(AVFormatContext* context) const {
    if (context->pb) avio_closep(&context->pb);
    avformat_free_context(context);
  }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
template <typename Object>
using AvOwner = std::unique_ptr<Object, FreeAv>;

class VideoWriter {
 public:
  bool Open(const std::filesystem::path& path) {
    const std::string url = "file:" + path.string();
    AVFormatContext* made = nullptr;
    if (avformat_alloc_output_context2(&made, nullptr, "mp4", url.c_str()) < 0) return false;
    container.reset(made);
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    stream = avformat_new_stream(container.get(), nullptr);
    encoder.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!stream || !encoder || !OpenEncoder(*codec) || !PrepareFrame()) return false;
    return avio_open(&container->pb, url.c_str(), AVIO_FLAG_WRITE) >= 0 &&
           avformat_write_header(container.get(), nullptr) >= 0;
  }

  bool Write(const std::vector<std::uint8_t>& rgb) {
    if (av_frame_make_writable(frame.get()) < 0) return false;
    const std::uint8_t* const lines[] = {rgb.data()};
    const int stride = kWidth * 3;
    sws_scale(converter.get(), lines, &stride, 0, kHeight, frame->data, frame->linesize);
    frame->pts = written++;
    return Encode(frame.get());
  }

  bool Finish() { return Encode(nullptr) && av_write_trailer(container.get()) >= 0; }

 private:
  bool OpenEncoder(const AVCodec& codec) {
    encoder->width = kWidth;
    encoder->height = kHeight;
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->time_base = {1, kFramesPerSecond};
    encoder->framerate = {kFramesPerSecond, 1};
    encoder->bit_rate = kBitsPerSecond;
    encoder->gop_size = kFramesPerSecond;
    encoder->thread_count = 1;
    if (container->oformat->flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    stream->time_base = encoder->time_base;
    stream->avg_frame_rate = encoder->framerate;
    return avcodec_open2(encoder.get(), &codec, nullptr) >= 0 &&
           avcodec_parameters_from_context(stream->codecpar, encoder.get()) >= 0;
  }

  bool PrepareFrame() {
    converter.reset(sws_getContext(kWidth, kHeight, AV_PIX_FMT_RGB24, kWidth, kHeight, AV_PIX_FMT_YUV420P,
                                   SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!converter || !frame || !packet) return false;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = kWidth;
    frame->height = kHeight;
    return av_frame_get_buffer(frame.get(), 0) >= 0;
  }

  // A null picture asks for what the encoder still holds.
  bool Encode(const AVFrame* picture) {
    if (avcodec_send_frame(encoder.get(), picture) < 0) return false;
    while (avcodec_receive_packet(encoder.get(), packet.get()) >= 0) {
      packet->duration = 1;
      av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
      packet->stream_index = stream->index;
      if (av_interleaved_write_frame(container.get(), packet.get()) < 0) return false;
    }
    return true;
  }

  AvOwner<AVFormatContext> container;
  AvOwner<AVCodecContext> encoder;
  AvOwner<SwsContext> converter;
  AvOwner<AVFrame> frame{av_frame_alloc()};
  AvOwner<AVPacket> packet{av_packet_alloc()};
  AVStream* stream = nullptr;  // owned by the container
  std::int64_t written = 0;
};

}  // namespace

bool WriteDemoVideo(const std::filesystem::path& path) {
  VideoWriter writer;
  if (!writer.Open(path)) return false;
  Landscape landscape{Landscape::Mood::Sunset, 41, 0, true};
  for (int frame = 0; frame < kFrames; ++frame) {
    landscape.sunX = 0.2 + 0.6 * frame / kFrames;
    if (!writer.Write(DrawLandscape(landscape, kWidth, kHeight))) return false;
  }
  return writer.Finish();
}
