// The helper program that reads foreign files: one request after another, until its
// parent ends or has needed nothing for a while.

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <thread>

#include "common/platform/childprocess.h"
#include "common/platform/mutex.h"
#include "common/platform/text.h"
#include "utils/mediareading.h"

namespace {

// Memory of the decoders is given back when nobody imports.
constexpr std::chrono::seconds kIdle{60};

std::wstring Wide(const Json::Value& request, const char* key) {
  return platform::Utf8ToWide(request[key].asString());
}

Json::Value ReadExif(const Json::Value& request) {
  PictureMetadata metadata;
  std::int64_t time = request["time"].asInt64();
  Json::Value answer;
  answer["failure"] = static_cast<int>(MediaReading::Exif(Wide(request, "path"), metadata, time));
  answer["metadata"] = metadata.ToJson();
  answer["time"] = Json::Int64{time};
  return answer;
}

Json::Value ReadVideo(const Json::Value& request) {
  VideoMetadata metadata;
  Json::Value answer;
  answer["failure"] = static_cast<int>(MediaReading::Video(Wide(request, "path"), metadata));
  answer["metadata"] = metadata.ToJson();
  answer["rotation"] = metadata.rotation;
  return answer;
}

Json::Value MakeThumbnail(const Json::Value& request) {
  Json::Value answer;
  answer["cause"] =
      MediaReading::Thumbnail(Wide(request, "path"), Wide(request, "target"), request["longEdge"].asInt());
  return answer;
}

Json::Value DecodePixels(const Json::Value& request) {
  PicturePixels pixels;
  Json::Value answer;
  answer["cause"] = MediaReading::Pixels(Wide(request, "path"), Wide(request, "target"),
                                         request["longEdge"].asInt(), pixels);
  answer["pixels"] = pixels.ToJson();
  return answer;
}

Json::Value IsWhole(const Json::Value& request) {
  Json::Value answer;
  answer["whole"] = MediaReading::IsWhole(Wide(request, "path"));
  return answer;
}

void TakeZone(const Json::Value& request) {
  if (request["zone"].isString()) {
    ::setenv("TZ", request["zone"].asCString(), 1);
  } else {
    ::unsetenv("TZ");
  }
  ::tzset();
}

constexpr struct {
  const char* name;
  Json::Value (*run)(const Json::Value& request);
} kReadings[] = {{"exif", ReadExif},
                 {"video", ReadVideo},
                 {"thumbnail", MakeThumbnail},
                 {"whole", IsWhole},
                 {"pixels", DecodePixels}};

std::string Answer(const std::string& text) {
  const Json::Value request = ParseJson(text);
  if (!request.isObject()) return "{}";
  TakeZone(request);
  for (const auto& reading : kReadings)
    if (request["do"] == reading.name) return CompactJson(reading.run(request));
  return "{}";
}

// The request that waits. It comes in on a thread of its own, which also notices the
// end of the parent while a decoder does not come back.
class Inbox {
 public:
  Inbox() {
    std::thread([this] { Listen(); }).detach();
  }

  std::optional<std::string> Next() {
    const auto end = std::chrono::steady_clock::now() + kIdle;
    platform::MutexLock hold(lock);
    while (!request) {
      if (arrived.wait_until(lock, end) == std::cv_status::timeout && !request) return std::nullopt;
    }
    return std::exchange(request, std::nullopt);
  }

 private:
  void Listen() {
    for (std::string text; platform::ParentChannel::Receive(text);) {
      const platform::MutexLock hold(lock);
      request = text;
      arrived.notify_one();
    }
    // No destructors: they could wait for what the other thread holds.
    std::_Exit(0);
  }

  platform::Mutex lock;
  std::condition_variable_any arrived;
  std::optional<std::string> request GUARDED_BY(lock);
};

}  // namespace

int main() {
  // Lives as long as its thread: until the process ends.
  auto* const inbox = new Inbox;
  // Before the first request: it may have been started ahead of it.
  MediaReading::Start();
  while (const auto request = inbox->Next()) {
    if (!platform::ParentChannel::Send(Answer(*request))) break;
  }
  std::_Exit(0);
}
