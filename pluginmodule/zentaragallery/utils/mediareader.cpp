#include "utils/mediareader.h"

#include <filesystem>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "utils/galleryutilslog.h"
#include "utils/mediareading.h"
#include "utils/mediaworkers.h"
#include "utils/picturecheck.h"
#include "utils/thumbnailmaker.h"

using Outcome = MediaWorkers::Outcome;

namespace {

Json::Value Request(const char* what, const std::wstring& path) {
  Json::Value request(Json::objectValue);
  request["do"] = what;
  request["path"] = platform::WideToUtf8(path);
  return request;
}

// What an answer says went wrong; a reading that was given up gave nothing to
// decode.
MediaFailure FailureOf(Outcome outcome, const Json::Value& answer) {
  if (outcome != Outcome::Answered || !answer["failure"].isInt()) return MediaFailure::NotDecodable;
  return static_cast<MediaFailure>(answer["failure"].asInt());
}

MediaFailure AskExif(const std::wstring& path, PictureMetadata& metadata, std::int64_t& timeMs) {
  Json::Value request = Request("exif", path), answer;
  request["time"] = Json::Int64{timeMs};
  const Outcome outcome = MediaWorkers::GetInstance().Ask(request, answer);
  if (outcome == Outcome::NoWorker) return MediaReading::Exif(path, metadata, timeMs);
  const MediaFailure failure = FailureOf(outcome, answer);
  if (failure != MediaFailure::None) return failure;
  (void)metadata.FromJson(answer["metadata"]);
  if (answer["time"].isInt64()) timeMs = answer["time"].asInt64();
  return failure;
}

MediaFailure AskVideo(const std::wstring& path, VideoMetadata& metadata) {
  Json::Value answer;
  const Outcome outcome = MediaWorkers::GetInstance().Ask(Request("video", path), answer);
  if (outcome == Outcome::NoWorker) return MediaReading::Video(path, metadata);
  const MediaFailure failure = FailureOf(outcome, answer);
  if (failure != MediaFailure::None) return failure;
  (void)metadata.FromJson(answer["metadata"]);
  if (answer["rotation"].isInt()) metadata.rotation = answer["rotation"].asInt();
  return failure;
}

std::string AskThumbnail(const std::wstring& source, const std::wstring& target, int longEdge) {
  Json::Value request = Request("thumbnail", source), answer;
  request["target"] = platform::WideToUtf8(target);
  request["longEdge"] = longEdge;
  const Outcome outcome = MediaWorkers::GetInstance().Ask(request, answer);
  if (outcome == Outcome::NoWorker) return MediaReading::Thumbnail(source, target, longEdge);
  if (outcome != Outcome::Answered || !answer["cause"].isString()) return "the reading was given up";
  return answer["cause"].asString();
}

std::string AskPixels(const std::wstring& source, const std::wstring& target, int longEdge,
                      PicturePixels& pixels) {
  Json::Value request = Request("pixels", source), answer;
  request["target"] = platform::WideToUtf8(target);
  request["longEdge"] = longEdge;
  const Outcome outcome = MediaWorkers::GetInstance().Ask(request, answer);
  if (outcome == Outcome::NoWorker) return MediaReading::Pixels(source, target, longEdge, pixels);
  if (outcome != Outcome::Answered || !answer["cause"].isString()) return "the reading was given up";
  const std::string cause = answer["cause"].asString();
  return cause.empty() && !pixels.FromJson(answer["pixels"]) ? "wrong pixels" : cause;
}

}  // namespace

bool ReadExif(const std::wstring& path, PictureMetadata& metadata, std::int64_t& timeMs, MediaFailure* why) {
  const MediaFailure failure = AskExif(path, metadata, timeMs);
  if (why) *why = failure;
  return failure == MediaFailure::None;
}

bool ReadVideo(const std::wstring& path, VideoMetadata& metadata, MediaFailure* why) {
  const MediaFailure failure = AskVideo(path, metadata);
  if (why) *why = failure;
  if (failure == MediaFailure::NoLibrary)
    LogUtilsError(__LINE__, "ReadVideo", "Unable to load MediaInfo library");
  return failure == MediaFailure::None;
}

bool MakeThumbnail(const std::wstring& source, const std::wstring& target, int longEdge) {
  const std::string cause = AskThumbnail(source, target, longEdge);
  if (!cause.empty()) LogUtilsError(__LINE__, "MakeThumbnail", cause);
  return cause.empty();
}

bool DecodePixels(const std::wstring& source, const std::wstring& target, int longEdge,
                  PicturePixels& pixels) {
  const std::string cause = AskPixels(source, target, longEdge, pixels);
  if (cause.empty()) return true;
  LogUtilsError(__LINE__, "DecodePixels", cause);
  std::error_code ignored;  // A helper that was ended leaves its part.
  std::filesystem::remove(platform::NativePath(target), ignored);
  return false;
}

bool IsWholePicture(const std::wstring& path) {
  Json::Value answer;
  const Outcome outcome = MediaWorkers::GetInstance().Ask(Request("whole", path), answer);
  if (outcome == Outcome::NoWorker) return MediaReading::IsWhole(path);
  return outcome == Outcome::Answered && answer["whole"].isBool() && answer["whole"].asBool();
}

std::int32_t DegreesOfOrientation(std::int32_t orientation) {
  switch (orientation) {
    case 3:
    case 4:
      return 180;
    case 6:
    case 7:
      return 90;
    case 5:
    case 8:
      return 270;
    default:
      return 0;
  }
}
