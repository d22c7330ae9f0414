#include "common/toolkit/theme.h"

#include <QFontDatabase>
#include <QHash>
#include <QPainter>
#include <algorithm>
#include <array>
#include <cmath>

#include "common/toolkit/portalsettings.h"
#include "common/toolkit/toolkit.h"

using namespace toolkit;

namespace {

struct Token {
  const char* light;
  const char* dark;
  // With high contrast; null keeps the value.
  const char* lightContrast = nullptr;
  const char* darkContrast = nullptr;
};

// #AARRGGBB where it is translucent.
const QHash<QString, Token>& Tokens() {
  static const QHash<QString, Token> tokens{
      {"page", {"#FFFFFF", "#121316"}},
      {"panel", {"#F6F7F9", "#191A1E"}},
      {"nav", {"#EFF1F4", "#1F2125"}},
      {"raised", {"#FFFFFF", "#25272C"}},
      {"field", {"#FFFFFF", "#191A1E"}},
      {"stage", {"#ECEEF1", "#0D0E10"}},
      {"skeleton", {"#ECEEF1", "#22242A"}},
      {"text", {"#1A1C20", "#ECEDF0"}},
      {"text-2", {"#666666", "#A9ADB5", "#1A1C20", "#ECEDF0"}},
      {"text-off", {"#A3A7AE", "#666B74"}},
      {"line", {"#E3E5E9", "#2C2E34", "#858A93", "#767B85"}},
      {"line-strong", {"#858A93", "#767B85"}},
      {"thumb", {"#8A8F98", "#6C717A"}},
      {"hover", {"#0F141821", "#12FFFFFF", "#FFEFF1F4", "#FF2C2E34"}},
      {"press", {"#1C141821", "#1FFFFFFF", "#FFE3E5E9", "#FF3A3D44"}},
      {"accent", {"#226BFF", "#226BFF"}},
      {"accent-text", {"#1350CC", "#9CC0FF"}},
      {"accent-hover", {"#1B5DE6", "#1B5DE6"}},
      {"accent-press", {"#1650CC", "#1650CC"}},
      {"tint", {"#E3ECFF", "#1C2B4A"}},
      {"tint-hover", {"#D7E3FF", "#233558"}},
      {"link", {"#0074ED", "#78ABFF", "#0057C2", "#9CC0FF"}},
      {"link-status", {"#007DFF", "#78ABFF", "#0057C2", "#9CC0FF"}},
      {"focus", {"#226BFF", "#6E9FFF"}},
      {"danger", {"#FA2A2C", "#FF6B6D", "#B00010", "#FF8A8B"}},
      {"danger-text", {"#C4161C", "#FF8A8B", "#B00010", "#FF8A8B"}},
      {"danger-fill", {"#D0222A", "#D0222A"}},
      {"danger-tint", {"#FDEBEB", "#3A1C1E"}},
      {"ok", {"#187540", "#57C785"}},
      {"ok-tint", {"#E4F4EA", "#173325"}},
      {"warn", {"#8A5A00", "#E5B454"}},
      {"warn-tint", {"#FFF4DB", "#33290F"}},
      {"dim", {"#7A101218", "#99000000", "#FF101218", "#FF000000"}},
      {"select", {"#226BFF", "#226BFF"}},
      {"badge", {"#1E90FF", "#1E90FF", "#0057C2", "#0057C2"}},
      {"drag", {"#F5F5FF", "#F5F5FF"}},
      {"play-ground", {"#8F000000", "#8F000000", "#FF000000", "#FF000000"}},
      {"strip", {"#7A000000", "#7A000000", "#FF000000", "#FF000000"}},
      {"on-dark", {"#FFFFFF", "#FFFFFF"}},
      {"dim-toast", {"#2B2E34", "#2B2E34"}},
      {"dim-toast-link", {"#9CC0FF", "#9CC0FF"}},
      {"edge", {"#14101218", "#17FFFFFF", "#858A93", "#767B85"}},
      {"ink-5", {"#0D141821", "#0DFFFFFF", "#FFEFF1F4", "#FF2C2E34"}},
      {"ink-10", {"#1A141821", "#1AFFFFFF", "#FFE3E5E9", "#FF3A3D44"}},
      {"progress-track", {"#1F141821", "#1FFFFFFF", "#858A93", "#767B85"}},
      {"slider-track", {"#33141821", "#33FFFFFF", "#858A93", "#767B85"}},
  };
  return tokens;
}

// Light, dark, and both again in high contrast: read once, since each control asks for
// several in each painting.
const QHash<QString, std::array<QColor, 4>>& Colors() {
  static const auto read = [] {
    QHash<QString, std::array<QColor, 4>> colors;
    for (auto token = Tokens().constBegin(); token != Tokens().constEnd(); ++token) {
      const QColor light(token->light), dark(token->dark);
      colors.insert(token.key(), {light, dark, token->lightContrast ? QColor(token->lightContrast) : light,
                                  token->darkContrast ? QColor(token->darkContrast) : dark});
    }
    return colors;
  }();
  return read;
}

struct Type {
  int size, line;
  QFont::Weight weight;
};

const QHash<QString, Type>& Types() {
  static const QHash<QString, Type> types{
      {"display", {22, 30, QFont::DemiBold}},      {"heading", {20, 28, QFont::DemiBold}},
      {"dialog", {18, 26, QFont::DemiBold}},       {"title", {16, 24, QFont::DemiBold}},
      {"strong", {14, 20, QFont::DemiBold}},       {"body", {14, 20, QFont::Normal}},
      {"button", {14, 20, QFont::Medium}},         {"label", {13, 18, QFont::Medium}},
      {"label-strong", {13, 18, QFont::DemiBold}}, {"count", {13, 18, QFont::Normal}},
      {"small", {12, 16, QFont::Normal}},          {"small-medium", {12, 16, QFont::Medium}},
      {"small-strong", {12, 16, QFont::DemiBold}}, {"nav", {11, 14, QFont::Medium}},
      {"nav-strong", {11, 14, QFont::DemiBold}},
  };
  return types;
}

// The first of these that is installed gives the Latin letters, the others fill
// in what it lacks.
const QStringList& Families() {
  static const QStringList families = [] {
    QStringList found;
    for (const char* name : {"Inter", "Adwaita Sans", "Cantarell", "Noto Sans", "Noto Sans Arabic",
                             "Noto Sans CJK SC", "Noto Sans Thai", "DejaVu Sans"}) {
      if (QFontDatabase::hasFamily(name)) found.append(name);
    }
    return found;
  }();
  return families;
}

}  // namespace

