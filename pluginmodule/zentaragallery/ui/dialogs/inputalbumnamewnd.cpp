#include "ui/dialogs/inputalbumnamewnd.h"

#include "common/toolkit/edit.h"
#include "model/gallery.h"
#include "ui/pagecontext.h"
#include "utils/messages.h"

QString RefusedAlbumName(const QString& name) {
  std::wstring clean = Page::Wide(name);
  if (!Album::IsNameAllowed(clean) || !Album::CleanName(clean))
    return QStringLiteral("IDS_GALLERT_CREATE_ALBUM_FAIL");
  auto& gallery = Gallery::GetInstance();
  if (gallery.AlbumNameIsExist(clean) || gallery.IsReservedName(clean))
    return QStringLiteral("IDS_GALLERT_ALBUM_NAME_EXIST");
  return {};
}

void InputAlbumNameWnd::InitWindow() {
  WindowBusyBaseShadow::InitWindow();
  edit = Find<CEditUI>(QStringLiteral("edit_name"));
  if (auto* ok = FindControl(QStringLiteral("btn_ok"))) ok->SetEnabled(false);
  if (edit) edit->SetFocus();
}

void InputAlbumNameWnd::Refuse(const QString& key) {
  edit->SetError(!key.isEmpty());
  if (bubble) bubble->Dismiss();
  if (key.isEmpty()) return;
  bubble = Bubble::Show(*edit, key, BubbleKind::Error);
  Page::Post(WM_GALLERY_BUBBLE);
}

void InputAlbumNameWnd::OnTextChanged() {
  const QString name = edit->GetText();
  const QString refused = name.trimmed().isEmpty() ? QString() : RefusedAlbumName(name);
  Refuse(refused);
  if (auto* ok = FindControl(QStringLiteral("btn_ok")))
    ok->SetEnabled(refused.isEmpty() && !name.trimmed().isEmpty());
}

void InputAlbumNameWnd::OnOk() {
  const QString refused = RefusedAlbumName(edit->GetText());
  if (!refused.isEmpty()) return Refuse(refused);
  if (std::exchange(making, true)) return;
  Page::InBackground(
      this,
      [name = Page::Wide(edit->GetText())] { return Gallery::GetInstance().CreateAlbum(name, false, -1); },
      [this](const Album::Ptr& album) { OnMade(album); });
}

void InputAlbumNameWnd::OnMade(const Album::Ptr& album) {
  making = false;
  if (!album) return Refuse(QStringLiteral("IDS_GALLERT_CREATE_ALBUM_FAIL"));
  made = album;
  Page::Post(WM_GALLERY_ALBUM_ADDED);
  Close(IDOK);
}

void InputAlbumNameWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (!edit || !message.pSender) return;
  if (message.sType == QStringLiteral("textchanged")) return OnTextChanged();
  if (message.sType == QStringLiteral("return")) return OnOk();
  if (message.sType != QStringLiteral("click")) return;
  if (message.pSender->GetName() == QStringLiteral("btn_ok")) return OnOk();
  Close(IDCANCEL);
}
