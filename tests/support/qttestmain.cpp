// Tests of windows: one application for the whole program, without a screen, at 100 %
// whatever the computer says.

#include <gtest/gtest.h>

#include <QApplication>

#include "common/toolkit/motion.h"
#include "common/toolkit/toolkit.h"

int main(int argc, char** argv) {
  // For who starts the program by hand.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  if (qEnvironmentVariableIsEmpty("ZENTARA_SCALE")) qputenv("ZENTARA_SCALE", "100");
  testing::InitGoogleTest(&argc, argv);
  toolkit::Prepare();
  QApplication application(argc, argv);
  toolkit::Start(application);
  toolkit::motion::SetMode(toolkit::motion::Mode::Still);
  return RUN_ALL_TESTS();
}
