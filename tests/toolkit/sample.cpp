// Draws every control in every state, light and dark, and all icons into a
// picture, or a dialog and notices over a page: toolkit_sample OUT.png [notices].
// ZENTARA_SCALE sets the scale, ZENTARA_SAMPLE_LANGUAGE the language.

#include <QApplication>
#include <QDir>
#include <QFocusFrame>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <cstdio>

#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/label.h"
#include "common/toolkit/menu.h"
#include "common/toolkit/overlays.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/slider.h"
#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"
#include "common/toolkit/windowimplbase.h"

namespace {

enum class Look { Rest, Hover, Pressed, Disabled, Focus };

const char* const kLooks[] = {"Rest", "Hover", "Pressed", "Disabled", "Focus"};

struct Line {
  const char* title;
  const char* controls;  // one or two elements
};

constexpr Line kLines[] = {
    {"Main", R"(<Button style="main" text="Upload"/>)"},
    {"Button", R"(<Button style="plain" text="Cancel"/>)"},
    {"Danger", R"(<Button style="danger" text="Delete"/>)"},
    {"Tool", R"(<Button style="tool" text="Move" icon="move"/>)"},
    {"Tool, on", R"(<Button style="tool" icon="multi-select" selected="true"/>)"},
    {"Field", R"(<Edit text="Seaside" width="96"/>)"},
    {"Check, radio", R"(<CheckBox selected="true"/><Radio selected="true"/>)"},
    {"Switch", R"(<CheckBox switch="true" selected="true"/>)"},
    {"Slider", R"(<Slider min="1" max="4" value="3" stops="true" width="98"/>)"},
    {"Album", R"(<Button style="album" text="Faves" icon="heart" width="96"/>)"},
    {"Link, chip", R"(<Button style="link" text="Select"/><Button style="chip" icon="close" text="3"/>)"},
    {"Nav", R"(<Button style="nav" icon="gallery" text="Gallery" badge="4"/>)"},
};

class Sheet : public WindowImplBaseEx {
 public:
  Sheet() {
    Create(static_cast<QWidget*>(nullptr), "sheet", WindowStyle::Frame, QRect(0, 0, 10, 10));
    const int scale = toolkit::ScaleOf(this);
    resize(toolkit::Scaled(720, scale), toolkit::Scaled(52 * (std::size(kLines) + 1) + 20, scale));
  }

  CControlUI* BuildRoot() override {
    QByteArray xml = R"(<VerticalLayout inset="32,16,20,8" bkcolor="page"><HorizontalLayout height="32">)";
    xml += R"(<Control width="100"/>)";
    for (const char* look : kLooks)
      xml += Cell("112", R"(<Label font="small" textcolor="text-2" text=")" + QByteArray(look) + R"("/>)");
    xml += "</HorizontalLayout>";
    for (const Line& line : kLines) {
      xml += R"(<HorizontalLayout height="52"><Label width="100" font="small" textcolor="text-2" text=")";
      xml += QByteArray(line.title) + R"("/>)";
      for (int look = 0; look < 5; ++look) xml += Cell("112", line.controls);
      xml += "</HorizontalLayout>";
    }
    xml += "</VerticalLayout>";
    return CDialogBuilder().CreateFromText(xml, this, this);
  }

  void Force() {
    auto* const root = dynamic_cast<CContainerUI*>(Manager().GetRoot());
    for (int row = 1; row < root->GetCount(); ++row) {
      auto* const line = dynamic_cast<CContainerUI*>(root->GetItemAt(row));
      for (int look = 0; look < 5; ++look) {
        auto* const cell = dynamic_cast<CContainerUI*>(line->GetItemAt(look + 1));
        for (int i = 0; i < cell->GetCount(); ++i) ForceLook(*cell->GetItemAt(i), static_cast<Look>(look));
      }
    }
  }

  // The rings of the last column; only one control can really have the focus.
  void PaintRings(QPainter& painter) {
    for (QWidget* widget : findChildren<QWidget*>()) {
      if (!widget->property("sample-focus").toBool()) continue;
      QFocusFrame frame;
      frame.setWidget(widget);
      QStyleOption option;
      const int out = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, &frame);
      option.rect = QRect(widget->mapTo(this, QPoint()), widget->size()).adjusted(-out, -out, out, out);
      style()->drawControl(QStyle::CE_FocusFrame, &option, &painter, &frame);
    }
  }

 private:
  static QByteArray Cell(const QByteArray& width, const QByteArray& controls) {
    return "<HorizontalLayout width=\"" + width + "\" childpadding=\"10\" childvalign=\"middle\">" +
           controls + "<Control/></HorizontalLayout>";
  }

  static void ForceLook(CControlUI& control, Look look) {
    QWidget& widget = *control.Widget();
    if (look == Look::Hover || look == Look::Pressed) {
      widget.setAttribute(Qt::WA_UnderMouse);
      const QPointF middle = widget.rect().center();
      QMouseEvent move(QEvent::MouseMove, middle, middle, Qt::NoButton, {}, {});
      QApplication::sendEvent(&widget, &move);
    }
    if (look == Look::Disabled) control.SetEnabled(false);
    const bool field = dynamic_cast<CEditUI*>(&control);
    if (look == Look::Focus && !field && widget.focusPolicy() != Qt::NoFocus)
      widget.setProperty("sample-focus", true);
    if (look == Look::Focus && field) widget.setFocus();
    auto* const button = dynamic_cast<QAbstractButton*>(&widget);
    if (button && look == Look::Pressed) button->setDown(true);
    auto* const slider = dynamic_cast<CSliderUI*>(&widget);
    if (slider && look == Look::Pressed) slider->setSliderDown(true);
    auto* const album = dynamic_cast<CButtonUI*>(&widget);
    if (album && album->Kind() == ButtonKind::Album && look == Look::Focus) {
      album->SetAttribute("selected", "true");
    }
  }
};

