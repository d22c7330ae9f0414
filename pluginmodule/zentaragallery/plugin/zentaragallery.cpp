// The module's entry point: the object with its windows.

#include <QPointer>

#include "common/toolkit/windowimplbase.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "ui/zentaragallery.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "zentaragalleryobj.h"

namespace {

constexpr int kNavigationWidth = 84;
constexpr int kEventCreate = 160;

class GalleryWithWindows : public ZentaraGalleryObj {
 public:
  ~GalleryWithWindows() override { delete page; }

  HWND CreateGalleryWnd(HWND parent, const GalleryRect& rect) override {
    delete page;
    page = new ZentaraGallery;
    auto* host = toolkit::WidgetOf(parent);
    const int bar = host ? host->Manager().Scale(kNavigationWidth) : kNavigationWidth;
    const QRect place(rect.left + bar, rect.top, rect.right - rect.left - bar, rect.bottom - rect.top);
    const HWND window = page->Create(parent, QStringLiteral("ZentaraGalleryWnd"), WindowStyle::Child, place);
    page->raise();
    Logger::OutputOperationLog(kEventCreate, 1, 0, {{"total", "0"}});
    return window;
  }

  // The rows of transfers are the host's: the window is the room that they stand in.
  HWND CreateGalleryTransferWnd(HWND parent, const GalleryRect& rect, const std::wstring& userId) override {
    if (!GlobalData::globalParam || userId != GlobalData::globalParam.load()->GetUserInfo().userId)
      return nullptr;
    const QRect place(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
    if (!transfers) {
      transfers = new WindowImplBaseEx;
      GlobalData::transferWnd =
          transfers->Create(parent, QStringLiteral("transferGallery"), WindowStyle::Child, place);
    } else {
      LogInfo("ZentaraGalleryObj", "g_pTransferManager is not empty");
    }
    transfers->setGeometry(place);
    transfers->show();
    return GlobalData::transferWnd;
  }

  void CloseWndClear() override {
    if (page) (void)platform::PostMessageW(page->GetHWND(), platform::WM_CLOSE, 0, 0);
    ZentaraGalleryObj::CloseWndClear();
    GlobalData::transferWnd = nullptr;
    delete transfers;
  }

 private:
  QPointer<ZentaraGallery> page;
  QPointer<WindowImplBaseEx> transfers;
};

}  // namespace

extern "C" ZentaraGalleryObj* CreateZentaraGalleryObj() { return new GalleryWithWindows; }
