// Log-ins, log-outs and closings in any order, some of them while the page asks
// something. ZENTARA_ROUNDS says how many, ZENTARA_SEED which.

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QTimer>
#include <cstdlib>
#include <iostream>
#include <random>

#include "frametest.h"
#include "ui/dialogs/messagebox.h"
#include "ui/zentaragallery.h"
#include "utils/messages.h"

namespace {

constexpr int kPatienceMs = 120'000;
constexpr unsigned kRounds = 6;

unsigned Number(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

class AccountStormTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(UseFreshProfile(folder));
    Open();
  }
  void TearDown() override { Shut(); }

  void Open() {
    work = std::make_unique<Workspace>();
    QString error;
    // A program that is just being started from here holds the lock until it runs.
    ASSERT_TRUE(Until([&] { return work->Take(error) == ProfileOwner::Take::Owned; })) << error.toStdString();
    frame = std::make_unique<FrameWindow>(*work, QStringList());
    ASSERT_TRUE(frame->Create(static_cast<QWidget*>(nullptr), QStringLiteral("Zentara Gallery"),
                              WindowStyle::Frame, {0, 0, 1440, 900}));
    frame->show();
    ASSERT_TRUE(Until([this] { return work->IsOpen(); }));
  }
  void Shut() {
    frame.reset();
    if (work) work->Close();
    work.reset();
  }
  static bool Until(const std::function<bool()>& done) {
    return QTest::qWaitFor([&done] { return done(); }, kPatienceMs);
  }
  static ErrorWnd* Question() {
    for (QWidget* widget : QApplication::allWidgets()) {
      auto* question = dynamic_cast<ErrorWnd*>(widget);
      if (question && question->isVisible()) return question;
    }
    return nullptr;
  }
  // Does it now, or once the page waits in a question for an answer.
  void Do(bool underQuestion, const std::function<void()>& action) {
    auto* page = frame->GalleryPage();
    if (!underQuestion || !page || !page->isVisible()) return action();
    auto* wait = new QTimer(qApp);
    bool acted = false;
    QObject::connect(wait, &QTimer::timeout, qApp, [wait, action, &acted] {
      if (!Question()) return;
      delete wait;
      acted = true;
      action();
      // The page is still there: so is its question.
      if (auto* left = Question()) left->Close();
    });
    wait->start(1);
    (void)platform::PostMessageW(page->GetHWND(), WM_HOME_GALLERY_DBLCLICK, 0,
                                 reinterpret_cast<LPARAM>(new std::wstring(L"/none.jpg")));
    ASSERT_TRUE(Until([&acted] { return acted; }));
  }
  void Round(std::mt19937& random) {
    bool done = false;
    const auto ends = [&done](const QString&) { done = true; };
    const bool underQuestion = random() % 2 == 0;
    switch (random() % 4) {
      case 0:
        Do(underQuestion, [&] { frame->UseHomeCloud(ends); });
        break;
      case 1:
        Do(underQuestion, [&] { frame->SignOut(ends); });
        break;
      case 2:
        Do(underQuestion, [&] {
          frame->FinishFirstRun();
          done = true;
        });
        break;
      default:
        Do(underQuestion, [&] { frame.reset(); });
        Shut();
        Open();
        done = true;
    }
    ASSERT_TRUE(Until([&done] { return done; }));
    EXPECT_TRUE(Until([] { return Question() == nullptr; }));
  }

  TemporaryFolder folder;
  std::unique_ptr<Workspace> work;
  std::unique_ptr<FrameWindow> frame;
};

TEST_F(AccountStormTest, EndsInOrderWhateverComesWhen) {
  const unsigned seed = Number("ZENTARA_SEED", std::random_device{}());
  const unsigned rounds = Number("ZENTARA_ROUNDS", kRounds);
  std::cout << "seed " << seed << ", " << rounds << " rounds" << std::endl;
  std::mt19937 random(seed);
  for (unsigned i = 0; i < rounds && !HasFatalFailure(); ++i) {
    SCOPED_TRACE("round " + std::to_string(i));
    Round(random);
  }
  ASSERT_NE(frame, nullptr);
}

}  // namespace