QImage Render(ThemeMode mode) {
  Theme::Instance().SetMode(mode);
  Sheet sheet;
  sheet.Force();
  sheet.show();
  sheet.Force();
  QApplication::processEvents();
  QImage image(sheet.size(), QImage::Format_RGB32);
  QPainter painter(&image);
  sheet.render(&painter);
  sheet.PaintRings(painter);
  return image;
}

QImage RenderIcons(int wide) {
  const int scale = toolkit::ScaleOf(nullptr);
  const auto px = [scale](int pixels) { return toolkit::Scaled(pixels, scale); };
  const QStringList names = QDir(":/icons").entryList();
  QImage image(wide, px(90) * static_cast<int>((names.size() + 13) / 14), QImage::Format_RGB32);
  image.fill(Theme::Instance().Color("page"));
  QPainter painter(&image);
  painter.setFont(Theme::Instance().Font("nav", scale));
  for (int i = 0; i < names.size(); ++i) {
    const QString name = QString(names[i]).remove(".svg");
    const QRect cell(px(50) + i % 14 * px(96), i / 14 * px(80), px(96), px(80));
    icons::Paint(painter, name, {cell.left() + px(36), cell.top() + px(20), px(24), px(24)},
                 Theme::Instance().Color("text"));
    painter.drawText(cell.adjusted(0, px(52), 0, 0), Qt::AlignHCenter | Qt::AlignTop, name);
  }
  return image;
}

class Page : public WindowImplBaseEx {
 public:
  explicit Page(const QByteArray& xml) : skin(xml) {}
  CControlUI* BuildRoot() override { return CDialogBuilder().CreateFromText(skin, this, this); }

 private:
  QByteArray skin;
};

const char kPage[] = R"(
<VerticalLayout bkcolor="page" inset="24,24,24,24" childpadding="12">
  <HorizontalLayout height="36" childpadding="4">
    <Button style="main" icon="upload" text="Upload" font="label"/><Button style="tool" icon="download" text="Download"/>
    <Button style="tool" icon="delete" text="Delete" enabled="false"/><Control/>
    <Button name="multi" style="icon" icon="multi-select" text="Select several"/>
  </HorizontalLayout>
  <HorizontalLayout height="24"><Label font="title" text="Pictures"/><Label font="count" textcolor="text-2" text="412 photos" padding="12,0,0,0"/>
    <Control/><Ring width="16" stroke="2" padding="0,0,8,0"/><Label font="small" textcolor="text-2" text="Uploading 3 items"/></HorizontalLayout>
  <Progress value="40" max="100"/>
  <HorizontalLayout height="44"><Edit name="name" text="Seaside" error="true" width="220"/><Control/></HorizontalLayout>
  <Control/>
