#include "ui/player/vlcplayer.h"

#include <QCoreApplication>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>

#include "common/platform/text.h"
#include "common/platform/thread.h"
#include "ui/player/vlclibrary.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

using platform::MutexLock;
using platform::WPARAM;

namespace {

constexpr char kTag[] = "VlcPlayer";
// Quiet, and nothing that a picture inside a page has no use for. Decoding by the
// graphics card would only be copied back, and its drivers write to standard error.
constexpr const char* kOptions[] = {"--quiet",    "--no-video-title-show", "--no-osd",
                                    "--no-stats", "--avcodec-hw=none",     "--no-metadata-network-access",
                                    "--no-lua"};

bool IsLocation(const std::string& path) {
  // "rstp" is the prefix that is agreed on.
  const auto begins = [&path](const char* prefix) { return path.starts_with(prefix); };
  return begins("http") || begins("https") || begins("ftp") || begins("rstp");
}

const VlcLibrary& Vlc() { return *VlcLibrary::Get(); }

// From where seeking takes a while libVLC's own reader of these files takes 15 seconds of
// a film without sound at once, and the picture stutters until they have come. Its other
// reader does not.
constexpr char kSteadyReader[] = ":demux=avformat,any";
constexpr const char* kReadAtOnce[] = {".mp4", ".m4v", ".mov", ".3gp", ".3g2"};

bool IsReadAtOnce(const std::string& path) {
  return std::ranges::any_of(kReadAtOnce, [lower = platform::AsciiLower(path)](const char* extension) {
    return lower.ends_with(extension);
  });
}

}  // namespace

// A film from its start to its release. `player` is set once it has started; the
// user-interface thread uses it only while it is its film, and it is released only
// after that.
struct VlcPlayer::Film {
  std::string path;
  std::shared_ptr<ContentStream> stream;
  std::atomic<platform::HWND> window{nullptr};
  WPARAM number = 0;
  std::atomic<int> volume{0};  // these two also before it has started
  std::atomic<float> rate{1};
  std::unique_ptr<VideoFrames> frames;
  std::atomic<libvlc_media_player_t*> player{nullptr};

  void Post(platform::UINT message) const { (void)platform::PostMessageW(window, message, number, 0); }
};

// What libVLC calls, on its threads.
struct VlcPlayer::Callbacks {
  static void OnEvent(const libvlc_event_t* event, void* data) {
    const Film& film = *static_cast<Film*>(data);
    switch (event->type) {
      case libvlc_MediaPlayerPlaying:
        return film.Post(WM_USER_PLAYING);
      case libvlc_MediaPlayerTimeChanged:
      case libvlc_MediaPlayerPositionChanged:
        return film.Post(WM_USER_POSITION);
      case libvlc_MediaPlayerEncounteredError:
        return film.Post(WM_USER_END_ERROR);
      default:
        // For libVLC a stream that fails in its middle has come to its end.
        return film.Post(film.stream && film.stream->Why() != ContentStream::Failure::None
                             ? WM_USER_END_ERROR
                             : WM_USER_END_REACHED);
    }
  }

  static int OpenStream(void* data, void** context, std::uint64_t* size) {
    *context = data;
    return static_cast<Film*>(data)->stream->Open(*size) ? 0 : -1;
  }
  static ssize_t ReadStream(void* data, unsigned char* buffer, std::size_t count) {
    return static_cast<Film*>(data)->stream->Read(buffer, count);
  }
  static int SeekStream(void* data, std::uint64_t offset) {
    return static_cast<Film*>(data)->stream->Seek(offset) ? 0 : -1;
  }
  static void CloseStream(void*) {}

  // The size that the file tells: the decoder's own may have rows that nobody is to see.
  static QSize SizeOf(libvlc_media_player_t* player) {
    libvlc_media_t* media = player ? Vlc().media_player_get_media(player) : nullptr;
    if (!media) return {};
    libvlc_media_track_t** tracks = nullptr;
    const unsigned count = Vlc().media_tracks_get(media, &tracks);
    QSize size;
    for (unsigned i = 0; i < count && size.isEmpty(); ++i) {
      if (tracks[i]->i_type != libvlc_track_video) continue;
      const libvlc_video_track_t& video = *tracks[i]->video;
      double width = video.i_width;
      if (video.i_sar_num > 0 && video.i_sar_den > 0) width = width * video.i_sar_num / video.i_sar_den;
      size = QSize(static_cast<int>(width + 0.5), static_cast<int>(video.i_height));
      if (video.i_orientation >= libvlc_video_orient_left_top) size.transpose();
    }
    Vlc().media_tracks_release(tracks, count);
    Vlc().media_release(media);
    return size;
  }

