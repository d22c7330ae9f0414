#include <dlfcn.h>

#include "ui/player/vlclibrary.h"

namespace {

template <typename Function>
bool Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

void SayNothing(const char*, int, const char*, int, const char*, ...) {}

// Without a sound device the sound library writes a page to standard error for every
// frame that it cannot play.
void KeepSoundLibraryQuiet() {
  void* sound = dlopen("libasound.so.2", RTLD_NOW | RTLD_LOCAL);
  int (*setHandler)(decltype(&SayNothing)) = nullptr;
  if (!sound || !Find(sound, "snd_lib_error_set_handler", setHandler)) return;
  (void)setHandler(&SayNothing);
}

}  // namespace

std::unique_ptr<VlcLibrary> VlcLibrary::Load(const char* name) {
  // Never unloaded: it keeps objects of the whole process.
  void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  if (!library) return nullptr;
  auto loaded = std::make_unique<VlcLibrary>();
  bool complete = Find(library, "libvlc_new", loaded->create);
#define VLC_FIND(function) complete = Find(library, "libvlc_" #function, loaded->function) && complete
  VLC_FIND(release);
  VLC_FIND(media_new_location);
  VLC_FIND(media_new_path);
  VLC_FIND(media_new_callbacks);
  VLC_FIND(media_add_option);
  VLC_FIND(media_release);
  VLC_FIND(media_tracks_get);
  VLC_FIND(media_tracks_release);
  VLC_FIND(media_player_new_from_media);
  VLC_FIND(media_player_release);
  VLC_FIND(media_player_get_media);
  VLC_FIND(media_player_play);
  VLC_FIND(media_player_set_pause);
  VLC_FIND(media_player_stop);
  VLC_FIND(media_player_is_playing);
  VLC_FIND(media_player_get_position);
  VLC_FIND(media_player_set_position);
  VLC_FIND(media_player_get_time);
  VLC_FIND(media_player_get_length);
  VLC_FIND(media_player_set_rate);
  VLC_FIND(media_player_get_rate);
  VLC_FIND(media_player_event_manager);
  VLC_FIND(event_attach);
  VLC_FIND(audio_set_volume);
  VLC_FIND(audio_get_volume);
  VLC_FIND(video_set_callbacks);
  VLC_FIND(video_set_format_callbacks);
#undef VLC_FIND
  if (!complete) return nullptr;
  KeepSoundLibraryQuiet();
  return loaded;
}

const VlcLibrary* VlcLibrary::Get() {
  static const std::unique_ptr<VlcLibrary> library = Load(soName);
  return library.get();
}
