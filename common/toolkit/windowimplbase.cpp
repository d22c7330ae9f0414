#include "common/toolkit/windowimplbase.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QEventLoop>
#include <QHash>
#include <QKeyEvent>
#include <QPainter>
#include <QSet>
#include <QVBoxLayout>
#include <QWindow>

#include "common/toolkit/overlays.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"

using namespace toolkit;

namespace {

QHash<HWND, WindowImplBaseEx*>& Windows() {
  static QHash<HWND, WindowImplBaseEx*> windows;
  return windows;
}

// All that live, created or not. Scale and manager are asked for along the whole chain of
// parents many times in each painting: looking here costs a fraction of a cast.
QSet<const QWidget*>& Alive() {
  static QSet<const QWidget*> windows;
  return windows;
}

constexpr int kDialogRadius = 16, kPopupRadius = 12;

int ShadowLevel(WindowStyle style) { return style == WindowStyle::Dialog ? 3 : 2; }

}  // namespace

namespace toolkit {

WindowImplBaseEx* WidgetOf(HWND handle) { return Windows().value(handle); }

const WindowImplBaseEx* WindowAround(const QWidget* widget) {
  while (widget && !Alive().contains(widget)) widget = widget->parentWidget();
  return static_cast<const WindowImplBaseEx*>(widget);
}

}  // namespace toolkit

WindowImplBaseEx::WindowImplBaseEx() : manager(*this) {
  Alive().insert(this);
  const auto restyle = [this] { manager.Restyle(); };
  connect(&Theme::Instance(), &Theme::changed, this, restyle);
  connect(&CResourceManager::GetInstance(), &CResourceManager::languageChanged, this, [this, restyle] {
    restyle();
    // For words that a window has put together itself.
    QEvent change(QEvent::LanguageChange);
    QCoreApplication::sendEvent(this, &change);
  });
}

WindowImplBaseEx::~WindowImplBaseEx() {
  CloseInside();
  Unregister();
  if (modal) modal->quit();
  Alive().remove(this);
}

HWND WindowImplBaseEx::Create(HWND parent, const QString& name, WindowStyle style, const QRect& rect) {
  return Create(WidgetOf(parent), name, style, rect);
}

HWND WindowImplBaseEx::Create(QWidget* parent, const QString& name, WindowStyle style, const QRect& rect) {
  windowStyle = style;
  const bool overlay = style == WindowStyle::Dialog || style == WindowStyle::Popup;
  QWidget* const holder = overlay && parent ? parent->window() : parent;
  setParent(holder, holder && style != WindowStyle::Frame ? Qt::Widget : Qt::Window);
  setObjectName(name);
  if (style == WindowStyle::Frame) setWindowTitle(CResourceManager::GetText(name));
  manager.SetDPI(holder && !isWindow() ? ScaleOf(holder) * 96 / 100 : ScreenDpi(this));
  if (!BuildSkin()) return nullptr;
  closing = false;
  Register();
  if (overlay && holder)
    shadow =
        new ShadowUI(*this, style == WindowStyle::Dialog ? kDialogRadius : kPopupRadius, ShadowLevel(style));
  rect.isEmpty() ? adjustSize() : setGeometry(rect);
  if (rect.isEmpty() && overlay) CenterWindow();
  InitWindow();
  manager.SendNotify(manager.GetRoot(), "windowinit");
  return GetHWND();
}

bool WindowImplBaseEx::BuildSkin() {
  CControlUI* const root = BuildRoot();
  if (!root) return GetSkinFile().isEmpty();
  const auto box = new QVBoxLayout(this);
  box->setContentsMargins(0, 0, 0, 0);
  box->addWidget(root->Widget());
  manager.AttachRoot(root);
  root->Init();
  return true;
}

CControlUI* WindowImplBaseEx::BuildRoot() {
  return GetSkinFile().isEmpty() ? nullptr : CDialogBuilder().Create(GetSkinFile(), this, this);
}

void WindowImplBaseEx::Register() {
  if (GetHWND()) return;
  const HWND handle = platform::RegisterWindow(
      [this](UINT message, WPARAM word, LPARAM value) { return Dispatch(message, word, value); },
      toolkit::RunLater);
  manager.SetPaintWindow(handle);
  Windows().insert(handle, this);
}