  static unsigned Setup(void** data, char* chroma, unsigned* width, unsigned* height, unsigned* pitches,
                        unsigned* lines) {
    Film& film = *static_cast<Film*>(*data);
    const QSize told = SizeOf(film.player);
    const QSize decoded(static_cast<int>(*width), static_cast<int>(*height));
    const QSize size = film.frames->Begin(told.isEmpty() ? decoded : told);
    if (size.isEmpty()) return 0;
    std::copy_n("RV32", 4, chroma);
    *width = static_cast<unsigned>(size.width());
    *height = static_cast<unsigned>(size.height());
    pitches[0] = static_cast<unsigned>(film.frames->Pitch());
    lines[0] = *height;
    return 1;
  }
  static void* Lock(void* data, void** planes) {
    planes[0] = static_cast<Film*>(data)->frames->Lock();
    return nullptr;
  }
  static void Display(void* data, void*) { static_cast<Film*>(data)->frames->Show(); }
};

VlcPlayer& VlcPlayer::GetInstance() {
  // Never destroyed: its thread ends with the application.
  static VlcPlayer* const player = [] {
    qAddPostRoutine([] { GetInstance().Shutdown(); });
    return new VlcPlayer;
  }();
  return *player;
}

bool VlcPlayer::HasLibrary() { return VlcLibrary::Get() != nullptr; }

WPARAM VlcPlayer::Play(const std::string& path, std::shared_ptr<ContentStream> stream, platform::HWND window,
                       QSize mostPixels) {
  Stop();
  const auto started = std::make_shared<Film>();
  started->path = path;
  started->stream = std::move(stream);
  started->window = window;
  started->number = ++number;
  started->volume = soundOn ? volume : 0;
  // The stream may outlive the film by a moment.
  if (started->stream)
    started->stream->whenWaiting = [weak = std::weak_ptr(started)](bool waits) {
      if (const auto of = weak.lock()) of->Post(waits ? kWaits : kGoesOn);
    };
  // The frames are a part of the film.
  started->frames =
      std::make_unique<VideoFrames>(mostPixels, [of = started.get()] { of->Post(kFrameReady); });
  rate = 1;
  film = started;
  MutexLock hold(lock);
  wanted = started;
  if (!thread.joinable()) thread = std::thread([this] { Run(); });
  changed.notify_all();
  return number;
}

void VlcPlayer::Stop() {
  if (!film) return;
  // A read that waits for the network would keep the film from ending.
  if (film->stream) film->stream->Stop();
  film.reset();
  MutexLock hold(lock);
  wanted.reset();
  changed.notify_all();
}

void VlcPlayer::SetWindow(platform::HWND window) {
  if (film) film->window = window;
}

void VlcPlayer::Shutdown() {
  Stop();
  {
    MutexLock hold(lock);
    ending = true;
    changed.notify_all();
  }
  if (thread.joinable()) thread.join();
  MutexLock hold(lock);
  ending = false;
}

// --- The player's thread

void VlcPlayer::Run() {
  platform::SetThreadName("film player");
  std::shared_ptr<Film> live;
  // Streams that still wait for the service: the next film does not wait for them.
  std::vector<std::future<void>> endings;
  for (bool goesOn = true; goesOn;) {
    std::shared_ptr<Film> next;
    {
      MutexLock hold(lock);
      while (wanted == live && !ending) changed.wait(lock);
      goesOn = !ending;
      next = goesOn ? wanted : nullptr;
    }
    if (live) {
      End(*live);
      std::erase_if(endings, [](const std::future<void>& ending) {
        return ending.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
      });
      endings.push_back(std::async(
          std::launch::async, [](std::shared_ptr<ContentStream> stream) { stream.reset(); },
          std::move(live->stream)));
    }
    live = next;
    if (live) Start(*live);
  }
  if (instance) Vlc().release(std::exchange(instance, nullptr));
}

