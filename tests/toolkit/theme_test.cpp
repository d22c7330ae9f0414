// Colours, fonts, icons and how the standard widgets are drawn. Expected
// colours and contrasts are those of the design, written out here.

#include "common/toolkit/theme.h"

#include <gtest/gtest.h>

#include <QPainter>
#include <QSignalSpy>
#include <cmath>

#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/list.h"
#include "common/toolkit/progress.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/slider.h"
#include "toolkit/support.h"

namespace {

class Themed : public testing::Test {
 protected:
  Themed() { Reset(); }
  ~Themed() override { Reset(); }
  static void Reset() {
    Theme::Instance().SetDesktop({});
    Theme::Instance().SetMode(ThemeMode::Light);
  }
  static Theme& theme() { return Theme::Instance(); }
};

double Luminance(const QColor& color) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double Contrast(const QColor& a, const QColor& b) {
  const double first = Luminance(a), second = Luminance(b);
  return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

TEST_F(Themed, ContrastsAreThoseOfTheDesign) {
  struct Pair {
    const char* token;
    const char* ground;
    double light, dark;
  };
  for (const Pair& pair : std::initializer_list<Pair>{{"text", "page", 17.1, 15.9},
                                                      {"text", "nav", 15.1, 13.8},
                                                      {"text-2", "page", 5.7, 8.3},
                                                      {"text-2", "panel", 5.4, 7.7},
                                                      {"line-strong", "page", 3.5, 4.4},
                                                      {"accent", "page", 4.6, 4.1},
                                                      {"accent-text", "tint", 5.8, 7.6},
                                                      {"accent-text", "page", 6.9, 10.1},
                                                      {"danger", "page", 3.9, 6.7},
                                                      {"danger-text", "danger-tint", 5.3, 6.8},
                                                      {"ok", "page", 5.7, 8.8},
                                                      {"ok", "ok-tint", 5.0, 6.5},
                                                      {"warn", "warn-tint", 5.4, 7.5},
                                                      {"focus", "page", 4.6, 7.1},
                                                      {"thumb", "page", 3.2, 3.8},
                                                      {"on-dark", "accent-hover", 5.6, 5.6},
                                                      {"on-dark", "danger-fill", 5.3, 5.3},
                                                      {"on-dark", "dim-toast", 13.6, 13.6}}) {
    theme().SetMode(ThemeMode::Light);
    EXPECT_NEAR(Contrast(theme().Color(pair.token), theme().Color(pair.ground)), pair.light, 0.06)
        << pair.token;
    theme().SetMode(ThemeMode::Dark);
    EXPECT_NEAR(Contrast(theme().Color(pair.token), theme().Color(pair.ground)), pair.dark, 0.06)
        << pair.token;
  }
}

TEST_F(Themed, TheDesktopDecidesOnlyInTheModeSystem) {
  theme().SetDesktop({.dark = true});
  EXPECT_FALSE(theme().IsDark());
  theme().SetMode(ThemeMode::System);
  EXPECT_TRUE(theme().IsDark());
  EXPECT_EQ(theme().Color("page"), QColor("#121316"));
}

TEST_F(Themed, HighContrastTakesTheStrongColours) {
  theme().SetDesktop({.highContrast = true});
  EXPECT_EQ(theme().Color("link"), QColor("#0057C2"));
  EXPECT_EQ(theme().Color("danger-text"), QColor("#B00010"));
  EXPECT_EQ(theme().Color("line"), QColor("#858A93"));
  EXPECT_EQ(theme().Color("text-2"), theme().Color("text"));
  for (const char* token : {"hover", "press", "dim", "strip"}) {
    EXPECT_EQ(theme().Color(token).alpha(), 255) << token;
  }
}

TEST_F(Themed, TextScaleMultipliesSizesUpToOneAndAHalf) {
  EXPECT_EQ(theme().Font("heading").pixelSize(), 20);
  EXPECT_EQ(theme().Font("heading", 150).pixelSize(), 30);
  theme().SetDesktop({.textScale = 1.25});
  EXPECT_EQ(theme().Font("body").pixelSize(), 18);
  theme().SetDesktop({.textScale = 3});
  EXPECT_EQ(theme().Font("body").pixelSize(), 21);
}

TEST_F(Themed, ReducedMotionTakesNoTime) {
  EXPECT_EQ(theme().Duration(180), 180);
  theme().SetDesktop({.reducedMotion = true});
  EXPECT_EQ(theme().Duration(180), 0);
}

TEST_F(Themed, AChangeRepaintsAWindowAtOnce) {
  SkinWindow window(
      R"(<VerticalLayout bkcolor="panel"><Label name="l" text="x" textcolor="text-2"/></VerticalLayout>)");
  EXPECT_EQ(window.grab().toImage().pixelColor(2, 2), QColor("#F6F7F9"));
  QSignalSpy changes(&theme(), &Theme::changed);
  theme().SetMode(ThemeMode::Dark);
  EXPECT_EQ(changes.size(), 1);
  EXPECT_EQ(window.grab().toImage().pixelColor(2, 2), QColor("#191A1E"));
  EXPECT_EQ(window.FindControl("l")->Widget()->palette().color(QPalette::WindowText), QColor("#A9ADB5"));
}

// --- Icons ---------------------------------------------------------------------

TEST_F(Themed, AnIconHasTheColourAsked) {
  const QImage image = icons::Pixmap("play", 24, QColor("#1350CC")).toImage();
  EXPECT_EQ(image.pixelColor(11, 12), QColor("#1350CC"));
  EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
  EXPECT_TRUE(icons::Pixmap("nothing", 24, Qt::black).isNull());
}

TEST_F(Themed, OnlyIconsWithADirectionAreTurnedRound) {
  const auto draw = [](const char* name, Qt::LayoutDirection direction) {
    QImage image(24, 24, QImage::Format_ARGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    icons::Paint(painter, name, image.rect(), Qt::black, direction);
    return image;
  };
  for (const char* name : {"back", "chevron-left", "chevron-right", "open", "sign-out"}) {
    EXPECT_EQ(draw(name, Qt::RightToLeft), draw(name, Qt::LeftToRight).mirrored(true, false)) << name;
  }
  EXPECT_EQ(draw("play", Qt::RightToLeft), draw("play", Qt::LeftToRight));
  EXPECT_NE(draw("play", Qt::LeftToRight), draw("play", Qt::LeftToRight).mirrored(true, false));
}

// --- Buttons --------------------------------------------------------------------

struct Ground {
  const char* style;
  const char* rest;
  const char* hover;
  const char* pressed;
};

void MoveOver(QWidget& widget) {
  widget.setAttribute(Qt::WA_UnderMouse);
  QMouseEvent move(QEvent::MouseMove, widget.rect().center(), widget.mapToGlobal(widget.rect().center()),
                   Qt::NoButton, {}, {});
  QApplication::sendEvent(&widget, &move);
}

TEST_F(Themed, ButtonsHaveTheGroundOfTheirState) {
  // Ink of 6 and 11 % over white; 5 and 10 % of the text; red 8 and 16 % darker.
  for (const Ground& ground : std::initializer_list<Ground>{{"main", "#226BFF", "#1B5DE6", "#1650CC"},
                                                            {"plain", "#FFFFFF", "#F4F4F4", "#E8E8E9"},
                                                            {"danger", "#D0222A", "#BF1F27", "#AF1D23"},
                                                            {"tool", "#FFFFFF", "#F1F1F2", "#E5E6E7"}}) {
    SkinWindow window(
        R"(<HorizontalLayout bkcolor="page"><Button name="b" text="x" width="90"/><Control/></HorizontalLayout>)");
    auto& button = *window.Find<CButtonUI>("b");
    button.SetAttribute("style", ground.style);
    const auto near = [&](const char* expected, const char* state) {
      const QColor is =
          window.grab(QRect(button.pos(), button.size())).toImage().pixelColor(6, button.height() / 2);
      const QColor want(expected);
      const int off = std::max({std::abs(is.red() - want.red()), std::abs(is.green() - want.green()),
                                std::abs(is.blue() - want.blue())});
      EXPECT_LE(off, 1) << ground.style << ' ' << state << ' ' << is.name().toStdString();
    };
    near(ground.rest, "rest");
    MoveOver(button);
    near(ground.hover, "hover");
    button.setDown(true);
    near(ground.pressed, "pressed");
    button.setDown(false);
    button.SetEnabled(false);
    near(ground.style == std::string("tool") ? "#FFFFFF" : "#F1F1F2", "disabled");
  }
}

TEST_F(Themed, AButtonIsAsWideAsItsWordsAndAtLeast88) {
  CButtonUI button;
  button.ApplyAttributeList(R"(style="plain" text="OK")");
  EXPECT_EQ(button.sizeHint(), QSize(88, 36));
  button.SetText("Alle ausgewählten Dateien herunterladen");
  EXPECT_GT(button.sizeHint().width(), 200);
}

TEST_F(Themed, TheRingStandsAroundWhatTheKeyboardReachedAndNothingElse) {
  SkinWindow window(R"(<HorizontalLayout bkcolor="page" inset="20,20,20,20" childpadding="20">
    <Button name="a" text="a"/><Button name="b" text="b"/><Control/></HorizontalLayout>)");
  Activate(window);
  auto& a = *window.Find<CButtonUI>("a");
  auto& b = *window.Find<CButtonUI>("b");
  const auto ringAt = [&](const QWidget& widget) {
    const QPoint place(widget.x() - 3, widget.geometry().center().y());
    return window.grab().toImage().pixelColor(place) == QColor("#226BFF");
  };
  QTest::mouseClick(&a, Qt::LeftButton);
  a.setFocus(Qt::MouseFocusReason);
  EXPECT_FALSE(ringAt(a));
  QTest::keyClick(&a, Qt::Key_Tab);
  ASSERT_TRUE(b.hasFocus());
  EXPECT_TRUE(ringAt(b));
  a.setFocus(Qt::MouseFocusReason);
  EXPECT_FALSE(ringAt(b));
  EXPECT_FALSE(ringAt(a));
}

TEST_F(Themed, AFieldShowsErrorAndFocusByItsEdge) {
  SkinWindow window(
      R"(<VerticalLayout bkcolor="page" inset="40,40,40,40"><Edit name="e" width="200"/><Button name="b" text="x"/>
    <Control/></VerticalLayout>)");
  Activate(window);
  window.FindControl("b")->SetFocus();
  auto& edit = *window.Find<CEditUI>("e");
  const auto edge = [&](int in) {
    return window.grab().toImage().pixelColor(edit.x() + in, edit.geometry().center().y());
  };
  EXPECT_EQ(edge(0), QColor("#858A93"));
  EXPECT_EQ(edge(1), QColor("#FFFFFF"));
  edit.setFocus();
  EXPECT_EQ(edge(0), QColor("#226BFF"));
  EXPECT_EQ(edge(1), QColor("#226BFF"));
  EXPECT_EQ(edge(2), QColor("#FFFFFF"));
  edit.SetError(true);
  EXPECT_EQ(edge(1), QColor("#FA2A2C"));
}

TEST_F(Themed, TheSliderIsDoneUpToItsKnobInReadingDirection) {
  const char skin[] =
      R"(<VerticalLayout bkcolor="page"><Slider name="s" min="0" max="10" value="5" width="100" height="36"/>
    <Control/></VerticalLayout>)";
  {
    SkinWindow window(skin);
    const QImage image = window.grab().toImage();
    const QWidget& slider = *window.FindControl("s")->Widget();
    EXPECT_EQ(image.pixelColor(slider.x() + 25, slider.y() + 17), QColor("#226BFF"));
    EXPECT_NE(image.pixelColor(slider.x() + 75, slider.y() + 17), QColor("#226BFF"));
  }
  CResourceManager::GetInstance().SetLanguage("ar");
  {
    SkinWindow window(skin);
    const QImage image = window.grab().toImage();
    const QWidget& slider = *window.FindControl("s")->Widget();
    EXPECT_NE(image.pixelColor(slider.x() + 25, slider.y() + 17), QColor("#226BFF"));
    EXPECT_EQ(image.pixelColor(slider.x() + 75, slider.y() + 17), QColor("#226BFF"));
  }
  CResourceManager::GetInstance().SetLanguage("en-GB");
}

TEST_F(Themed, TheThumbOfAScrollBarGrowsUnderThePointer) {
  SkinWindow window(
      R"(<HorizontalLayout bkcolor="page"><ScrollBar name="bar" range="1000"/><Control/></HorizontalLayout>)");
  auto& bar = *window.Find<CScrollBarUI>("bar");
  const auto wide = [&](const char* color) {
    const QImage image = window.grab().toImage();
    int count = 0;
    for (int x = 0; x < 14; ++x) count += image.pixelColor(bar.x() + x, bar.y() + 20) == QColor(color);
    return count;
  };
  EXPECT_EQ(wide("#8A8F98"), 6);
  bar.setAttribute(Qt::WA_UnderMouse);
  EXPECT_EQ(wide("#858A93"), 8);
}

TEST_F(Themed, TheProgressBarIsDoneFromTheStart) {
  SkinWindow window(
      R"(<VerticalLayout bkcolor="page"><Progress name="p" value="50" max="100"/><Control/></VerticalLayout>)");
  QWidget& bar = *window.FindControl("p")->Widget();
  EXPECT_EQ(bar.height(), 4);
  const QImage image = window.grab().toImage();
  EXPECT_EQ(image.pixelColor(100, bar.y() + 2), QColor("#226BFF"));
  EXPECT_NE(image.pixelColor(300, bar.y() + 2), QColor("#226BFF"));
}

}  // namespace
