#pragma once

#include <json/json.h>

#include <string>
#include <unordered_map>

#include "common/platform/mutex.h"
#include "common/platform/window.h"
#include "model/binwatch.h"

// A rectangle of the host's window in device pixels.
struct GalleryRect {
  int left = 0, top = 0, right = 0, bottom = 0;
};

// The object through which a host drives the gallery. The host constructs it and
// calls it on its user-interface thread at fixed moments.
class ZentaraGalleryObj {
 public:
  ZentaraGalleryObj();
  virtual ~ZentaraGalleryObj();
  ZentaraGalleryObj(const ZentaraGalleryObj&) = delete;
  ZentaraGalleryObj& operator=(const ZentaraGalleryObj&) = delete;

  // Makes the gallery's page in `parent`, beside the host's navigation bar, and gives
  // its handle. May be called before InitWnd or after. Null here: the module of a
  // host with a screen gives an object that has windows.
  virtual HWND CreateGalleryWnd(HWND parent, const GalleryRect& rect);
  // Makes, or moves and shows, the transfer window for the logged-in user; null for
  // another user's id.
  virtual HWND CreateGalleryTransferWnd(HWND parent, const GalleryRect& rect, const std::wstring& userId);

  // Starts the data side: identity, service addresses, database, and a model with
  // two empty albums. Rows reach memory when the sync starts. Never fails in a
  // way the host sees; a database that cannot be opened leaves the gallery
  // without a store. May be called again for another user.
  virtual void InitWnd();

  // The newest files for the host's home page, at most 100: an array of objects
  // with "guid", "thumbPath" (the thumbnail folder), "createTime" (ms since 1970),
  // "localPath", "fileName", "fileType" (0 picture, 2 video, 1 burst cover),
  // "rotateAngle" (degrees) and "uniqueId". `empty` tells that there is nothing to
  // show. Any thread, any time after InitWnd.
  virtual Json::Value GetGalleryHomeData(bool& empty);

  // Ends what InitWnd started and leaves nothing of the user in memory; a log-out
  // calls it, before the session ends.
  virtual void CloseWndClear();

 private:
  std::unordered_map<std::string, std::string> requestHeaders;  // handed on to the header block
  platform::Mutex lock;
  BinWatch binWatch;
};

// The module exports CreateZentaraGalleryObj: a new object, owned by the caller.
using CreateZentaraGalleryObjFunction = ZentaraGalleryObj*();
