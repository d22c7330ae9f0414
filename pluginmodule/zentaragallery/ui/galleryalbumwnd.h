#pragma once

#include <QPointer>
#include <map>
#include <string>
#include <vector>

#include "common/duilib_business/windowbusybase.h"
#include "common/toolkit/button.h"
#include "common/toolkit/edit.h"
#include "model/gallery.h"

class ZentaraGallery;

// The left column: system albums above, the user's below, and the bin at the foot. Sends
// the chosen album to the main window; makes, renames and deletes albums.
// User-interface thread.
class CGalleryAlbumWnd : public WindowImplBaseEx {
 public:
  explicit CGalleryAlbumWnd(ZentaraGallery& page);
  ~CGalleryAlbumWnd() override;

  QString GetSkinFile() override { return QStringLiteral("Gallery/GalleryAlbum.xml"); }
  const char* GetWindowClassName() const override { return "CGalleryAlbumWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;
  bool OnKey(TEventUI& event) override;

  // The user's albums as they are now; the choice stays, or goes to "Pictures" when
  // its album is gone.
  void Reload();
  // Chooses an album by id and opens it.
  void SelectAlbum(const std::string& id);
  const std::string& SelectedId() const { return selectedId; }

  // The album under a point of the page's window, and its name; null without one. The
  // mark is drawn on it.
  Album::Ptr AlbumAtPoint(QPoint global, QString& name);
  void ClearDragMark();
  // An album of the user, made on a worker and opened then.
  void Make(const QString& name);

 private:
  void ClickAlbumBtn(CButtonUI& button);
  void OpenAlbum(const std::string& id, bool keepPage);
  void Mark(const std::string& id);
  void ReSelectCurrentAlbum();
  void OnAddAlbum();
  void OnUpdataAlbum(const QString& name);
  void OnDeleteAlbum();
  void SetEnableCreateEdit();
  void SetEnableReNameEdit(CButtonUI& button);
  void SetShowReNameEdit(CButtonUI& button, const Album& album);
  // True when the key was the panel's.
  bool OnKeyDown(int key, CButtonUI* button);
  void OnGetAlbumThumb(CButtonUI& button, const Album::Ptr& album);
  void WhenChangeHideDataReLoadGalleryFiles();
  void OnForwarded(WPARAM word);
  void LogHeights() const;
  void EndEdit();
  void TryName();
  void RefuseName(const QString& key);
  void FillCustom();
  void ShowMore(bool shown);
  CButtonUI* ButtonOf(const std::string& id) const;
  std::string IdOf(const CButtonUI& button) const;
  Album::Ptr AlbumOfKind(AlbumKind kind) const;
  Album::Ptr FindAlbum(const std::string& id) const;

  ZentaraGallery& page;
  std::string selectedId;
  std::string menuId;  // of the album whose menu is open
  std::string renameId;
  std::map<CButtonUI*, std::string> custom;
  QPointer<CButtonUI> dragMark;
  CEditUI* edit = nullptr;
  QPointer<Bubble> bubble;
  bool more = false;
  bool dataHidden = false;
  bool ending = false;
  bool saving = false;  // a name is on its way to the database
};
