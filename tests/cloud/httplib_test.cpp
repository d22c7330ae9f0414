#include "cloud/httplib.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <future>

#include "cloudserver.h"
#include "loopbackserver.h"
#include "utils/globaldata.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

const HttpHeaders kHeaders = {{"version", "1"}, {"Content-Type", "application/json"}};
std::string Answer(int code, const std::string& body = {}) { return LoopbackServer::Answer(code, body); }

class HttpLibTest : public GalleryTest {
 protected:
  HttpLib http;
  std::string response;
};

TEST_F(HttpLibTest, HeadersStandInTheirOrderWithoutABlank) {
  LoopbackServer server({Answer(200, "{}")});
  ASSERT_TRUE(http.Request(kHeaders, "{}", kHttpPost, server.Url() + "/x?y=1", response));
  const std::string request = server.Requests().at(0);
  EXPECT_THAT(request, StartsWith("POST /x?y=1 HTTP/1.1\r\n"));
  EXPECT_THAT(request, HasSubstr("\r\nContent-Type:application/json\r\nversion:1\r\nx-zt-client-mode:pc\r\n"
                                 "x-zt-os-brand:Windows\r\n"));
  EXPECT_THAT(request, EndsWith("\r\n\r\n{}"));
  EXPECT_THAT(request, Not(HasSubstr("Bearer")));
}

TEST_F(HttpLibTest, EmptyHeaderValueIsSent) {
  LoopbackServer server({Answer(200)});
  ASSERT_TRUE(http.Request({{"x-zt-country-code", ""}}, "", kHttpGet, server.Url(), response));
  EXPECT_THAT(server.Requests().at(0), HasSubstr("\r\nx-zt-country-code:\r\n"));
}

struct MethodCase {
  std::int32_t method;
  const char* name;
  const char* sent;
};
class HttpLibMethodTest : public HttpLibTest, public testing::WithParamInterface<MethodCase> {};
TEST_P(HttpLibMethodTest, MethodAndBodyGoOut) {
  LoopbackServer server({Answer(200)});
  ASSERT_TRUE(http.Request(kHeaders, "body", GetParam().method, server.Url() + "/", response));
  EXPECT_THAT(server.Requests().at(0), StartsWith(std::string(GetParam().name) + " / HTTP/1.1\r\n"));
  EXPECT_THAT(server.Requests().at(0), EndsWith(std::string("\r\n\r\n") + GetParam().sent));
}
INSTANTIATE_TEST_SUITE_P(Methods, HttpLibMethodTest,
                         testing::Values(MethodCase{kHttpGet, "GET", ""},
                                         MethodCase{kHttpPost, "POST", "body"},
                                         MethodCase{kHttpDelete, "DELETE", ""},
                                         MethodCase{kHttpPatch, "PATCH", "body"},
                                         MethodCase{kHttpPut, "PUT", "body"}));

struct AttemptCase {
  std::vector<std::string> answers;
  std::size_t attempts;
  bool result;
  const char* response;
};
class HttpLibAttemptTest : public HttpLibTest, public testing::WithParamInterface<AttemptCase> {};
TEST_P(HttpLibAttemptTest, EndsAtTheFirstGoodAnswerOrTheThird) {
  LoopbackServer server(GetParam().answers);
  EXPECT_EQ(http.Request(kHeaders, "", kHttpGet, server.Url(), response), GetParam().result);
  EXPECT_THAT(server.Requests(), SizeIs(GetParam().attempts));
  EXPECT_EQ(response, GetParam().response);
}
INSTANTIATE_TEST_SUITE_P(
    Codes, HttpLibAttemptTest,
    testing::Values(AttemptCase{{Answer(200, "good")}, 1, true, "good"},
                    AttemptCase{{Answer(404, "none")}, 3, true, "none"},
                    AttemptCase{{Answer(201, "made")}, 3, true, "made"},
                    AttemptCase{{Answer(500, "first"), Answer(200, "second")}, 2, true, "second"},
                    AttemptCase{{"", Answer(503, "busy"), Answer(403, "no")}, 3, true, "no"},
                    AttemptCase{{""}, 3, false, ""},
                    AttemptCase{{Answer(500), "HTTP/1.1 204 None\r\n\r\n"}, 2, true, ""}));

TEST_F(HttpLibTest, EachFailedAttemptIsLoggedWithoutSecrets) {
  const LogText log;
  LoopbackServer server({Answer(403, R"({"token":"secret-1"})")});
  ASSERT_TRUE(http.Request(kHeaders, R"({"token":"secret-2"})", kHttpPost, server.Url(), response));
  EXPECT_TRUE(log.Has(R"(curlCode:0 resCode:403 response:{"token":"***"})"));
  EXPECT_TRUE(log.Has(R"(request\nbody : {"token":"***"}\nresult : {"token":"***"}\nGHttpRequestMethod: 1)"));
  EXPECT_FALSE(log.Has("secret"));
}

