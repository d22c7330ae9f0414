#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "model/records/album.h"

// Rules of the page that need no window: which tool buttons work, which words the
// status line and the titles take.
namespace PageRules {

// Functions of the client that an account may lack (GlobalParamWrapper).
inline constexpr int kFunctionUpload = 4;
inline constexpr int kFunctionDelete = 7;
inline constexpr int kFunctionRemove = 8;
inline constexpr int kFunctionRestore = 9;
inline constexpr int kFunctionMove = 10;

// Whether the account may not use a function.
bool IsActionForbidden(int function);

// Album types whose pictures may be dragged and moved: a mask over the type.
bool IsMovableType(AlbumKind kind);

enum class ToolbarState : int {
  Nothing = 0,      // nothing is selected
  Selected = 1,     // files are selected
  Viewer = 2,       // the viewer shows a picture
  BurstMember = 3,  // the viewer shows a shot of a burst
  LocalItem = 4,    // a picture that is not in the cloud yet
  Video = 5,        // a video plays
};

// What a state does to each button: nothing leaves it as it is.
struct Toolbar {
  std::optional<bool> upload, download, move, remove;  // `remove` is "btn_delete"
  std::optional<bool> reply, removeForGood;            // those of the bin
};
struct Rights {
  bool upload = true, move = true, remove = true, removeForGood = true, restore = true;
  static Rights OfAccount();
};
Toolbar ToolbarFor(ToolbarState state, AlbumKind album, bool hasViewer, const Rights& rights);

// Words of the status line: a key, or a key whose plural form takes `count`.
struct StatusText {
  std::string key = {};  // empty: no words
  std::optional<std::int64_t> count = {};
  bool isTime = false;  // the key takes hour and minute of the last update
  bool isStorageFull = false;
  bool hidden = false;
  bool ring = false;
  bool reload = false;  // the view is to be read anew
  bool operator==(const StatusText&) const = default;
};
// State 7 is no text and is the caller's. `secondsSinceUpdate` is negative while
// there was no update.
StatusText StatusFor(int state, std::int64_t count, bool enoughSpace, std::int64_t secondsSinceUpdate);
StatusText LastUpdateText(std::int64_t secondsSinceUpdate);

// Days left in the bin of a file that was recycled at `recycleTimeMs`: the number, and
// whether there is a text for it.
struct DaysLeft {
  std::int64_t days = 0;
  bool hasText = false;
  bool operator==(const DaysLeft&) const = default;
};
DaysLeft GetRecycleDaysLeft(std::int64_t recycleTimeMs, std::int64_t nowSeconds);
// Fewer than four days are said in the colour of danger; below one counts as one.
bool IsUrgent(const DaysLeft& left);

// A prefix of a date as a user types it, "2019" or "2019-03" or "2019-03-14": seconds
// at the local midnight behind its last day, so that the first group that is older is
// the newest of that time. Nothing for anything else.
std::optional<std::int64_t> EndOfTypedDate(const std::string& typed);

// Keeps the first `limit` paths of all groups together; true when some had to go.
using PathGroups = std::map<std::wstring, std::vector<std::wstring>>;
bool KeepFirst(PathGroups& groups, std::size_t limit);

}  // namespace PageRules
