#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

// Owners of the video library's objects.
struct FreeAv {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
template <typename Object>
using AvOwner = std::unique_ptr<Object, FreeAv>;

// Broken files are ordinary input; the library would print a line for each fault.
inline void SilenceVideoLibrary() {
  static const bool done = (av_log_set_level(AV_LOG_QUIET), true);
  (void)done;
}