void WindowImplBaseEx::Unregister() {
  const HWND handle = GetHWND();
  if (!handle) return;
  platform::UnregisterWindow(handle);
  Windows().remove(handle);
  manager.SetPaintWindow(nullptr);
}

LRESULT WindowImplBaseEx::Dispatch(UINT uMsg, WPARAM wParam, LPARAM lParam) {
  bool handled = false;
  const LRESULT result = manager.FilterMessage(uMsg, wParam, lParam, handled);
  if (handled) return result;
  return HandleMessage(uMsg, wParam, lParam, handled);
}

LRESULT WindowImplBaseEx::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM, bool& handled) {
  switch (uMsg) {
    case platform::WM_CLOSE:
      handled = true;
      Close();
      break;
    case WM_DPI_CHANGED:
    case WM_DPI_FORWARD:
      handled = true;
      OnDpi(static_cast<int>(wParam));
      break;
    default:
      break;
  }
  return 0;
}

void WindowImplBaseEx::OnDpi(int dpi) {
  manager.SetDPI(dpi);
  for (WindowImplBaseEx* child : QList(Windows().values())) {
    if (child != this && isAncestorOf(child)) {
      platform::SendMessageW(child->GetHWND(), WM_DPI_FORWARD, static_cast<WPARAM>(dpi), 0);
    }
  }
}

void WindowImplBaseEx::FollowScreen() {
  const int dpi = ScreenDpi(this);
  if (dpi == manager.GetDPI()) return;
  platform::SendMessageW(GetHWND(), WM_DPI_CHANGED, static_cast<WPARAM>(dpi), 0);
}

void WindowImplBaseEx::Notify(TNotifyUI&) {}

CControlUI* WindowImplBaseEx::CreateControl(const QString&) { return nullptr; }

// --- Showing and closing --------------------------------------------------

void WindowImplBaseEx::ShowWindow(bool show, bool takeFocus) {
  setVisible(show);
  if (!show) return;
  raise();
  if (!takeFocus) return;
  if (isWindow()) activateWindow();
  setFocus(Qt::ActiveWindowFocusReason);
}

void WindowImplBaseEx::CenterWindow() {
  if (const QWidget* parent = parentWidget()) {
    move((parent->width() - width()) / 2, (parent->height() - height()) / 2);
  }
}

int WindowImplBaseEx::ShowModal() {
  focusBefore = QApplication::focusWidget();
  // What InitWindow gave the focus to keeps it; nothing could have it before it was shown.
  const QPointer<QWidget> first = focusWidget();
  ShowWindow();
  // A button shows that Return is for it; a field has its own edge.
  const bool isButton = qobject_cast<QAbstractButton*>(first) != nullptr;
  first&& first != this ? first->setFocus(isButton ? Qt::TabFocusReason : Qt::OtherFocusReason)
                        : void(focusNextPrevChild(true));
  if (isWindow()) setWindowModality(Qt::ApplicationModal);
  QEventLoop loop;
  modal = &loop;
  const QPointer<QWidget> alive(this);
  loop.exec();
  if (!alive) return IDCANCEL;
  modal = nullptr;
  return result;
}

void WindowImplBaseEx::CloseInside() {
  const auto ends = [this](const WindowImplBaseEx* window) {
    const QWidget* by = window->opener;
    return isAncestorOf(window) || (by && (by == this || isAncestorOf(by)));
  };
  for (WindowImplBaseEx* child : QList(Windows().values())) {
    // Closing one may have closed another.
    if (Windows().values().contains(child) && child != this && ends(child)) child->Close(IDCANCEL);
  }
  // Those of Qt, such as the question for a file.
  for (QDialog* dialog : findChildren<QDialog*>()) dialog->reject();
}

void WindowImplBaseEx::Close(int value) {
  if (closing) return;
  closing = true;
  result = value;
  CloseInside();
  Unregister();
  const QPointer<WindowImplBaseEx> alive(this);
  close();
  if (focusBefore) focusBefore->setFocus(Qt::OtherFocusReason);
  if (modal) modal->quit();
  if (alive) OnFinalMessage();
}

void WindowImplBaseEx::closeEvent(QCloseEvent* event) {
  event->setAccepted(closing || !GetHWND());
  if (!event->isAccepted()) platform::SendMessageW(GetHWND(), platform::WM_CLOSE, 0, 0);
}

