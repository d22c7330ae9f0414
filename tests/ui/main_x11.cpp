// Tests on a screen of their own: an X server without a picture, one for the program.

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <csignal>
#include <string>

#include "common/toolkit/toolkit.h"

namespace {

pid_t server = -1;

// The server says its number once it takes connections.
bool StartScreen() {
  int ends[2];
  if (pipe(ends) != 0) return false;
  server = fork();
  if (server == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // A test that crashes takes its screen along.
    close(ends[0]);
    const std::string out = std::to_string(ends[1]);
    execlp("Xvfb", "Xvfb", "-displayfd", out.c_str(), "-screen", "0", "1600x1000x24", "-nolisten", "tcp",
           "-noreset", nullptr);
    _exit(127);
  }
  close(ends[1]);
  std::string number;
  char digit = 0;
  while (read(ends[0], &digit, 1) == 1 && digit != '\n') number += digit;
  close(ends[0]);
  if (number.empty()) return false;
  qputenv("DISPLAY", QByteArray::fromStdString(":" + number));
  qputenv("QT_QPA_PLATFORM", "xcb");
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (qEnvironmentVariableIsEmpty("ZENTARA_SCALE")) qputenv("ZENTARA_SCALE", "100");
  if (!StartScreen()) return 1;
  int failed = 1;
  {
    toolkit::Prepare();
    QApplication application(argc, argv);
    toolkit::Start(application);
    failed = RUN_ALL_TESTS();
  }
  kill(server, SIGTERM);
  waitpid(server, nullptr, 0);
  return failed;
}
