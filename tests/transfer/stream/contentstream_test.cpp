// A film of the cloud, read while it is fetched from the real server.

#include "transfer/stream/contentstream.h"

#include <gmock/gmock.h>

#include <fstream>
#include <future>
#include <thread>

#include "contenttest.h"
#include "host/base/globalparamwrapper.h"
#include "transfer/stream/playurlparamconstruct.h"
#include "utils/globaldata.h"

namespace {

using Failure = ContentStream::Failure;
using testing::ElementsAre;

class ContentStreamTest : public ContentTest {
 protected:
  static constexpr ContentStream::Limits kQuick{std::size_t{64} << 20, 3, 1};

  FilePtr Uploaded(const std::string& name, const std::string& bytes) {
    auto file = Source(name, bytes);
    EXPECT_TRUE(Upload(file));
    server.ForgetRequests();
    return file;
  }
  // All that `stream` gives from here on, read as a player does, or "(failed)".
  static std::string Rest(ContentStream& stream, std::size_t pass = 5000) {
    std::string all;
    std::vector<unsigned char> buffer(pass);
    for (;;) {
      const std::int64_t count = stream.Read(buffer.data(), pass);
      if (count < 0) return "(failed)";
      if (count == 0) return all;
      all.append(buffer.begin(), buffer.begin() + count);
    }
  }
  static std::string Bytes(ContentStream& stream, std::uint64_t offset, std::size_t count) {
    if (!stream.Seek(offset)) return "(no seek)";
    std::string all;
    std::vector<unsigned char> buffer(count);
    while (all.size() < count) {
      const std::int64_t got = stream.Read(buffer.data(), count - all.size());
      if (got <= 0) return "(failed)";
      all.append(buffer.begin(), buffer.begin() + got);
    }
    return all;
  }
  std::size_t Objects() { return CountRequests("GET /cloudPhoto/v1/objects/"); }
  void Damage(const FilePtr& file, int number) {
    server.Action(R"({"action":"damageObject","userName":"alice","mediaId":")" + file->UniqueId() +
                  R"(","number":)" + std::to_string(number) + "}");
  }
};

TEST_F(ContentStreamTest, GivesTheBytesThatWereUploadedWhateverTheirSize) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{16}, std::size_t{kSliceSize},
                                 std::size_t{kSliceSize + 1}, std::size_t{5 * kSliceSize + 3}}) {
    SCOPED_TRACE(size);
    const std::string bytes = Noise(size, static_cast<unsigned>(size));
    ContentStream stream(Uploaded("s" + std::to_string(size), bytes));
    std::uint64_t length = 0;
    ASSERT_TRUE(stream.Open(length));
    EXPECT_EQ(length, size);
    EXPECT_TRUE(Rest(stream) == bytes);
    EXPECT_EQ(stream.Why(), Failure::None);
  }
}

TEST_F(ContentStreamTest, StartsAfterItsFirstPieceWhileTheNextDoesNotCome) {
  const std::string bytes = Noise(10 * kSliceSize);
  const auto file = Uploaded("long", bytes);
  server.Fault(R"({"method":"GET","path":"/objects/","nth":2,"times":0,"delayMs":3600000})");
  ContentStream stream(file);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  EXPECT_TRUE(Bytes(stream, 0, kSliceSize) == bytes.substr(0, kSliceSize));
}

TEST_F(ContentStreamTest, SeekFetchesThePieceThereAndNotThoseBetween) {
  const std::string bytes = Noise(20 * kSliceSize);
  ContentStream stream(Uploaded("seek", bytes));
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  const std::size_t middle = 15 * kSliceSize + 77;
  EXPECT_TRUE(Bytes(stream, middle, 100) == bytes.substr(middle, 100));
  EXPECT_TRUE(Bytes(stream, 20 * kSliceSize - 9, 9) == bytes.substr(20 * kSliceSize - 9));
  // At most the first two, the one there and the one behind it, and the last.
  EXPECT_LE(Objects(), 5u);
}

