#pragma once

#include <QSize>
#include <condition_variable>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "common/platform/mutex.h"
#include "common/platform/window.h"
#include "transfer/stream/contentstream.h"
#include "ui/player/videoframes.h"

struct libvlc_instance_t;

// One film of libVLC at a time.
//
// All operations belong to the user-interface thread and wait for nothing. A thread of
// its own, "film player", starts and ends the films, one after the other, since both
// take a moment; of several that follow each other quickly only the last one starts.
// libVLC's own threads post to the window that was given, with the film's number as the
// word, so that a message of a former film can be told from those of this one.
class VlcPlayer {
 public:
  // Posted for a new picture, beside WM_USER_PLAYING and the others.
  static constexpr platform::UINT kFrameReady = platform::WM_USER + 1;
  // The film waits for bytes of the cloud; it has them.
  static constexpr platform::UINT kWaits = platform::WM_USER + 2, kGoesOn = platform::WM_USER + 3;

  static VlcPlayer& GetInstance();
  // Whether the library is there.
  static bool HasLibrary();

  // Plays `path`: a file, or an address that begins with "http", "https", "ftp" or
  // "rstp"; or `stream`, when there is one: of `path` only the extension counts then.
  // `window` gets the messages. Ends the former film. Returns the film's number.
  platform::WPARAM Play(const std::string& path, std::shared_ptr<ContentStream> stream, platform::HWND window,
                        QSize mostPixels);
  void Stop();
  // The window that gets the film's messages from now on.
  void SetWindow(platform::HWND window);
  bool HasFilm() const { return film != nullptr; }
  platform::WPARAM Number() const { return number; }
  // Of the film; None without a stream.
  ContentStream::Failure StreamFailure() const;
  QImage Picture() const;

  bool IsPlaying() const;
  void SetPause(bool pause);
  // 0 to 1; milliseconds. 0 before the film has started.
  float Position() const;
  void SetPosition(float fraction);
  std::int64_t Time() const;
  std::int64_t Length() const;
  // 1 for each new film.
  float Rate() const { return rate; }
  void SetRate(float value);

  // 0 to 100; kept from film to film.
  int Volume() const { return volume; }
  bool IsSoundOn() const { return soundOn; }
  // Also turns the sound on; 0 turns it off and leaves the volume.
  void SetVolume(int value);
  void SetSoundOn(bool on);

  // Ends the film and the thread; the next Play starts anew. At the end of the program.
  void Shutdown();

  // Further options of the library; before the first Play.
  static inline std::vector<std::string> moreOptions;

 private:
  struct Film;
  struct Callbacks;

  void Run();
  void Start(Film& started);
  static void End(Film& ended);
  void ApplySound() const;

  std::shared_ptr<Film> film;  // the user-interface thread's
  platform::WPARAM number = 0;
  int volume = 70;
  bool soundOn = true;
  float rate = 1;

  platform::Mutex lock;
  std::condition_variable_any changed;
  std::shared_ptr<Film> wanted GUARDED_BY(lock);
  bool ending GUARDED_BY(lock) = false;
  libvlc_instance_t* instance = nullptr;  // of the player's thread
  std::thread thread;
};
