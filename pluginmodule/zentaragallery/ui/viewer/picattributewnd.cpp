#include "ui/viewer/picattributewnd.h"

#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>
#include <cmath>

#include "common/platform/paths.h"
#include "common/toolkit/container.h"
#include "common/toolkit/label.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"
#include "model/gallery.h"
#include "ui/pagecontext.h"
#include "ui/view/pageflags.h"
#include "ui/viewer/picturewindow.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"
#include "utils/picturemetadata.h"

namespace {

constexpr char kTag[] = "PicAttributeWnd";
constexpr double kKilobyte = 1024, kMegabyte = 1024 * 1024;
constexpr int kSide = 19;

// Words for the values that stand in English in the record; others tell nothing.
constexpr struct {
  const char* value;
  const char* key;
} kWords[] = {{"manual", "IDS_VIEWER_PROGRAM_MANUAL"},
              {"normal program", "IDS_VIEWER_PROGRAM_NORMAL"},
              {"aperture priority", "IDS_VIEWER_PROGRAM_APERTURE"},
              {"shutter priority", "IDS_VIEWER_PROGRAM_SHUTTER"},
              {"creative program", "IDS_VIEWER_PROGRAM_CREATIVE"},
              {"action program", "IDS_VIEWER_PROGRAM_ACTION"},
              {"portrait mode", "IDS_VIEWER_PROGRAM_PORTRAIT"},
              {"landscape mode", "IDS_VIEWER_PROGRAM_LANDSCAPE"},
              {"Average", "IDS_VIEWER_METERING_AVERAGE"},
              {"CenterWeightedAverage", "IDS_VIEWER_METERING_CENTRE"},
              {"Spot", "IDS_VIEWER_METERING_SPOT"},
              {"MultiSpot", "IDS_VIEWER_METERING_MULTI_SPOT"},
              {"Pattern", "IDS_VIEWER_METERING_PATTERN"},
              {"Partial", "IDS_VIEWER_METERING_PARTIAL"},
              {"sRGB", "sRGB"},
              {"uncalibrated", "IDS_VIEWER_COLOR_UNCALIBRATED"}};

QString WordsOf(const std::string& value) {
  for (const auto& entry : kWords)
    if (value == entry.value) return CResourceManager::GetText(QString::fromLatin1(entry.key));
  return {};
}

QString Decimal(double number, int digits) { return CResourceManager::FormatDecimal(number, digits); }

QString WithUnit(const char* key, const QString& number) {
  return Page::Fill(CResourceManager::GetText(QString::fromLatin1(key)), {number});
}

// A file name or "ISO" reads from the left in every language, but stands where the line
// begins.
Qt::Alignment LineBegin() {
  return (QApplication::isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute;
}

QString Text(const std::string& text) { return QString::fromStdString(text).trimmed(); }

// A camera writes a hundredth as such.
QString ExposureTime(double seconds) {
  if (seconds <= 0) return {};
  constexpr double kShort = 0.3;
  const QString number =
      seconds < kShort ? QStringLiteral("1/") + Decimal(std::round(1 / seconds), 0) : Decimal(seconds, 1);
  return WithUnit("IDS_VIEWER_UNIT_SECONDS", number);
}

QString CameraName(const PictureMetadata& metadata) {
  const QString maker = Text(metadata.cameraMaker), model = Text(metadata.cameraModel);
  const bool named = model.startsWith(maker.section(u' ', 0, 0), Qt::CaseInsensitive);
  return maker.isEmpty() || named ? model : maker + u' ' + model;
}

// One text that runs from the left among words that do not; else the two numbers around
// a Latin letter may change their places.
QString FromTheLeft(const QString& text) {
  return CResourceManager::IsRightToLeft() ? QChar(0x2066) + text + QChar(0x2069) : text;
}

QString Aperture(double number) { return FromTheLeft(QStringLiteral("f/") + Decimal(number, 1)); }

QString Digits(int number) { return CResourceManager::InDigits(QString::number(number)); }

QString Duration(int seconds) {
  return CResourceManager::InDigits(QStringLiteral("%1:%2:%3")
                                        .arg(seconds / 3600, 2, 10, QLatin1Char('0'))
                                        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
                                        .arg(seconds % 60, 2, 10, QLatin1Char('0')));
}

}  // namespace

SelectableText::SelectableText(const QString& text, QWidget* parent) : QTextEdit(parent) {
  setFrameShape(QFrame::NoFrame);
  setReadOnly(true);
  setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  setTabChangesFocus(true);
  setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  QTextOption option = document()->defaultTextOption();
  option.setAlignment(LineBegin());
  document()->setDefaultTextOption(option);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
  viewport()->setAutoFillBackground(false);
  document()->setDocumentMargin(0);
  setPlainText(text);
}

void SelectableText::resizeEvent(QResizeEvent* event) {
  QTextEdit::resizeEvent(event);
  setFixedHeight(static_cast<int>(std::ceil(document()->size().height())));
}

PicAttributeWnd::PicAttributeWnd(HWND owner) : ownerWnd(owner) { setAttribute(Qt::WA_DeleteOnClose); }

void PicAttributeWnd::InitWindow() {
  GlobalData::attrWnd = GetHWND();
  connect(&CResourceManager::GetInstance(), &CResourceManager::languageChanged, this, [this] { ShowFile(); });
  connect(&Theme::Instance(), &Theme::changed, this, [this] { ShowFile(); });
  auto* holder = Find<CContainerUI>(QStringLiteral("attr_rows"));
  area = new QScrollArea(holder);
  area->setFrameShape(QFrame::NoFrame);
  area->setWidgetResizable(true);
  area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  area->viewport()->setAutoFillBackground(false);
  area->setFocusPolicy(Qt::NoFocus);
  if (holder) holder->layout()->addWidget(area);
}

void PicAttributeWnd::OnFinalMessage() {
  GlobalData::attrWnd = nullptr;
  (void)platform::SendMessageW(ownerWnd, WM_GALLERY_ATTR_CLOSED, 0, 0);
}

void PicAttributeWnd::Notify(TNotifyUI& message) {
  const bool closes = message.sType == QStringLiteral("click") && message.pSender &&
                      message.pSender->GetName() == QStringLiteral("attr_close");
  if (closes) Close();
}

LRESULT PicAttributeWnd::HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) {
  handled = true;
  switch (uMsg) {
    case WM_GALLERY_ATTR_OPEN:
      file = *reinterpret_cast<const GalleryFile::Ptr*>(lParam);
      ShowFile();
      return 0;
    case WM_GALLERY_ATTR_FILE:
      ShowFile();
      return 0;
    case WM_GALLERY_ATTR_FOLLOW:
    case WM_GALLERY_MOVE_ATTR:
      if (auto* owner = dynamic_cast<PictureWindow*>(parentWidget())) setGeometry(owner->AttributeRect());
      raise();
      return 0;
    default:
      handled = false;
      return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  }
}