TEST_F(ContentStreamTest, SeekDoesNotWaitForThePieceThatIsOnItsWay) {
  const std::string bytes = Noise(10 * kSliceSize);
  const auto file = Uploaded("busy", bytes);
  server.Fault(R"({"method":"GET","path":"/objects/","nth":1,"delayMs":3600000})");
  // Nothing but the seek ends the wait for it.
  std::ofstream(folder / "config/ZentaraCloud/settings.json") << R"({"timeoutLowSpeedSeconds":0})";
  ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  ContentStream stream(file);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  while (Objects() == 0) std::this_thread::yield();  // Else the piece there would be the first one.
  EXPECT_TRUE(Bytes(stream, 5 * kSliceSize, 10) == bytes.substr(5 * kSliceSize, 10));
}

TEST_F(ContentStreamTest, GoingBackALittleAsksForNothing) {
  const std::string bytes = Noise(6 * kSliceSize);
  ContentStream stream(Uploaded("back", bytes));
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  EXPECT_TRUE(Rest(stream) == bytes);
  EXPECT_EQ(Objects(), 6u);
  EXPECT_TRUE(Bytes(stream, 0, bytes.size()) == bytes);
  EXPECT_EQ(Objects(), 6u);
}

TEST_F(ContentStreamTest, MemoryStaysBoundedHoweverLongTheFilm) {
  const std::string bytes = Noise(30 * kSliceSize);
  ContentStream stream(Uploaded("bounded", bytes), {4 * kSliceSize, 1, 1});
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  std::size_t most = 0;
  for (std::size_t at = 0; at < bytes.size(); at += kSliceSize / 2) {
    ASSERT_TRUE(Bytes(stream, at, kSliceSize / 2) == bytes.substr(at, kSliceSize / 2)) << at;
    most = std::max(most, stream.CachedBytes());
  }
  EXPECT_LE(most, std::size_t{4 * kSliceSize});
  EXPECT_GE(most, std::size_t{2 * kSliceSize});
}

// Nothing in a piece tells that its middle was changed; the digest over all does.
TEST_F(ContentStreamTest, ObjectThatIsDamagedAtTheServiceIsFoundAtTheEnd) {
  const auto file = Uploaded("damaged", Noise(4 * kSliceSize));
  Damage(file, 2);
  ContentStream stream(file, kQuick);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  EXPECT_EQ(Rest(stream), "(failed)");
  EXPECT_EQ(stream.Why(), Failure::Damaged);
}

TEST_F(ContentStreamTest, PieceWithAChangedEndEndsTheFilmThere) {
  const std::string bytes = Noise(4 * kSliceSize);
  const auto file = Uploaded("changed", bytes);
  AnswerChanger place(server.Url(), [](const std::string&, const std::string& answer) {
    std::string changed = answer;
    changed.back() ^= 1;
    return changed;
  });
  const auto changer = ChangeAnswers([&](const std::string& request, const std::string& answer) {
    if (request.find("GET /cloudPhoto/v1/media/") == std::string::npos) return answer;
    Json::Value body = AnswerChanger::Body(answer);
    for (Json::Value& attachment : body["attachments"]) {
      if (attachment["usage"] != "content") continue;
      Json::Value& url = attachment["asset"]["resource"]["objects"][2]["downloadUrl"]["url"];
      url = place.Url() + url.asString().substr(server.Url().size());
    }
    return AnswerChanger::WithBody(body);
  });
  ContentStream stream(file, kQuick);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  EXPECT_TRUE(Bytes(stream, 0, 2 * kSliceSize) == bytes.substr(0, 2 * kSliceSize));
  EXPECT_EQ(Bytes(stream, 2 * kSliceSize, 1), "(failed)");
  EXPECT_EQ(stream.Why(), Failure::Damaged);
}

