#pragma once

#include <QPointer>

#include "common/duilib_business/windowbusybaseshadow.h"
#include "model/records/album.h"

class CEditUI;

// Words for a name that cannot be given to an album, or an empty key for a good one.
QString RefusedAlbumName(const QString& name);

// Asks for the name of a new album and makes it, "CInputAlbumNameWnd".
class InputAlbumNameWnd : public WindowBusyBaseShadow {
 public:
  QString GetSkinFile() override { return QStringLiteral("Gallery/MovePic/InputAlbumName.xml"); }
  const char* GetWindowClassName() const override { return "CInputAlbumNameWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

  // The album, behind IDOK.
  const Album::Ptr& Made() const { return made; }

 private:
  void OnTextChanged();
  void OnOk();
  void OnMade(const Album::Ptr& album);
  void Refuse(const QString& key);

  CEditUI* edit = nullptr;
  QPointer<Bubble> bubble;
  Album::Ptr made;
  bool making = false;
};