TEST_F(HttpLibTest, NoAnswerIsAFailure) {
  const LogText log;
  LoopbackServer server({""});
  EXPECT_FALSE(http.Request(kHeaders, "", kHttpGet, server.Url(), response));
  EXPECT_TRUE(log.Has("request fail, code:0"));
}

TEST_F(HttpLibTest, StopEndsARequestThatNobodyAnswers) {
  std::promise<void> asked, released;
  LoopbackServer server([&](const std::string&) {
    asked.set_value();
    released.get_future().wait();
    return std::string();
  });
  auto request = std::async(std::launch::async,
                            [&] { return http.Request(kHeaders, "", kHttpGet, server.Url(), response); });
  asked.get_future().wait();
  http.Stop();
  EXPECT_FALSE(request.get());
  released.set_value();
  EXPECT_THAT(server.Requests(), SizeIs(1));
}

TEST_F(HttpLibTest, StopKeepsAFailedRequestFromBeingRepeated) {
  LoopbackServer server([this](const std::string&) {
    http.Stop();
    return Answer(500);
  });
  http.Request(kHeaders, "", kHttpGet, server.Url(), response);
  EXPECT_THAT(server.Requests(), SizeIs(1));
}

TEST_F(HttpLibTest, GoodAnswerIs200Or204) {
  LoopbackServer server({Answer(200), "HTTP/1.1 204 None\r\n\r\n", Answer(201), Answer(201), Answer(201)});
  for (const bool good : {true, true, false}) {
    EXPECT_TRUE(http.Request(kHeaders, "", kHttpGet, server.Url(), response));
    EXPECT_EQ(http.HasGoodAnswer(), good);
  }
}

TEST_F(HttpLibTest, WhatCannotBeSentIsRefused) {
  const LogText log;
  LoopbackServer server({Answer(200)});
  EXPECT_FALSE(http.Request(kHeaders, "", kHttpPost, server.Url(), response));
  EXPECT_TRUE(log.Has("HttpLib::Request") && log.Has("param error!"));
  EXPECT_FALSE(http.Request(kHeaders, "", kHttpGet, "", response));
  EXPECT_FALSE(http.Request({}, "", kHttpGet, server.Url(), response));
  EXPECT_FALSE(http.Request(kHeaders, "body", kHttpNone, server.Url(), response));
  EXPECT_FALSE(http.Request(kHeaders, "", kHttpGet, "http://cloud.example/", response));
  EXPECT_THAT(server.Requests(), IsEmpty());
  EXPECT_TRUE(http.Request(kHeaders, "", kHttpGet, server.Url(), response));
}

// Says which of its two operations was asked.
class Description : public ParamsConstructInterface {
 public:
  bool ParamsProcess(HttpHeaders& headers, std::string&, std::int32_t& outMethod,
                     std::string& outUrl) override {
    return Fill("/one", headers, outMethod, outUrl);
  }
  bool ParamsProcessV2(HttpHeaders& headers, std::string&, std::int32_t& outMethod,
                       std::string& outUrl) override {
    return Fill("/two", headers, outMethod, outUrl);
  }
  bool fails = false;

 private:
  bool Fill(const char* path, HttpHeaders& headers, std::int32_t& outMethod, std::string& outUrl) const {
    if (fails) return false;
    headers = kHeaders;
    outMethod = kHttpGet;
    outUrl = url + path;
    return true;
  }
};

TEST_F(HttpLibTest, DescriptionIsAskedByItsKind) {
  LoopbackServer server({Answer(200, "good")});
  Description description;
  EXPECT_EQ(description.paramsKind, 3);
  EXPECT_EQ(description.method, 5);
  description.url = server.Url();
  ASSERT_TRUE(http.RequestInterface(description, response));
  description.paramsKind = 2;
  ASSERT_TRUE(http.RequestInterface(description, response));
  EXPECT_THAT(server.Requests().at(0), StartsWith("GET /one "));
  EXPECT_THAT(server.Requests().at(1), StartsWith("GET /two "));
}

TEST_F(HttpLibTest, FailedDescriptionSendsNothing) {
  const LogText log;
  Description description;
  description.fails = true;
  EXPECT_FALSE(http.RequestInterface(description, response));
  EXPECT_TRUE(log.Has("param error!"));
  EXPECT_TRUE(log.Has("request fail!"));
}

class UploadFileTest : public HttpLibTest {
 protected:
  void SetUp() override {
    HttpLibTest::SetUp();
    source = folder.Path() / "source.jpg";
    std::ofstream(source) << "0123456789";
    params.file = CloudFile("1");
    params.file->SetLocalPath(source.wstring());
    params.body = "encrypted";
    params.sliceLength = 9;
    GlobalData::cloudGeneration = GlobalData::kGenerationV2;
  }
  void TearDown() override {
    GlobalData::cloudGeneration = GlobalData::kGenerationUnknown;
    HttpLibTest::TearDown();
  }
  bool Upload(const LoopbackServer& server, const std::string& path = "/slice") {
    return http.UploadFile(params, server.Url() + path, kHeaders, response);
  }