TEST_F(ContentStreamTest, OutageThatPassesIsNotSeen) {
  const std::string bytes = Noise(3 * kSliceSize);
  const auto file = Uploaded("outage", bytes);
  server.Fault(R"({"method":"GET","path":"/media/","nth":1,"times":1,"status":503})");
  server.Fault(R"({"method":"GET","path":"/objects/","nth":2,"times":2,"status":503})");
  ContentStream stream(file, kQuick);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  EXPECT_TRUE(Rest(stream) == bytes);
}

TEST_F(ContentStreamTest, ServiceThatIsGoneEndsTheFilmAsAnOutage) {
  const auto file = Uploaded("gone", Noise(3 * kSliceSize));
  server.Kill();
  ContentStream stream(file, kQuick);
  std::uint64_t length = 0;
  EXPECT_FALSE(stream.Open(length));
  EXPECT_EQ(stream.Why(), Failure::Outage);
}

TEST_F(ContentStreamTest, AddressThatHasExpiredIsReadAnewWhileAPlayerReads) {
  const std::string bytes = Noise(5 * kSliceSize);
  const auto file = Uploaded("expired", bytes);
  server.Fault(R"({"method":"GET","path":"/objects/","nth":3,"times":1,"status":403})");
  ContentStream stream(file, kQuick);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  EXPECT_TRUE(Rest(stream) == bytes);
  EXPECT_EQ(CountRequests("GET /cloudPhoto/v1/media/"), 2u);
}

TEST_F(ContentStreamTest, AddressThatIsRefusedForEverEndsTheFilm) {
  const auto file = Uploaded("forbidden", Noise(2 * kSliceSize));
  server.Fault(R"({"method":"GET","path":"/objects/","nth":1,"times":0,"status":403})");
  ContentStream stream(file, kQuick);
  std::uint64_t length = 0;
  // It is asked ahead, so that the last refusal may be there by now.
  if (stream.Open(length)) {
    EXPECT_EQ(Rest(stream), "(failed)");
  }
  EXPECT_EQ(stream.Why(), Failure::Refused);
}

TEST_F(ContentStreamTest, StopEndsAReadThatWaits) {
  const auto file = Uploaded("stopped", Noise(2 * kSliceSize));
  server.Fault(R"({"method":"GET","path":"/objects/","nth":1,"times":0,"delayMs":3600000})");
  ContentStream stream(file);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  auto reading = std::async(std::launch::async, [&stream] { return Rest(stream); });
  stream.Stop();
  EXPECT_EQ(reading.get(), "(failed)");
  EXPECT_EQ(stream.Why(), Failure::None);
}

TEST_F(ContentStreamTest, MediaThatTheCloudDoesNotKnowIsRefused) {
  ContentStream stream(CloudFile("unknown"), kQuick);
  std::uint64_t length = 0;
  EXPECT_FALSE(stream.Open(length));
  EXPECT_EQ(stream.Why(), Failure::Refused);
}

// Another client may have stored a film as it is: it comes through its link.
TEST_F(ContentStreamTest, FilmThatNobodyEncryptedComesThroughItsLinkInParts) {
  const std::string film = Noise(StreamContent::kLinkPiece + 1000, 7);
  LoopbackServer place([&film](const std::string& request) {
    const auto at = request.find("Range:bytes=");
    if (at == std::string::npos) return LoopbackServer::Answer(500, "");
    std::size_t first = 0, last = 0;
    EXPECT_EQ(std::sscanf(request.c_str() + at, "Range:bytes=%zu-%zu", &first, &last), 2);
    const std::string part = film.substr(first, last - first + 1);
    return "HTTP/1.1 206 Partial Content\r\nContent-Length: " + std::to_string(part.size()) +
           "\r\nConnection: close\r\n\r\n" + part;
  });
  const auto changer = ChangeAnswers([&](const std::string& request, const std::string& answer) {
    if (request.find("fields=signedDownloadLink ") != std::string::npos) {
      Json::Value body;
      body["signedDownloadLink"] = place.Url() + "/film?signature=secret";
      return AnswerChanger::WithBody(body);
    }
    if (request.find("GET /cloudPhoto/v1/media/") == std::string::npos) return answer;
    Json::Value body;
    body["attachments"][0]["usage"] = "content";
    body["attachments"][0]["asset"]["resource"]["length"] = Json::Int64(film.size());
    return AnswerChanger::WithBody(body);
  });
  LogText log;
  ContentStream stream(CloudFile("plain"), kQuick);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  EXPECT_EQ(length, film.size());
  EXPECT_TRUE(Rest(stream) == film);
  EXPECT_TRUE(log.Has("VLC Play request code:200 success"));
  EXPECT_TRUE(log.Has("streaming media url :" + place.Url()));
  EXPECT_FALSE(log.Has("secret"));
  EXPECT_EQ(place.Requests().size(), 2u);
  // The session is for the service alone.
  for (const std::string& request : place.Requests()) EXPECT_EQ(request.find("Bearer"), std::string::npos);
}

