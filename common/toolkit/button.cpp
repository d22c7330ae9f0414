#include "common/toolkit/button.h"

#include <QButtonGroup>
#include <QHash>
#include <QKeySequence>

#include "common/toolkit/attributes.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"

using namespace toolkit;

namespace {

struct KindLook {
  ButtonKind kind;
  const char* font;
  int height;  // 0: as its contents
  int icon;
};

constexpr int kPlainHeight = 36;

// Font, height and icon that go with a kind until the skin says otherwise.
const QHash<QString, KindLook>& Kinds() {
  static const QHash<QString, KindLook> kinds{
      {"plain", {ButtonKind::Plain, "button", kPlainHeight, 20}},
      {"main", {ButtonKind::Main, "button", kPlainHeight, 20}},
      {"danger", {ButtonKind::Danger, "button", kPlainHeight, 20}},
      {"tool", {ButtonKind::Tool, "label", kPlainHeight, 20}},
      {"link", {ButtonKind::Link, "label-strong", 28, 16}},
      {"icon", {ButtonKind::Icon, "label", 0, 20}},
      {"round", {ButtonKind::Round, "label", 40, 20}},
      {"chip", {ButtonKind::Chip, "label", 28, 16}},
      {"album", {ButtonKind::Album, "body", 40, 18}},
      {"nav", {ButtonKind::Nav, "nav", 56, 24}},
      {"segment", {ButtonKind::Segment, "label", 28, 16}},
      {"choice", {ButtonKind::Choice, "label", 32, 16}},
  };
  return kinds;
}

template <class T>
void TellToggles(T& button) {
  QObject::connect(&button, &QAbstractButton::toggled, &button,
                   [&button](bool on) { button.Notify("selectchanged", on ? 1 : 0); });
}

}  // namespace

CButtonUI::CButtonUI(QWidget* parent) : TControl<QPushButton>(parent) {
  setAutoDefault(false);
  setFocusPolicy(Qt::StrongFocus);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  connect(this, &QPushButton::clicked, this, [this] { Notify("click"); });
  TellToggles(*this);
}

void CButtonUI::ShowText(const QString& shown) {
  CControlUI::ShowText(shown);
  const bool alone = iconOnly || kind == ButtonKind::Icon || kind == ButtonKind::Round;
  // "&" would start a shortcut letter.
  setText(alone ? QString() : QString(shown).replace('&', "&&"));
  if (!shown.isEmpty()) setAccessibleName(shown);
  if (alone && !shown.isEmpty()) setToolTip(shown);
  updateGeometry();
}

void CButtonUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "style") {
    const KindLook look = Kinds().value(value, Kinds()["plain"]);
    iconSize = look.icon;
    if (GetFontStyle().isEmpty()) SetFont(look.font);
    SetKind(look.kind);
  } else if (name == "icon") {
    SetIcon(value);
  } else if (name == "iconsize") {
    iconSize = value.toInt();
    Restyle();
  } else if (name == "iconcolor") {
    iconColor = value;
    Invalidate();
  } else if (name == "bareoff") {
    bareWhenOff = ToBool(value);
  } else if (name == "group") {
    group = value;
    setCheckable(true);
  } else if (name == "checkable") {
    setCheckable(ToBool(value));
  } else if (name == "selected") {
    setCheckable(true);
    setChecked(ToBool(value));
  } else if (name == "shortcut") {
    setShortcut(QKeySequence(value));
  } else if (name == "badge") {
    SetBadge(value.toInt());
  } else {
    TControl<QPushButton>::SetAttribute(name, value);
  }
}

void CButtonUI::DoInit() {
  CPaintManagerUI* const manager = GetManager();
  if (group.isEmpty() || !manager) return;
  QWidget& window = manager->GetPaintWidget();
  auto buttons = window.findChild<QButtonGroup*>(group, Qt::FindDirectChildrenOnly);
  if (!buttons) {
    buttons = new QButtonGroup(&window);
    buttons->setObjectName(group);
  }
  buttons->addButton(this);
}

void CButtonUI::SetKind(ButtonKind value) {
  kind = value;
  setProperty("radius", kind == ButtonKind::Round || kind == ButtonKind::Chip ? 999 : 8);
  ShowText(GetText());  // Its key stays, so that it follows the language.
  Restyle();
}

void CButtonUI::SetIcon(const QString& name) {
  if (iconName == name) return;
  iconName = name;
  updateGeometry();
  Invalidate();
}

void CButtonUI::SetIconOnly(bool only) {
  if (iconOnly == only) return;
  iconOnly = only;
  if (!only) setToolTip({});
  ShowText(GetText());
}

void CButtonUI::SetBadge(int count) {
  if (count == badge) return;
  badge = count;
  Invalidate();
}

void CButtonUI::Restyle() {
  CControlUI::Restyle();
  setIconSize({IconSize(), IconSize()});
}

CCheckBoxUI::CCheckBoxUI(QWidget* parent) : TControl<QCheckBox>(parent) {
  setProperty("radius", 5);
  TellToggles(*this);
}

void CCheckBoxUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "selected") return Selected(ToBool(value));
  if (name != "switch") return TControl<QCheckBox>::SetAttribute(name, value);
  isSwitch = ToBool(value);
  setProperty("radius", isSwitch ? 999 : 5);
  updateGeometry();
}

void CCheckBoxUI::ShowText(const QString& shown) {
  CControlUI::ShowText(shown);
  setText(QString(shown).replace('&', "&&"));
}

CRadioUI::CRadioUI(QWidget* parent) : TControl<QRadioButton>(parent) {
  setProperty("radius", 9);
  TellToggles(*this);
}

void CRadioUI::SetAttribute(const QString& name, const QString& value) {
  if (name == "selected") return Selected(ToBool(value));
  TControl<QRadioButton>::SetAttribute(name, value);
}

void CRadioUI::ShowText(const QString& shown) {
  CControlUI::ShowText(shown);
  setText(QString(shown).replace('&', "&&"));
}
