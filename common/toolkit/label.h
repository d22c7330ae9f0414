#pragma once

#include <QLabel>

#include "common/toolkit/tcontrol.h"

// Words on one line, cut with an ellipsis and told whole by the tooltip when
// there is not enough room.
//
// Attributes: textalign (start, center, end), wrap ("true": several lines),
// elide (end, middle, none), icon, iconsize, iconcolor (an icon in place of
// words), html ("true": the words may hold <b>, <a NAME> and <c #RRGGBB>, with
// their closing tags; a click on a link sends "link" with the name as detail),
// live ("polite" or "assertive": a change is told to assistive technology).
class CLabelUI : public TControl<QLabel> {
 public:
  explicit CLabelUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("LabelUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void Restyle() override;
  void SetIcon(const QString& name, int size = 0, const QString& color = {});

  QSize minimumSizeHint() const override;

 protected:
  void ShowText(const QString& shown) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  bool Elides() const;
  void TellWhole();

  Qt::TextElideMode elide = Qt::ElideRight;
  QString lastWords, icon, iconColor;
  int iconSize = 16;
  bool html = false;
  bool live = false;
  bool tellsWhole = false;
};
