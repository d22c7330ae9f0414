#pragma once

#include <vlc/vlc.h>

#include <memory>

// libVLC's functions under their names without "libvlc_". Loaded at run time, so that
// the gallery starts without the library.
struct VlcLibrary {
  // The library of this process, loaded at the first call; null when it is not there.
  static const VlcLibrary* Get();
  // What Get looks for; a test names another one.
  static inline const char* soName = "libvlc.so.5";
  // Null when there is no library of that name or it lacks a function.
  static std::unique_ptr<VlcLibrary> Load(const char* name);

  decltype(&libvlc_new) create = nullptr;  // "new" is taken
  decltype(&libvlc_release) release = nullptr;
  decltype(&libvlc_media_new_location) media_new_location = nullptr;
  decltype(&libvlc_media_new_path) media_new_path = nullptr;
  decltype(&libvlc_media_new_callbacks) media_new_callbacks = nullptr;
  decltype(&libvlc_media_add_option) media_add_option = nullptr;
  decltype(&libvlc_media_release) media_release = nullptr;
  decltype(&libvlc_media_tracks_get) media_tracks_get = nullptr;
  decltype(&libvlc_media_tracks_release) media_tracks_release = nullptr;
  decltype(&libvlc_media_player_new_from_media) media_player_new_from_media = nullptr;
  decltype(&libvlc_media_player_release) media_player_release = nullptr;
  decltype(&libvlc_media_player_get_media) media_player_get_media = nullptr;
  decltype(&libvlc_media_player_play) media_player_play = nullptr;
  decltype(&libvlc_media_player_set_pause) media_player_set_pause = nullptr;
  decltype(&libvlc_media_player_stop) media_player_stop = nullptr;
  decltype(&libvlc_media_player_is_playing) media_player_is_playing = nullptr;
  decltype(&libvlc_media_player_get_position) media_player_get_position = nullptr;
  decltype(&libvlc_media_player_set_position) media_player_set_position = nullptr;
  decltype(&libvlc_media_player_get_time) media_player_get_time = nullptr;
  decltype(&libvlc_media_player_get_length) media_player_get_length = nullptr;
  decltype(&libvlc_media_player_set_rate) media_player_set_rate = nullptr;
  decltype(&libvlc_media_player_get_rate) media_player_get_rate = nullptr;
  decltype(&libvlc_media_player_event_manager) media_player_event_manager = nullptr;
  decltype(&libvlc_event_attach) event_attach = nullptr;
  decltype(&libvlc_audio_set_volume) audio_set_volume = nullptr;
  decltype(&libvlc_audio_get_volume) audio_get_volume = nullptr;
  decltype(&libvlc_video_set_callbacks) video_set_callbacks = nullptr;
  decltype(&libvlc_video_set_format_callbacks) video_set_format_callbacks = nullptr;
};