</VerticalLayout>)";

const char kDialogPage[] = R"(
<Container width="420"><VerticalLayout inset="24,24,24,24">
  <Label font="dialog" text="Delete 3 files?"/>
  <Label font="body" textcolor="text-2" wrap="true" padding="0,8,0,24" text="They go to Recently deleted and stay there for 30 days."/>
  <HorizontalLayout height="36" childpadding="8"><Control/><Button text="Cancel"/><Button style="danger" text="Delete"/></HorizontalLayout>
</VerticalLayout>
<Button style="icon" icon="close" iconsize="18" iconcolor="text-2" width="32" height="32" align="end" valign="top" padding="0,16,16,0" text="IDS_TOOLKIT_CLOSE"/>
</Container>)";

QImage RenderNotices(ThemeMode mode, bool withDialog) {
  Theme::Instance().SetMode(mode);
  Theme::Instance().SetDesktop({.reducedMotion = true});
  const int scale = toolkit::ScaleOf(nullptr);
  const auto px = [scale](int pixels) { return toolkit::Scaled(pixels, scale); };
  Page page(kPage);
  page.Create(static_cast<QWidget*>(nullptr), "page", WindowStyle::Frame, {0, 0, px(720), px(460)});
  page.show();
  QApplication::processEvents();
  Bubble::Show(*page.FindControl("name")->Widget(), "There is already an album with this name.", BubbleKind::Error);
  Bubble::Show(*page.FindControl("multi")->Widget(), "Choose several pictures, then download, move or delete them together.",
               BubbleKind::Accent, true);
  Toast::Show(page, {.icon = "check", .sentence = "3 files moved to Seaside", .action = "Show"});
  Page dialog(kDialogPage);
  if (withDialog) {
    new DimLayer(page);
    dialog.Create(&page, "dialog", WindowStyle::Dialog);
    dialog.ShowWindow();
  }
  CMenuWnd menu(page.Manager(), nullptr);
  (void)menu.Load("Menu/TextMenu.xml");
  menu.FindItem("Cut")->setIcon(icons::Icon("rename", px(18), Theme::Instance().Color("text-2")));
  menu.setActiveAction(menu.FindItem("Copy"));
  menu.resize(menu.sizeHint());
  QApplication::processEvents();
  QImage image(page.size(), QImage::Format_RGB32);
  QPainter painter(&image);
  page.render(&painter);
  if (!withDialog) menu.render(&painter, {px(40), px(250)});
  return image;
}

QImage Beside(const QImage& a, const QImage& b) {
  QImage both(a.width() + b.width(), std::max(a.height(), b.height()), QImage::Format_RGB32);
  QPainter painter(&both);
  painter.drawImage(0, 0, a);
  painter.drawImage(a.width(), 0, b);
  return both;
}

QImage Notices() {
  const QImage top = Beside(RenderNotices(ThemeMode::Light, false), RenderNotices(ThemeMode::Dark, false));
  const QImage bottom = Beside(RenderNotices(ThemeMode::Light, true), RenderNotices(ThemeMode::Dark, true));
  QImage all(top.width(), top.height() + bottom.height(), QImage::Format_RGB32);
  QPainter painter(&all);
  painter.drawImage(0, 0, top);
  painter.drawImage(0, top.height(), bottom);
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return std::fprintf(stderr, "toolkit_sample OUT.png [notices]\n"), 1;
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  toolkit::Prepare();
  QApplication application(argc, argv);
  toolkit::Start(application);
  CResourceManager::GetInstance().SetLanguage(qEnvironmentVariable("ZENTARA_SAMPLE_LANGUAGE", "en-GB"));
  if (argc > 2) return Notices().save(argv[1]) ? 0 : 1;
  const QImage dark = Render(ThemeMode::Dark), light = Render(ThemeMode::Light);
  const QImage icon = RenderIcons(light.width() * 2);
  QImage all(light.width() * 2, light.height() + icon.height(), QImage::Format_RGB32);
  QPainter painter(&all);
  painter.drawImage(0, 0, light);
  painter.drawImage(light.width(), 0, dark);
  painter.drawImage(0, light.height(), icon);
  painter.end();
  return all.save(argv[1]) ? 0 : 1;
}