  std::filesystem::path source;
  UploadFileCommandParams params;
};

TEST_F(UploadFileTest, V2SendsTheBuffer) {
  LoopbackServer server({Answer(200, "stored")});
  ASSERT_TRUE(Upload(server));
  const std::string request = server.Requests().at(0);
  EXPECT_THAT(request, StartsWith("PUT /slice HTTP/1.1\r\n"));
  EXPECT_THAT(request, HasSubstr("\r\nContent-Length: 9\r\n"));
  EXPECT_THAT(request, HasSubstr("\r\nx-zt-client-mode:pc\r\nx-zt-os-brand:Windows\r\n"));
  EXPECT_THAT(request, EndsWith("\r\n\r\nencrypted"));
  EXPECT_EQ(response, "stored");
  EXPECT_EQ(params.readPosition, 9);
}

TEST_F(UploadFileTest, V1SendsTheFileFromItsOffset) {
  GlobalData::cloudGeneration = GlobalData::kGenerationV1;
  params.fileOffset = 4;
  params.sliceLength = 3;
  LoopbackServer server({Answer(201)});
  ASSERT_TRUE(Upload(server));
  EXPECT_THAT(server.Requests().at(0), EndsWith("\r\n\r\n456"));
}

TEST_F(UploadFileTest, InitAnywhereInTheUrlSendsNothing) {
  LoopbackServer server({Answer(200)});
  ASSERT_TRUE(Upload(server, "/initial/slice?x=1"));
  EXPECT_THAT(server.Requests().at(0), HasSubstr("\r\nContent-Length:0\r\n"));
  EXPECT_THAT(server.Requests().at(0), EndsWith("\r\n\r\n"));
}

TEST_F(UploadFileTest, OtherAnswersAreTriedThreeTimesAndFail) {
  const LogText log;
  LoopbackServer server({Answer(204)});
  params.sliceLength = 0;
  EXPECT_FALSE(Upload(server));
  EXPECT_THAT(server.Requests(), SizeIs(3));
  EXPECT_TRUE(log.Has("request fail, code:204\\n response:"));
}

TEST_F(UploadFileTest, RetryDoesNotRewindAndFailsAtOnce) {
  LoopbackServer server({Answer(500), Answer(500), Answer(200)});
  EXPECT_FALSE(Upload(server));
  EXPECT_EQ(params.readPosition, 9);
  EXPECT_THAT(server.Requests().at(0), EndsWith("encrypted"));
}

// As a service does that has just been too long without a request.
TEST_F(UploadFileTest, ConnectionThatWasClosedMeanwhileIsReplaced) {
  const std::string kept = "HTTP/1.1 200 Good\r\nContent-Length: 0\r\nConnection: keep-alive\r\n\r\n";
  for (const auto generation : {GlobalData::kGenerationV1, GlobalData::kGenerationV2}) {
    GlobalData::cloudGeneration = generation;
    params.readPosition = 0;
    LoopbackServer server({kept, "", Answer(200)});
    ASSERT_TRUE(http.Request(kHeaders, "", kHttpGet, server.Url(), response));
    EXPECT_TRUE(Upload(server));
    ASSERT_THAT(server.Requests(), SizeIs(3));
    EXPECT_EQ(server.Requests().at(2), server.Requests().at(1));
  }
}

TEST_F(UploadFileTest, SourceThatIsGoneEndsIt) {
  LoopbackServer server({Answer(200)});
  std::filesystem::remove(source);
  EXPECT_FALSE(Upload(server));
}

TEST_F(UploadFileTest, V1SourceThatCannotBeOpenedIsLogged) {
  const LogText log;
  GlobalData::cloudGeneration = GlobalData::kGenerationV1;
  std::filesystem::remove(source);
  LoopbackServer server({Answer(200)});
  EXPECT_FALSE(Upload(server));
  EXPECT_TRUE(log.Has("open file fail!"));
  EXPECT_THAT(server.Requests(), IsEmpty());
}

TEST_F(UploadFileTest, SourceThatVanishesOnTheWayEndsIt) {
  LoopbackServer server({Answer(200)});
  http.SetProgressCallback([this](double) { std::filesystem::remove(source); });
  EXPECT_FALSE(Upload(server));
}

TEST_F(UploadFileTest, StopEndsItWithoutARetryAndResetTakesItBack) {
  LoopbackServer server({Answer(200)});
  http.Stop();
  EXPECT_FALSE(Upload(server));
  EXPECT_FALSE(http.IsStopped());
  http.Stop();
  http.Reset();
  params.readPosition = 0;
  EXPECT_TRUE(Upload(server));
}

TEST_F(UploadFileTest, FileWithoutAPathIsRefused) {
  LoopbackServer server({Answer(200)});
  params.file->SetLocalPath(L"");
  EXPECT_FALSE(Upload(server));
  params.file.reset();
  EXPECT_FALSE(Upload(server));
  EXPECT_THAT(server.Requests(), IsEmpty());
}

}  // namespace
