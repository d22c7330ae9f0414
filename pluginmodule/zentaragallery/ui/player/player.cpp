#include "ui/player/player.h"

#include <filesystem>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "ui/player/playersession.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

namespace VideoPlayer {
namespace {

constexpr char kTag[] = "VideoPlayer::CanPlayVideo";

// Told apart from a path by its first letters, and never asked of the network: the film
// comes through a ContentStream.
constexpr char kStreamPrefix[] = "content:";

}  // namespace

bool CanPlayVideo(const GalleryFile::Ptr& file, std::string& url, bool& isLocal) {
  if (!file || !file->IsVideo()) return false;
  const auto path = platform::NativePath(file->LocalPath());
  std::error_code failed;
  if (!path.empty() && std::filesystem::is_regular_file(path, failed)) {
    LogInfo(kTag, "video local path(upload by self):");
    url = path.string();
    isLocal = true;
    return true;
  }
  const int generation = GlobalData::cloudGeneration;
  if (generation == GlobalData::kGenerationV1Eur) {
    LogInfo(kTag, "currCountryCode != CN and isV2 = false v1 ");
    return false;
  }
  // Whether the service gives it shows when the stream asks, on a thread that may wait.
  if (generation == GlobalData::kGenerationUnknown || file->IsLocalOnly()) return false;
  url = kStreamPrefix + file->UniqueId() + platform::WideToUtf8(platform::WideExtension(file->FileName()));
  isLocal = false;
  return true;
}

void PlayVideo(QWidget* owner, const GalleryFile::Ptr& file, RECT rect, CPlayControlUI* control) {
  PlayerSession::GetInstance().Play(owner, file, rect, control);
}

void StopVideo() { PlayerSession::GetInstance().Stop(); }

bool HasPlayer() { return PlayerSession::GetInstance().HasPlayer(); }

void DeleteVideoLoadWnd() { PlayerSession::GetInstance().DeleteLoadWnd(); }

void VLCWndOnSize(RECT rect) { PlayerSession::GetInstance().MoveTo(rect); }

void SetPlayState(CPlayControlUI* control) { PlayerSession::GetInstance().SetBar(control); }

}  // namespace VideoPlayer
