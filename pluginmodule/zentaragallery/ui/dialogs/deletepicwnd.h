#pragma once

#include "common/duilib_business/windowbusybaseshadow.h"

// Asks before something is deleted, "CDeletePicWnd". RunOver gives IDOK for yes.
class DeletePicWnd : public WindowBusyBaseShadow {
 public:
  enum class Kind { Files, ClearBin, Album };
  // `hard`: for good. `name` is the album's.
  DeletePicWnd(Kind kind, std::size_t count, bool hard, QString name = {});

  QString GetSkinFile() override { return QStringLiteral("Gallery/DeletePic/DeletePic.xml"); }
  const char* GetWindowClassName() const override { return "CDeletePicWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;
  bool OnKey(TEventUI& event) override;

  // The keys of title, sentence and button.
  struct Words {
    QString title, content, button;
  };
  Words KeysOf() const;

 private:
  bool OnHotKey(const TEventUI& event);
  void Accept();

  const Kind kind;
  const std::size_t count;
  const bool hard;
  const QString name;
};
