#include "host/base/credentialmask.h"

#include <gtest/gtest.h>

namespace {

using Logger::MaskCredentials;

struct Case {
  const char* text;
  const char* masked;
};

constexpr Case kCases[] = {
    {"Authorization: Bearer abc.def== tail", "Authorization: ***"},
    {"headers: Authorization:Type dG9r/ZW4=\r\nContent-Length: 3",
     "headers: Authorization:***\r\nContent-Length: 3"},
    {"sent Bearer abc-_.~+/= and went on", "sent Bearer *** and went on"},
    {R"({"accessToken":"a\"b","next":1})", R"({"accessToken":"***","next":1})"},
    {R"({"body":"{\"refreshToken\":\"s3cr3t\",\"n\":1}"})",
     R"({"body":"{\"refreshToken\":\"***\",\"n\":1}"})"},
    {"https://host/?ACCESSTOKEN=abc&x=1", "https://host/?ACCESSTOKEN=***&x=1"},
    {"password = hunter2, user = me", "password = ***, user = me"},
    {"decode key err:[ekey:00ff][iv:11]", "decode key err:[ekey:***][iv:11]"},
    {"mk1:aa mk2=bb", "mk1:*** mk2=***"},
    {"userKey3: 0102 userKey1='04 05' x", "userKey3: *** userKey1='***' x"},
    {R"("password":"")", R"("password":"")"},
    {"mk1 or mk2 is empty", "mk1 or mk2 is empty"},
    {"the bearer", "the bearer"},
    {"password", "password"},
    {"password:", "password:"},
    {"password=\"open", "password=\"***"},
    {"", ""},
};

TEST(CredentialMaskTest, ValuesBehindTheWordsAreGone) {
  for (const Case& item : kCases) EXPECT_EQ(MaskCredentials(item.text), item.masked);
}

}  // namespace
