#pragma once

#include <QString>

class CContainerUI;
class CControlUI;
class QWidget;
class QXmlStreamReader;

// Makes the controls that the toolkit does not know.
class IDialogBuilderCallback {
 public:
  virtual ~IDialogBuilderCallback() = default;
  // A new control for an element of the skin; null for an unknown name.
  virtual CControlUI* CreateControl(const QString& element) = 0;
};

// Builds controls from a skin: an XML file under ":/skin/" in which an element
// is a control, named as its class without C and UI, with its attributes.
//
// <Window> around the root is allowed; its attributes are of no use to a
// control. <Include source="Gallery/part.xml"/> takes the file's root in its
// place, with the attributes of the Include applied over its own.
// The callback is asked first, so that a window may put its own class in place
// of a known one.
class CDialogBuilder {
 public:
  // The built root as a child of `parent`; null, with a line on the Qt warning
  // channel, when the file is missing or damaged.
  CControlUI* Create(const QString& skinFile, IDialogBuilderCallback* callback = nullptr,
                     QWidget* parent = nullptr);
  CControlUI* CreateFromText(const QByteArray& xml, IDialogBuilderCallback* callback = nullptr,
                             QWidget* parent = nullptr);

  // The control of an element that the toolkit knows; null for others.
  static CControlUI* MakeKnown(const QString& element);

 private:
  CControlUI* ReadElement(QXmlStreamReader& xml);
  void ReadChildren(QXmlStreamReader& xml, CControlUI& control);
  CControlUI* ReadFile(const QString& skinFile);
  CControlUI* ReadDocument(QXmlStreamReader& xml, const QString& source);

  IDialogBuilderCallback* owner = nullptr;
  int depth = 0;
};
