#include "ui/player/player.h"

#include "ui/player/playcontrolui.h"

// TODO: nothing plays yet; every film is refused until then.
namespace VideoPlayer {

bool CanPlayVideo(const GalleryFile::Ptr&, std::string&, bool&) { return false; }
void PlayVideo(QWidget*, const GalleryFile::Ptr&, RECT, CPlayControlUI*) {}
void StopVideo() {}
bool HasPlayer() { return false; }
void DeleteVideoLoadWnd() {}
void VLCWndOnSize(RECT) {}
void SetPlayState(CPlayControlUI*) {}

}  // namespace VideoPlayer
