#include "host/profile/profileowner.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "host/profile/controlchannel.h"
#include "host/profile/ownerclient.h"
#include "tests/support/temporaryfolder.h"

namespace {

using Result = OwnerClient::Result;

// A terminal in memory.
class TestTerminal : public CommandTerminal {
 public:
  TestTerminal() : CommandTerminal("/somewhere") {}
  void Write(std::string_view text) override { printed += text; }
  void Flush() override {}
  void WriteError(std::string_view text) override { errors += text; }
  bool IsGood() const override { return true; }
  bool InputIsTerminal() const override { return true; }
  bool ErrorIsTerminal() const override { return false; }
  std::optional<std::string> ReadLine(const std::string& prompt, Echo echo) override {
    return prompt + (echo == Echo::Hidden ? "hidden" : "shown");
  }
  std::error_code ReadFile(const std::filesystem::path& file, std::string& content) override {
    content = "content of " + file.string();
    return {};
  }

  std::string printed, errors;
};

class TestRunner : public ICommandRunner {
 public:
  CommandKind KindOf(const std::vector<std::string>& arguments) override {
    if (arguments.at(0) == "long") return CommandKind::Long;
    return arguments.at(0) == "watch" ? CommandKind::Resumable : CommandKind::Short;
  }
  int Run(const std::vector<std::string>& arguments, CommandTerminal& terminal) override {
    ++runs;
    if (arguments[0] == "watch") {
      begun.count_down();
      while (!terminal.Stopped()) std::this_thread::yield();
      return 5;
    }
    if (arguments[0] == "ask") {
      std::string content;
      (void)terminal.ReadFile("file", content);
      terminal.Write(*terminal.ReadLine("name? ", CommandTerminal::Echo::Hidden) + "|" + content);
      return 0;
    }
    for (const auto& argument : arguments) terminal.Write(argument + "|");
    terminal.WriteError(terminal.Path("x").string());
    return 3;
  }

  std::atomic<int> runs{0};
  std::latch begun{1};
};

class ProfileOwnerTest : public testing::Test {
 protected:
  void Own(CommandKind kind) {
    std::error_code error;
    ASSERT_EQ(owner.TryTake(folder.Path(), kind, error), ProfileOwner::Take::Owned) << error.message();
  }
  OwnerClient::Outcome Ask(const std::vector<std::string>& arguments) {
    return OwnerClient().Run(folder.Path(), {arguments, "/somewhere", true, false}, terminal);
  }

  TemporaryFolder folder;
  TestRunner runner;
  TestTerminal terminal;
  ProfileOwner owner;
};

TEST_F(ProfileOwnerTest, CommandComesOverAsItWasTypedAndItsAnswerGoesBack) {
  Own(CommandKind::Long);
  owner.Serve(runner);
  const auto outcome = Ask({"say", "", "two words", "\xff\n"});
  EXPECT_EQ(outcome.result, Result::Ended);
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(terminal.printed, "say||two words|\xff\n|");
  EXPECT_EQ(terminal.errors, "/somewhere/x");
}

TEST_F(ProfileOwnerTest, QuestionsAreAnsweredWhereTheCommandWasTyped) {
  Own(CommandKind::Long);
  owner.Serve(runner);
  EXPECT_EQ(Ask({"ask"}).status, 0);
  EXPECT_EQ(terminal.printed, "name? hidden|content of file");
}

TEST_F(ProfileOwnerTest, ProfileHasOneOwner) {
  Own(CommandKind::Short);
  ProfileOwner second;
  std::error_code error;
  EXPECT_EQ(second.TryTake(folder.Path(), CommandKind::Short, error), ProfileOwner::Take::Elsewhere);
  owner.Finish({});
  EXPECT_EQ(second.TryTake(folder.Path(), CommandKind::Short, error), ProfileOwner::Take::Elsewhere);
  owner.Release();
  EXPECT_EQ(second.TryTake(folder.Path(), CommandKind::Short, error), ProfileOwner::Take::Owned);
}

TEST_F(ProfileOwnerTest, ShortOwnerTakesNoLongCommand) {
  Own(CommandKind::Short);
  owner.Serve(runner);
  EXPECT_EQ(Ask({"long"}).result, Result::NobodyThere);
  EXPECT_EQ(runner.runs, 0);
  EXPECT_EQ(Ask({"say"}).result, Result::Ended);
}

TEST_F(ProfileOwnerTest, OwnerThatEndsGivesBackWhatCanBeginAgain) {
  Own(CommandKind::Long);
  owner.Serve(runner);
  std::thread client([this] { EXPECT_EQ(Ask({"watch"}).result, Result::HandedBack); });
  runner.begun.wait();
  owner.Finish({});
  client.join();
}

TEST_F(ProfileOwnerTest, OwnerThatEndsTakesNothingAnyMore) {
  Own(CommandKind::Long);
  owner.Serve(runner);
  owner.Finish({});
  EXPECT_EQ(Ask({"say"}).result, Result::NobodyThere);
  EXPECT_EQ(runner.runs, 0);
}

TEST_F(ProfileOwnerTest, ClientThatStopsStopsItsCommand) {
  Own(CommandKind::Long);
  owner.Serve(runner);
  OwnerClient client;
  std::thread stopper([&] {
    runner.begun.wait();
    client.Stop();
  });
  EXPECT_EQ(client.Run(folder.Path(), {{"watch"}, "/", false, false}, terminal).status, 5);
  stopper.join();
}

// The frames are drawn in the header; clients of other versions count on these two.
TEST_F(ProfileOwnerTest, OtherVersionIsRefusedInFramesThatStay) {
  Own(CommandKind::Long);
  owner.Serve(runner);
  auto socket = platform::LocalSocket::Connect(ProfileOwner::SocketIn(folder.Path()));
  ASSERT_TRUE(socket.Send(std::string("V\x03\0\0\0old", 8)));
  std::string answer(5 + ProfileOwner::Version().size(), '\0');
  ASSERT_TRUE(socket.Receive(answer.data(), answer.size()));
  EXPECT_EQ(answer[0], 'r');
  EXPECT_EQ(answer.substr(5), ProfileOwner::Version());
  EXPECT_EQ(runner.runs, 0);
}

}  // namespace
