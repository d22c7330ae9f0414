#include "common/toolkit/dialogbuilder.h"

#include <QFile>
#include <QHash>
#include <QXmlStreamReader>

#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/label.h"
#include "common/toolkit/list.h"
#include "common/toolkit/progress.h"
#include "common/toolkit/scrollbar.h"
#include "common/toolkit/slider.h"

namespace {

// A skin that includes itself would never end.
constexpr int kMaxIncludes = 8;

template <class T>
CControlUI* Make() {
  return new T;
}

}  // namespace

CControlUI* CDialogBuilder::MakeKnown(const QString& element) {
  static const QHash<QString, CControlUI* (*)()> known{
      {"Control", Make<CWidgetUI>},
      {"Container", Make<CContainerUI>},
      {"VerticalLayout", Make<CVerticalLayoutUI>},
      {"HorizontalLayout", Make<CHorizontalLayoutUI>},
      {"TabLayout", Make<CTabLayoutUI>},
      {"ScrollBox", Make<CScrollBoxUI>},
      {"Label", Make<CLabelUI>},
      {"Button", Make<CButtonUI>},
      {"CheckBox", Make<CCheckBoxUI>},
      {"Radio", Make<CRadioUI>},
      {"Edit", Make<CEditUI>},
      {"Slider", Make<CSliderUI>},
      {"Progress", Make<CProgressUI>},
      {"Ring", Make<CRingUI>},
      {"ScrollBar", Make<CScrollBarUI>},
      {"List", Make<CListUI>},
      {"ListContainerElement", Make<CListContainerElementUI>},
  };
  const auto make = known.value(element);
  return make ? make() : nullptr;
}

CControlUI* CDialogBuilder::Create(const QString& skinFile, IDialogBuilderCallback* callback,
                                   QWidget* parent) {
  owner = callback;
  CControlUI* const root = ReadFile(skinFile);
  if (root && parent) root->Widget()->setParent(parent);
  return root;
}

CControlUI* CDialogBuilder::CreateFromText(const QByteArray& text, IDialogBuilderCallback* callback,
                                           QWidget* parent) {
  owner = callback;
  QXmlStreamReader xml(text);
  CControlUI* const root = ReadDocument(xml, "text");
  if (root && parent) root->Widget()->setParent(parent);
  return root;
}

CControlUI* CDialogBuilder::ReadFile(const QString& skinFile) {
  QFile file(":/skin/" + skinFile);
  if (depth >= kMaxIncludes || !file.open(QIODevice::ReadOnly)) {
    qWarning("Skin: cannot read %s", qUtf8Printable(skinFile));
    return nullptr;
  }
  ++depth;
  QXmlStreamReader xml(&file);
  CControlUI* const root = ReadDocument(xml, skinFile);
  --depth;
  return root;
}

CControlUI* CDialogBuilder::ReadDocument(QXmlStreamReader& xml, const QString& source) {
  CControlUI* root = nullptr;
  if (xml.readNextStartElement() && xml.name() == QLatin1String("Window")) xml.readNextStartElement();
  if (xml.isStartElement()) root = ReadElement(xml);
  if (root && !xml.hasError()) return root;
  if (root) delete root->Widget();
  qWarning("Skin: %s, line %d: %s", qUtf8Printable(source), static_cast<int>(xml.lineNumber()),
           qUtf8Printable(xml.errorString()));
  return nullptr;
}

CControlUI* CDialogBuilder::ReadElement(QXmlStreamReader& xml) {
  const QString element = xml.name().toString();
  const QXmlStreamAttributes attributes = xml.attributes();
  CControlUI* control = nullptr;
  if (element == "Include") {
    control = ReadFile(attributes.value("source").toString());
  } else {
    if (owner) control = owner->CreateControl(element);
    if (!control) control = MakeKnown(element);
    if (!control) qWarning("Skin: unknown element %s", qUtf8Printable(element));
  }
  if (!control) {
    xml.skipCurrentElement();
    return nullptr;
  }
  for (const auto& attribute : attributes) {
    if (element == "Include" && attribute.name() == QLatin1String("source")) continue;
    control->SetAttribute(attribute.name().toString(), attribute.value().toString());
  }
  ReadChildren(xml, *control);
  return control;
}

void CDialogBuilder::ReadChildren(QXmlStreamReader& xml, CControlUI& control) {
  const auto container = dynamic_cast<CContainerUI*>(&control);
  while (xml.readNextStartElement()) {
    CControlUI* const child = ReadElement(xml);
    if (!child) continue;
    if (container && container->Add(child)) continue;
    qWarning("Skin: %s takes no children", qUtf8Printable(control.GetClass()));
    delete child->Widget();
  }
}
