#pragma once

#include <map>
#include <string>
#include <vector>

#include "model/records/galleryfile.h"

// What the viewer and its full screen walk through: the files of the current album, or
// the shots of one burst. One list for both windows. User-interface thread.
namespace ViewerList {

using File = GalleryFile::Ptr;

// The shots of the burst that is looked into, by their number, its cover among them;
// empty outside.
const std::vector<File>& Burst();
// False, and the list empty, for what is no burst of two shots or more.
bool EnterBurst(const File& parent);
void LeaveBurst();
bool InBurst();
// The cover of that burst.
const File& BurstParent();
// Shots that went are taken out; false when that leaves an ordinary picture.
bool RefreshBurst();

int Count();
int IndexOf(const File& file);  // -1
File At(int index);             // or null

// The turns that the user has given to a file since the program began, in degrees.
int RotationOf(const File& file);
void SetRotation(const File& file, int degrees);

// Out of the burst, and no turns: another gallery is shown.
void Clear();

}  // namespace ViewerList
