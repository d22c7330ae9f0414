#include "firstrunpage.h"

#include <QPainter>
#include <QPointer>
#include <QUrl>

#include "choicecard.h"
#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/label.h"
#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"
#include "framewindow.h"
#include "ui/pagecontext.h"

namespace {

// The address of a server as it is typed: "photos.example" means that of its https.
// Empty for what can be no address.
QString ServerAddress(QString typed) {
  if (!typed.contains(QStringLiteral("://"))) typed.prepend(QStringLiteral("https://"));
  while (typed.endsWith(u'/')) typed.chop(1);
  const QUrl url(typed, QUrl::StrictMode);
  const bool web = url.scheme() == QStringLiteral("https") || url.scheme() == QStringLiteral("http");
  return url.isValid() && web && !url.host().isEmpty() ? typed : QString();
}

}  // namespace

FirstRunPage::FirstRunPage(FrameWindow& of)
    : ask([](const std::string& server, const std::function<bool()>& goesOn) {
        return AddressCheck::Ask(server, goesOn);
      }),
      frame(of) {}

FirstRunPage::~FirstRunPage() {
  if (asking) *asking = false;
}

CControlUI* FirstRunPage::CreateControl(const QString& element) {
  return element == QStringLiteral("ChoiceCard") ? new ChoiceCardUI : nullptr;
}

void FirstRunPage::InitWindow() {
  auto* password = Find<CEditUI>(QStringLiteral("login_password"));
  auto* eye = FindControl(QStringLiteral("show_password"));
  if (password && eye) password->PutInside(*eye);
  ShowStep(1);
}

QString FirstRunPage::TextOf(const char* name) const {
  const auto* control = FindControl(QString::fromLatin1(name));
  return control ? control->GetText().trimmed() : QString();
}

void FirstRunPage::ShowStep(int next) {
  step = next;
  Fail({});
  for (const char* name : {"step_choice", "step_login"})
    if (auto* part = FindControl(QString::fromLatin1(name)))
      part->SetVisible((step == 1) == (QLatin1String(name) == QLatin1String("step_choice")));
  const auto* elsewhere = Find<ChoiceCardUI>(QStringLiteral("choice_server"));
  if (auto* field = FindControl(QStringLiteral("server_field")))
    field->SetEnabled(elsewhere && elsewhere->IsSelected());
  if (auto* heading = FindControl(QStringLiteral("first_title")))
    heading->SetText(step == 1 ? QStringLiteral("IDS_FIRSTRUN_TITLE")
                               : QStringLiteral("IDS_FIRSTRUN_SIGN_IN"));
  if (auto* words = FindControl(QStringLiteral("first_text")))
    words->SetText(step == 1 ? QStringLiteral("IDS_FIRSTRUN_TEXT") : TextOf("server_field"));
  for (const char* name : {"dot_choice", "dot_login"}) {
    auto* dot = FindControl(QString::fromLatin1(name));
    if (!dot) continue;
    const bool on = (step == 1) == (QLatin1String(name) == QLatin1String("dot_choice"));
    dot->SetFixedWidth(on ? 20 : 6);
    dot->SetBkColor(on ? QStringLiteral("accent") : QStringLiteral("line-strong"));
  }
  if (auto* back = FindControl(QStringLiteral("btn_back"))) back->SetVisible(step == 2);
  if (auto* later = FindControl(QStringLiteral("btn_later"))) later->SetVisible(step == 1);
  if (auto* on = FindControl(QStringLiteral("btn_next")))
    on->SetText(step == 1 ? QStringLiteral("IDS_FIRSTRUN_NEXT") : QStringLiteral("IDS_FIRSTRUN_SIGN_IN"));
  if (auto* first = FindControl(step == 1 ? QStringLiteral("btn_next") : QStringLiteral("login_user")))
    first->SetFocus();
}

void FirstRunPage::Wait(bool busy) {
  for (const char* name : {"btn_next", "btn_back", "btn_later", "card"})
    if (auto* control = FindControl(QString::fromLatin1(name))) control->SetEnabled(!busy);
  if (auto* ring = FindControl(QStringLiteral("wait_ring"))) ring->SetVisible(busy);
}

void FirstRunPage::Fail(const QString& words) {
  auto* label = FindControl(QStringLiteral("fail_words"));
  if (!label) return;
  label->SetText(words);
}

void FirstRunPage::OnAddress() {
  const QString address = ServerAddress(TextOf("server_field"));
  if (TextOf("server_field").isEmpty()) return Fail(QStringLiteral("IDS_FIRSTRUN_ADDRESS_NEEDED"));
  if (address.isEmpty()) return Fail(QStringLiteral("IDS_FIRSTRUN_ADDRESS_WRONG"));
  Fail({});
  if (address == answered) return ShowStep(2);
  wantsOn = true;
  Check();
}

