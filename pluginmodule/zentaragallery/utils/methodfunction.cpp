#include "utils/methodfunction.h"

#include <array>
#include <ctime>

#include "common/platform/clock.h"
#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/localtime.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "utils/daycalendar.h"
#include "utils/filereading.h"
#include "utils/mimetable.h"
#include "utils/streamdigest.h"

namespace {

// One pass over a file; the same size that an upload reads and sends at a time.
constexpr std::size_t kPassBytes = 0x400000;

// The gallery's name among the functions that the client can close for a user.
constexpr wchar_t kGalleryFunction[] = L"gallery";

void LogError(int line, std::string_view tag, std::string_view text) {
  Logger::CloudLogger::GetInstance()->Output("gallery", Logger::Severity::Error, line, tag, text);
}

std::string FileDigest(const std::wstring& path, StreamDigest digest, StreamDigest::Digits digits) {
  const auto error = platform::ReadInPasses(platform::NativePath(path), kPassBytes,
                                            [&](std::string_view pass) { return digest.Update(pass); });
  if (error) {
    LogError(__LINE__, "MethodFunction::FileDigest",
             "read file failed, error:" + std::to_string(error.value()));
    return {};
  }
  return digest.Finish(digits);
}

constexpr std::array<std::uint32_t, 256> MakeCrcTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) ? 0xEDB88320u : 0u);
    table[byte] = value;
  }
  return table;
}

// Of a clock that is so many seconds behind.
bool IsWrong(std::int64_t behind) {
  constexpr std::int64_t kDaySeconds = 86'400;
  return behind > kDaySeconds || behind < -kDaySeconds;
}

}  // namespace

MethodFunction& MethodFunction::GetInstance() {
  static MethodFunction instance;
  return instance;
}

std::string MethodFunction::Sha256(std::string_view bytes) {
  StreamDigest digest(StreamDigest::Kind::Sha256);
  digest.Update(bytes);
  return digest.Finish();
}

std::string MethodFunction::Md5(std::string_view bytes) {
  StreamDigest digest(StreamDigest::Kind::Md5);
  digest.Update(bytes);
  return digest.Finish() + std::string(32, '0');
}

std::string MethodFunction::FileSha256(const std::wstring& path) {
  return FileDigest(path, StreamDigest(StreamDigest::Kind::Sha256), StreamDigest::Digits::Lower);
}

std::string MethodFunction::FileMd5(const std::wstring& path) {
  return FileDigest(path, StreamDigest(StreamDigest::Kind::Md5), StreamDigest::Digits::Upper);
}

std::string MethodFunction::FileHashId(const std::wstring& path) {
  const auto native = platform::NativePath(path);
  StreamDigest digest = StreamDigest::Hmac({});
  bool gone = false;
  // An open file stays readable here after its name is gone, but a record of a
  // file that nobody can open again is worth nothing.
  const auto error = platform::ReadInPasses(native, kPassBytes, [&](std::string_view pass) {
    std::error_code ignored;
    gone = !std::filesystem::exists(native, ignored);
    return !gone && FileReading::GoesOn() && digest.Update(pass);
  });
  if (gone || error == std::errc::no_such_file_or_directory) {
    LogError(__LINE__, "MethodFunction::FileHashId", "file does not exist");
    return {};
  }
  if (error) {
    LogError(__LINE__, "MethodFunction::FileHashId",
             "read file failed, error:" + std::to_string(error.value()));
    return {};
  }
  return FileReading::GoesOn() ? digest.Finish() : std::string();
}

std::uint32_t MethodFunction::Crc32(std::string_view bytes) {
  static constexpr std::array<std::uint32_t, 256> table = MakeCrcTable();
  std::uint32_t value = 0xFFFFFFFFu;
  for (const char byte : bytes)
    value = (value >> 8) ^ table[(value ^ static_cast<unsigned char>(byte)) & 0xFF];
  return ~value;
}

std::string MethodFunction::NewGuid() { return platform::NewGuid(); }

std::int64_t MethodFunction::CurrentTime() { return platform::NowMs(); }

std::optional<std::int64_t> MethodFunction::ExpiryTime() {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) return CurrentTime();
  const auto behind = GlobalParamWrapper::GetInstance()->GetServerTimeOffset();
  if (!behind || IsWrong(*behind)) return std::nullopt;
  return CurrentTime() + *behind * 1000;
}

std::int64_t MethodFunction::StampTime() {
  const std::int64_t behind = GlobalParamWrapper::GetInstance()->GetServerTimeOffset().value_or(0);
  return CurrentTime() + (IsWrong(behind) ? behind * 1000 : 0);
}

std::int64_t MethodFunction::GetDayKey(std::int64_t timeMs) { return LocalMidnight(timeMs / 1000); }

std::string MethodFunction::TimeText(std::int64_t timeMs) {
  const auto local = platform::LocalTime(timeMs / 1000);
  if (!local) return {};
  char text[64];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &*local)};
}

std::string MethodFunction::MimeType(std::wstring_view extension) {
  return std::string(MimeTypeOf(platform::AsciiLower(platform::WideToUtf8(extension))));
}

bool MethodFunction::IsDisableTheGllaryFunction() {
  return !GlobalParamWrapper::GetInstance()->CheckFunctionOpen(kGalleryFunction);
}
