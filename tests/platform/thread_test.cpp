#include "common/platform/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

namespace {

std::string NameAfterSetting(std::string_view name) {
  char shown[16] = {};
  std::thread([&] {
    platform::SetThreadName(name);
    pthread_getname_np(pthread_self(), shown, sizeof shown);
  }).join();
  return shown;
}

TEST(ThreadTest, NameIsShown) { EXPECT_EQ(NameAfterSetting("sync timer"), "sync timer"); }

TEST(ThreadTest, LongNameIsCutBetweenCharacters) {
  EXPECT_EQ(NameAfterSetting("0123456789abcdef"), "0123456789abcde");
  EXPECT_EQ(NameAfterSetting("0123456789abcd\xC3\xA4"), "0123456789abcd");
}

}  // namespace