Theme& Theme::Instance() {
  // Windows that go at the end of the program still ask for colours.
  static Theme& theme = *new Theme;
  return theme;
}

Theme::Theme() = default;

bool Theme::IsDark() const { return mode == ThemeMode::Dark || (mode == ThemeMode::System && desktop.dark); }

void Theme::SetMode(ThemeMode value) {
  if (mode == value) return;
  mode = value;
  Q_EMIT changed();
}

void Theme::SetDesktop(const Desktop& value) {
  if (desktop == value) return;
  desktop = value;
  highContrast = value.highContrast;
  reducedMotion = value.reducedMotion;
  // Layouts hold up to one and a half.
  textScale = std::clamp(value.textScale, 0.5, 1.5);
  Q_EMIT changed();
}

QColor Theme::Color(const QString& token) const {
  const auto found = Colors().constFind(token);
  if (found == Colors().constEnd()) return {};
  const std::size_t mode = IsDark() ? 1 : 0;
  return (*found)[highContrast ? mode + 2 : mode];
}

QFont Theme::Font(const QString& style, int scale) const {
  const Type type = Types().value(style, Types()["body"]);
  QFont font(Families());
  font.setPixelSize(std::max(1, qRound(type.size * textScale * scale / 100)));
  font.setWeight(type.weight);
  // Rounding to whole pixels makes the medium weight look bold.
  font.setHintingPreference(QFont::PreferNoHinting);
  return font;
}

int Theme::LineHeight(const QString& style, int scale) const {
  return qRound(Types().value(style, Types()["body"]).line * textScale * scale / 100);
}

void Theme::FollowDesktop() {
  if (portal) return;
  portal = new PortalSettings(desktop, this);
  connect(portal, &PortalSettings::changed, this, [this] { SetDesktop(portal->Value()); });
}

// --- Shadows --------------------------------------------------------------

namespace toolkit {
namespace {

struct Shadow {
  int down, blur;
  double light, dark;
};

constexpr Shadow kShadows[] = {{1, 2, 0.08, 0}, {8, 24, 0.14, 0.50}, {24, 64, 0.28, 0.64}};

const Shadow& ShadowOf(int level) { return kShadows[std::clamp(level, 1, 3) - 1]; }

}  // namespace

int ShadowMargin(int level, int scale) { return Scaled(ShadowOf(level).down + ShadowOf(level).blur, scale); }

void PaintShadow(QPainter& painter, const QRect& rect, int radius, int level, int scale) {
  const Theme& theme = Theme::Instance();
  const Shadow& shadow = ShadowOf(level);
  const double strength = theme.IsDark() ? shadow.dark : shadow.light;
  const int reach = std::max(1, Scaled(shadow.blur, scale) / 2);
  const QRectF lower = QRectF(rect).translated(0, Scaled(shadow.down, scale));
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  // Rings laid over each other from the outside in: their sum falls off like the
  // tail of a blur.
  const int steps = std::min(reach * 2, 24);
  for (int step = 0; step < steps && strength > 0; ++step) {
    const double grow = reach * (1 - 2.0 * step / steps);
    const double weight = 2.0 * (step + 1) / (steps * (steps + 1.0));
    painter.setBrush(QColor::fromRgbF(0.063f, 0.07f, 0.094f, static_cast<float>(strength * weight)));
    const double corner = std::max(0.0, radius + grow);
    painter.drawRoundedRect(lower.adjusted(-grow, -grow, grow, grow), corner, corner);
  }
  painter.setBrush(theme.Color("edge"));
  const double edge = std::max(1, Scaled(1, scale));
  painter.drawRoundedRect(QRectF(rect).adjusted(-edge, -edge, edge, edge), radius + edge, radius + edge);
  painter.restore();
}

}  // namespace toolkit