void WindowImplBaseEx::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  if (!isWindow() || !windowHandle()) return;
  FollowScreen();
  connect(windowHandle(), &QWindow::screenChanged, this, &WindowImplBaseEx::FollowScreen,
          Qt::UniqueConnection);
}

void WindowImplBaseEx::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const Theme& theme = Theme::Instance();
  const bool overlay = windowStyle == WindowStyle::Dialog || windowStyle == WindowStyle::Popup;
  if (isWindow() && !overlay) painter.fillRect(rect(), theme.Color("page"));
  if (!overlay) return;
  const int radius = windowStyle == WindowStyle::Dialog ? kDialogRadius : kPopupRadius;
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(theme.Color("raised"));
  painter.drawRoundedRect(rect(), manager.Scale(radius), manager.Scale(radius));
}

// --- Keys -----------------------------------------------------------------

bool WindowImplBaseEx::OnKey(TEventUI& event) {
  const bool leave = event.Type == EventType::KeyDown && event.key == Qt::Key_Escape;
  if (!leave || (windowStyle != WindowStyle::Dialog && windowStyle != WindowStyle::Popup)) return false;
  Close();
  return true;
}

void WindowImplBaseEx::keyPressEvent(QKeyEvent* event) {
  TEventUI told{.Type = EventType::KeyDown,
                .pSender = CControlUI::Around(QApplication::focusWidget()),
                .modifiers = event->modifiers(),
                .key = event->key(),
                .wParam = static_cast<WPARAM>(event->key())};
  // What a dialog does not use does not reach the page below it.
  event->setAccepted(OnKey(told) || windowStyle == WindowStyle::Dialog);
}

void WindowImplBaseEx::keyReleaseEvent(QKeyEvent* event) {
  TEventUI told{.Type = EventType::KeyUp,
                .pSender = CControlUI::Around(QApplication::focusWidget()),
                .modifiers = event->modifiers(),
                .key = event->key(),
                .wParam = static_cast<WPARAM>(event->key())};
  event->setAccepted(OnKey(told) || windowStyle == WindowStyle::Dialog);
}

bool WindowImplBaseEx::focusNextPrevChild(bool next) {
  if (!tabs) return false;
  if (isWindow() || windowStyle != WindowStyle::Dialog) return QWidget::focusNextPrevChild(next);
  // A dialog inside its parent's window keeps the focus: on along the chain of
  // that window until it is back inside.
  QWidget* current = isAncestorOf(QApplication::focusWidget()) ? QApplication::focusWidget() : this;
  QWidget* candidate = current;
  do {
    candidate = next ? candidate->nextInFocusChain() : candidate->previousInFocusChain();
    const bool wanted = isAncestorOf(candidate) && candidate->isVisibleTo(this) && candidate->isEnabled() &&
                        (candidate->focusPolicy() & Qt::TabFocus);
    if (!wanted) continue;
    candidate->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
  } while (candidate != current);
  return true;
}

// --- Drag and drop ---------------------------------------------------------

bool WindowImplBaseEx::Drag(UINT message, QDropEvent& event) {
  DragDataUI drag{.data = event.mimeData(),
                  .point = event.position().toPoint(),
                  .screen = mapToGlobal(event.position().toPoint()),
                  .possible = event.possibleActions(),
                  .action = event.proposedAction(),
                  .fromHere = event.source() != nullptr};
  platform::SendMessageW(GetHWND(), message, 0, reinterpret_cast<LPARAM>(&drag));
  event.setDropAction(drag.action);
  event.setAccepted(drag.accepted);
  return drag.accepted;
}

void WindowImplBaseEx::dragEnterEvent(QDragEnterEvent* event) {
  // A drag refused at its entry would send no moves, and a target further in
  // could never take it.
  (void)Drag(WM_DRAG_ENTER, *event);
  event->accept();
}

void WindowImplBaseEx::dragMoveEvent(QDragMoveEvent* event) { (void)Drag(WM_DRAG_OVER, *event); }

void WindowImplBaseEx::dragLeaveEvent(QDragLeaveEvent*) {
  DragDataUI drag;
  platform::SendMessageW(GetHWND(), WM_DRAG_LEAVE, 0, reinterpret_cast<LPARAM>(&drag));
}

void WindowImplBaseEx::dropEvent(QDropEvent* event) { (void)Drag(WM_DRAG_RELEASE, *event); }