TEST_F(ContentStreamTest, LinkThatGivesAnotherPartThanAskedForIsRefused) {
  const std::string film = Noise(StreamContent::kLinkPiece + 1000, 7);
  LoopbackServer place([&film](const std::string&) { return LoopbackServer::Answer(200, film); });
  const auto changer = ChangeAnswers([&](const std::string& request, const std::string& answer) {
    Json::Value body;
    if (request.find("fields=signedDownloadLink ") != std::string::npos) {
      body["signedDownloadLink"] = place.Url();
    } else if (request.find("GET /cloudPhoto/v1/media/") != std::string::npos) {
      body["attachments"][0]["usage"] = "content";
      body["attachments"][0]["asset"]["resource"]["length"] = Json::Int64(film.size());
    } else {
      return answer;
    }
    return AnswerChanger::WithBody(body);
  });
  ContentStream stream(CloudFile("plain"), kQuick);
  std::uint64_t length = 0;
  ASSERT_TRUE(stream.Open(length));
  EXPECT_EQ(Bytes(stream, StreamContent::kLinkPiece, 10), "(failed)");
  EXPECT_EQ(stream.Why(), Failure::Refused);
}

TEST_F(ContentStreamTest, RecordWithAGapBetweenItsObjectsIsRefused) {
  const auto file = Uploaded("gap", Noise(3 * kSliceSize));
  const auto changer = ChangeAnswers([&](const std::string& request, const std::string& answer) {
    if (request.find("GET /cloudPhoto/v1/media/") == std::string::npos) return answer;
    Json::Value body = AnswerChanger::Body(answer);
    for (Json::Value& attachment : body["attachments"])
      if (attachment["usage"] == "content")
        attachment["asset"]["resource"]["objects"][1]["start"] = kSliceSize + 16;
    return AnswerChanger::WithBody(body);
  });
  ContentStream stream(file, kQuick);
  std::uint64_t length = 0;
  EXPECT_FALSE(stream.Open(length));
  EXPECT_EQ(stream.Why(), Failure::Refused);
}

// The first generation asks by a command and its contents are not encrypted.
TEST_F(ContentStreamTest, FirstGenerationAsksForTheAddressByTheHash) {
  GlobalData::cloudGeneration = GlobalData::kGenerationV1;
  GlobalData::cloudPhotoUrl = "http://127.0.0.1:1";
  const auto file = CloudFile("first");
  file->SetHash("abc");
  PlayUrlParamConstruct params(*file);
  HttpHeaders headers;
  std::string body, url;
  std::int32_t method = kHttpNone;
  ASSERT_TRUE(params.ParamsProcess(headers, body, method, url));
  EXPECT_EQ(url, "http://127.0.0.1:1/JPJX/CloudPhoto4Manual");
  EXPECT_EQ(body, R"({"cmd":"cloudphoto.mo.getPlayUrl","hash":"abc"})");
  EXPECT_EQ(method, kHttpPost);
  GlobalData::cloudPhotoUrl.clear();
}

}  // namespace