void VlcPlayer::Start(Film& started) {
  const VlcLibrary& vlc = Vlc();
  if (!instance) {
    std::vector<const char*> options(std::begin(kOptions), std::end(kOptions));
    for (const std::string& option : moreOptions) options.push_back(option.c_str());
    instance = vlc.create(static_cast<int>(options.size()), options.data());
  }
  libvlc_media_t* media = nullptr;
  if (instance && started.stream) {
    media = vlc.media_new_callbacks(instance, Callbacks::OpenStream, Callbacks::ReadStream,
                                    Callbacks::SeekStream, Callbacks::CloseStream, &started);
    if (media && IsReadAtOnce(started.path)) vlc.media_add_option(media, kSteadyReader);
  } else if (instance) {
    media = (IsLocation(started.path) ? vlc.media_new_location : vlc.media_new_path)(instance,
                                                                                     started.path.c_str());
  }
  libvlc_media_player_t* player = media ? vlc.media_player_new_from_media(media) : nullptr;
  if (media) vlc.media_release(media);
  if (!player) {
    LogError(kTag, "the player library makes no player");
    return started.Post(WM_USER_END_ERROR);
  }
  vlc.video_set_callbacks(player, Callbacks::Lock, nullptr, Callbacks::Display, &started);
  vlc.video_set_format_callbacks(player, Callbacks::Setup, nullptr);
  // Before it plays, or the first ones would be missed.
  libvlc_event_manager_t* events = vlc.media_player_event_manager(player);
  for (const int event :
       {libvlc_MediaPlayerPlaying, libvlc_MediaPlayerEndReached, libvlc_MediaPlayerTimeChanged,
        libvlc_MediaPlayerPositionChanged, libvlc_MediaPlayerEncounteredError})
    (void)vlc.event_attach(events, event, Callbacks::OnEvent, &started);
  started.player = player;
  if (vlc.media_player_play(player) != 0) started.Post(WM_USER_END_ERROR);
  (void)vlc.audio_set_volume(player, started.volume);
  (void)vlc.media_player_set_rate(player, started.rate);
}

void VlcPlayer::End(Film& ended) {
  libvlc_media_player_t* player = ended.player.exchange(nullptr);
  if (!player) return;
  Vlc().media_player_stop(player);
  Vlc().media_player_release(player);
}

// --- The film that is shown

ContentStream::Failure VlcPlayer::StreamFailure() const {
  return film && film->stream ? film->stream->Why() : ContentStream::Failure::None;
}

QImage VlcPlayer::Picture() const { return film ? film->frames->Take() : QImage(); }

bool VlcPlayer::IsPlaying() const {
  return film && film->player && Vlc().media_player_is_playing(film->player) == 1;
}

void VlcPlayer::SetPause(bool pause) {
  if (film && film->player) Vlc().media_player_set_pause(film->player, pause ? 1 : 0);
}

float VlcPlayer::Position() const {
  return film && film->player ? std::max(0.0F, Vlc().media_player_get_position(film->player)) : 0;
}

void VlcPlayer::SetPosition(float fraction) {
  if (film && film->player) Vlc().media_player_set_position(film->player, std::clamp(fraction, 0.0F, 1.0F));
}

std::int64_t VlcPlayer::Time() const {
  return film && film->player ? std::max<std::int64_t>(0, Vlc().media_player_get_time(film->player)) : 0;
}

std::int64_t VlcPlayer::Length() const {
  return film && film->player ? std::max<std::int64_t>(0, Vlc().media_player_get_length(film->player)) : 0;
}

void VlcPlayer::SetRate(float value) {
  if (!film) return;
  film->rate = rate = value;
  if (film->player) (void)Vlc().media_player_set_rate(film->player, value);
}

// --- The sound

void VlcPlayer::SetVolume(int value) {
  soundOn = value > 0;
  if (soundOn) volume = std::min(value, 100);
  ApplySound();
}

void VlcPlayer::SetSoundOn(bool on) {
  soundOn = on;
  ApplySound();
}

void VlcPlayer::ApplySound() const {
  if (!film) return;
  film->volume = soundOn ? volume : 0;
  if (film->player) (void)Vlc().audio_set_volume(film->player, film->volume);
}