// --- Rows

void PicAttributeWnd::ShowFile() {
  if (!area || !file) return;
  const int scrolled = area->verticalScrollBar()->value();
  auto* content = new QWidget;
  content->setAutoFillBackground(false);
  rows = new QVBoxLayout(content);
  rows->setContentsMargins(Manager().Scale(kSide), 0, Manager().Scale(kSide), Manager().Scale(12));
  rows->setSpacing(0);
  PictureMetadata metadata;
  if (!file->IsVideo()) (void)metadata.FromJson(ParseJson(file->PictureMetadata()));
  SetAttributeName();
  SetAttributeType();
  SetAttributeSize();
  SetAttributeResolu();
  SetTimes();
  SetCamera(metadata);
  SetExposure(metadata);
  SetPlaces(metadata);
  rows->addStretch(1);
  area->setWidget(content);
  area->verticalScrollBar()->setValue(scrolled);
}

void PicAttributeWnd::AddRow(const char* labelKey, const QString& value) {
  if (value.isEmpty()) return;
  const auto scale = [this](int pixels) { return Manager().Scale(pixels); };
  auto* line = new QFrame;
  line->setFixedHeight(1);
  line->setStyleSheet(
      QStringLiteral("background:%1").arg(Theme::Instance().Color(QStringLiteral("line")).name()));
  rows->addWidget(line);
  const QString words = CResourceManager::GetText(QString::fromLatin1(labelKey));
  auto* label = new QLabel(words);
  label->setAlignment(LineBegin() | Qt::AlignVCenter);
  label->setContentsMargins(0, scale(12), 0, scale(4));
  label->setFont(Theme::Instance().Font(QStringLiteral("small"), Manager().GetScale()));
  QPalette quiet = label->palette();
  quiet.setColor(QPalette::WindowText, Theme::Instance().Color(QStringLiteral("text-2")));
  label->setPalette(quiet);
  rows->addWidget(label);
  auto* text = new SelectableText(value, nullptr);
  text->setObjectName(QString::fromLatin1(labelKey));
  text->setAccessibleName(words);
  text->setFont(Theme::Instance().Font(QStringLiteral("body"), Manager().GetScale()));
  QPalette plain = text->palette();
  plain.setColor(QPalette::Text, Theme::Instance().Color(QStringLiteral("text")));
  text->setPalette(plain);
  rows->addWidget(text);
  rows->addSpacing(scale(12));
}

QString PicAttributeWnd::ValueOf(const QString& labelKey) const {
  const auto* text = findChild<SelectableText*>(labelKey);
  return text ? text->toPlainText() : QString();
}

void PicAttributeWnd::SetAttributeName() {
  LogInfo(kTag, [this] { return "AttributeName: of " + file->Guid(); });
  AddRow("IDS_GALLERT_LCD_ATTR_Name", Page::Wide(file->FileName()));
}

void PicAttributeWnd::SetAttributeType() {
  const QString extension = Page::Wide(platform::WideExtension(file->FileName())).mid(1).toUpper();
  LogInfo(kTag, [&] { return "AttributeFormat: " + extension.toStdString(); });
  AddRow("IDS_GALLERT_LCD_ATTR_Format", extension);
}

