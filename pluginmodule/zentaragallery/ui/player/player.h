#pragma once

#include <QRect>
#include <string>

#include "model/records/galleryfile.h"

class CPlayControlUI;
class QWidget;

// A place in a window, in its pixels.
using RECT = QRect;

// The player of the film that the viewer shows. One film at a time; user-interface
// thread only.
namespace VideoPlayer {

// What Play takes for `file`, without a wait for the network: the path of a film that
// is on this computer, else the address of a stream, which ends as the film's name does.
// False for no film, and for one that neither this computer nor the service can give.
bool CanPlayVideo(const GalleryFile::Ptr& file, std::string& url, bool& isLocal);

// Starts `file` over `rect`, in pixels of `owner`; `control` is the bar that shows its
// state. What cannot be played is said in a bubble over `owner`, and the still stays.
//
// The picture becomes a child of `owner`, over its first child (the still) and under
// the others (arrows, bars).
void PlayVideo(QWidget* owner, const GalleryFile::Ptr& file, RECT rect, CPlayControlUI* control);

// Stops, releases, hides. Does nothing without a film.
void StopVideo();

// Whether there is a player for the shown film: playing, paused or loading.
bool HasPlayer();

void DeleteVideoLoadWnd();

// Moves the picture and the load window within their owner.
void VLCWndOnSize(RECT rect);

// From now on `control` shows the film's state and gives its commands; the picture
// moves into the window around it, into the control there that has the name of the
// owner. Null takes the bar away: the film plays on.
void SetPlayState(CPlayControlUI* control);

}  // namespace VideoPlayer