void FirstRunPage::Check() {
  const QString address = ServerAddress(TextOf("server_field"));
  if (asking || address.isEmpty() || address == answered) return;
  asking = std::make_shared<std::atomic<bool>>(true);
  ShowCheck("IDS_FIRSTRUN_ASKING", "", "text-2");
  Page::InBackground(
      this,
      [ask = ask, server = address.toStdString(), waits = asking] {
        return std::pair(waits, ask(server, [waits] { return waits->load(); }));
      },
      [this, address](const auto& told) {
        if (told.first == asking) OnChecked(address, told.second);
      });
}

void FirstRunPage::OnChecked(const QString& address, AddressCheck::Answer answer) {
  const bool good = AddressCheck::IsGood(answer), on = wantsOn;
  StopCheck();
  ShowCheck(AddressCheck::WordsOf(answer), good ? "check" : "error", good ? "ok" : "danger-text");
  if (auto* field = Find<CEditUI>(QStringLiteral("server_field"))) field->SetError(!good);
  if (!good) return;
  answered = address;
  if (on) ShowStep(2);
}

// What it still comes to is no longer told.
void FirstRunPage::StopCheck() {
  if (asking) *asking = false;
  asking.reset();
  wantsOn = false;
  answered.clear();
  ShowCheck("", "", "");
  if (auto* field = Find<CEditUI>(QStringLiteral("server_field"))) field->SetError(false);
}

void FirstRunPage::ShowCheck(const char* words, const char* icon, const char* color) {
  const auto show = [this](const char* name, bool on) {
    if (auto* control = FindControl(QString::fromLatin1(name))) control->SetVisible(on);
  };
  show("check_ring", asking != nullptr);
  show("check_stop", asking != nullptr);
  show("check_icon", *icon != 0);
  if (auto* mark = Find<CLabelUI>(QStringLiteral("check_icon")); mark && *icon)
    mark->SetIcon(QString::fromLatin1(icon), 16, QString::fromLatin1(color));
  auto* label = FindControl(QStringLiteral("check_words"));
  if (!label) return;
  if (*color) label->SetTextColor(QString::fromLatin1(color));
  label->SetText(QString::fromLatin1(words));
}

void FirstRunPage::OnNext() {
  if (step == 2) return SignIn();
  const auto* elsewhere = Find<ChoiceCardUI>(QStringLiteral("choice_server"));
  if (elsewhere && elsewhere->IsSelected()) return OnAddress();
  Wait(true);
  frame.UseHomeCloud([page = QPointer<FirstRunPage>(this)](const QString& error) {
    if (!page) return;
    page->Wait(false);
    error.isEmpty() ? page->frame.FinishFirstRun() : page->Fail(error);
  });
}

void FirstRunPage::SignIn() {
  const QString server = ServerAddress(TextOf("server_field"));
  const auto* password = Find<CEditUI>(QStringLiteral("login_password"));
  if (TextOf("login_user").isEmpty() || !password || password->GetText().isEmpty())
    return Fail(QStringLiteral("IDS_FIRSTRUN_NAME_NEEDED"));
  Wait(true);
  frame.UseServer(server.toStdString(), TextOf("login_user").toStdString(), password->GetText().toStdString(),
                  [page = QPointer<FirstRunPage>(this)](const QString& error) {
                    if (!page) return;
                    page->Wait(false);
                    error.isEmpty() ? page->frame.FinishFirstRun() : page->Fail(error);
                  });
}

void FirstRunPage::Notify(TNotifyUI& message) {
  const QString name = message.pSender ? message.pSender->GetName() : QString();
  if (message.sType == QStringLiteral("selectchanged")) {
    const auto* elsewhere = Find<ChoiceCardUI>(QStringLiteral("choice_server"));
    auto* field = FindControl(QStringLiteral("server_field"));
    if (!field || !elsewhere) return;
    field->SetEnabled(elsewhere->IsSelected());
    if (!elsewhere->IsSelected()) StopCheck();
    if (elsewhere->IsSelected()) field->SetFocus();
    return;
  }
  if (name == QStringLiteral("server_field")) {
    if (message.sType == QStringLiteral("textchanged")) return StopCheck();
    if (message.sType == QStringLiteral("killfocus")) return Check();
    if (message.sType == QStringLiteral("escape")) return StopCheck();
  }
  if (message.sType == QStringLiteral("return")) return OnNext();
  if (message.sType != QStringLiteral("click")) return;
  if (name == QStringLiteral("btn_next")) return OnNext();
  if (name == QStringLiteral("check_stop")) return StopCheck();
  if (name == QStringLiteral("btn_back")) return ShowStep(1);
  if (name == QStringLiteral("btn_later")) return frame.FinishFirstRun();
  if (name == QStringLiteral("show_password")) {
    auto* field = Find<CEditUI>(QStringLiteral("login_password"));
    if (field)
      field->setEchoMode(field->echoMode() == QLineEdit::Password ? QLineEdit::Normal : QLineEdit::Password);
  }
}

void FirstRunPage::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), Theme::Instance().Color(QStringLiteral("panel")));
}