void PicAttributeWnd::SetAttributeSize() {
  const auto bytes = static_cast<double>(file->Size.Get());
  if (bytes <= 0) return;
  const bool large = bytes >= kMegabyte;
  AddRow("IDS_GALLERT_LCD_ATTR_Size",
         large ? WithUnit("IDS_GALLERT_LCD_ATTR_SizeM", Decimal(bytes / kMegabyte, 1))
               : WithUnit("IDS_GALLERT_LCD_ATTR_SizeKB", Decimal(bytes / kKilobyte, 1)));
}

void PicAttributeWnd::SetAttributeResolu() {
  int wide = 0, high = 0;
  if (file->IsVideo()) {
    VideoMetadata video;
    (void)video.FromJson(ParseJson(file->VideoMetadata()));
    wide = video.width;
    high = video.height;
    if (video.durationTime > 0) AddRow("IDS_VIEWER_ATTR_DURATION", Duration(video.durationTime));
  } else {
    PictureMetadata picture;
    (void)picture.FromJson(ParseJson(file->PictureMetadata()));
    wide = picture.width;
    high = picture.height;
  }
  if (wide > 0 && high > 0)
    AddRow("IDS_GALLERT_LCD_ATTR_Resolution",
           FromTheLeft(Digits(wide) + QStringLiteral(" x ") + Digits(high)));
}

void PicAttributeWnd::SetTimes() {
  if (file->CreateTime > 0)
    AddRow("IDS_VIEWER_ATTR_DATE", CResourceManager::FormatDateTime(file->CreateTime));
}

void PicAttributeWnd::SetCamera(const PictureMetadata& metadata) {
  AddRow("IDS_VIEWER_ATTR_CAMERA", CameraName(metadata));
  AddRow("IDS_VIEWER_ATTR_LENS", Text(metadata.lens));
}

void PicAttributeWnd::SetExposure(const PictureMetadata& metadata) {
  const bool exposed = metadata.exposureTime > 0;
  if (metadata.aperture > 0) AddRow("IDS_VIEWER_ATTR_APERTURE", Aperture(metadata.aperture));
  // A camera writes this one as a power: 2 is f/2, 4 is f/4.
  if (metadata.maxApertureValue > 0)
    AddRow("IDS_VIEWER_ATTR_MAX_APERTURE", Aperture(std::pow(2, metadata.maxApertureValue / 2)));
  AddRow("IDS_VIEWER_ATTR_EXPOSURE_TIME", ExposureTime(metadata.exposureTime));
  if (metadata.isoSpeed > 0) AddRow("IDS_VIEWER_ATTR_ISO", Digits(metadata.isoSpeed));
  if (metadata.focalLength > 0)
    AddRow("IDS_VIEWER_ATTR_FOCAL_LENGTH",
           WithUnit("IDS_VIEWER_UNIT_MILLIMETRES", Decimal(metadata.focalLength, 1)));
  if (metadata.exposureBias != 0)
    AddRow("IDS_VIEWER_ATTR_EXPOSURE_BIAS",
           WithUnit("IDS_VIEWER_UNIT_EV", Decimal(metadata.exposureBias, 2)));
  AddRow("IDS_VIEWER_ATTR_PROGRAM", WordsOf(metadata.exposureMode));
  AddRow("IDS_VIEWER_ATTR_METERING", WordsOf(metadata.meteringMode));
  // A record that knows no exposure knows nothing of a flash either.
  if (exposed)
    AddRow("IDS_VIEWER_ATTR_FLASH",
           CResourceManager::GetText(metadata.flashUsed ? QStringLiteral("IDS_VIEWER_FLASH_USED")
                                                        : QStringLiteral("IDS_VIEWER_FLASH_NOT_USED")));
  AddRow("IDS_VIEWER_ATTR_WHITE_BALANCE", Text(metadata.whiteBalance));
  if (metadata.subjectDistance > 0)
    AddRow("IDS_VIEWER_ATTR_DISTANCE", WithUnit("IDS_VIEWER_UNIT_METRES", Digits(metadata.subjectDistance)));
  AddRow("IDS_VIEWER_ATTR_COLOR_SPACE", WordsOf(metadata.colorSpace));
}

void PicAttributeWnd::SetPlaces(const PictureMetadata& metadata) {
  AddRow("IDS_VIEWER_ATTR_PLACE", Text(metadata.position));
  if (const auto album = Gallery::GetInstance().GetAlbum(file->AlbumId()))
    AddRow("IDS_VIEWER_ATTR_ALBUM", Page::AlbumTitle(*album));
  AddRow("IDS_VIEWER_ATTR_PATH", Page::NativeText(file->LocalPath()));
  AddRow("IDS_VIEWER_ATTR_CLOUD",
         CResourceManager::GetText(file->IsLocalOnly() ? QStringLiteral("IDS_VIEWER_CLOUD_WAITING")
                                                       : QStringLiteral("IDS_VIEWER_CLOUD_THERE")));
}
