#include "utils/encrypthelper.h"

#include <cerrno>
#include <fstream>
#include <new>

#include "common/platform/paths.h"
#include "host/base/logger.h"
#include "utils/streamdigest.h"

namespace {

constexpr std::size_t kBufferBytes = 0x400000;

std::string Fail(int line, const std::string& text) {
  Logger::CloudLogger::GetInstance()->Output("gallery", Logger::Severity::Error, line,
                                             "EncryptHelper::FileSha256", text);
  return {};
}

}  // namespace

std::string EncryptHelper::FileSha256(const std::wstring& path) {
  const std::filesystem::path native = platform::NativePath(path);
  std::ifstream file(native, std::ios::binary);
  if (!file) return Fail(__LINE__, "EncryptHelper::FileSha256 CreateFile err:" + std::to_string(errno));
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kBufferBytes]);
  if (!buffer) return Fail(__LINE__, "EncryptHelper::FileSha256 err: malloc buffer");
  std::error_code error;
  (void)std::filesystem::file_size(native, error);  // Refuses folders and devices.
  if (error)
    return Fail(__LINE__, "EncryptHelper::FileSha256 GetFileSizeEx err:" + std::to_string(error.value()));

  StreamDigest digest(StreamDigest::Kind::Sha256);
  while (file) {
    file.read(buffer.get(), static_cast<std::streamsize>(kBufferBytes));
    digest.Update({buffer.get(), static_cast<std::size_t>(file.gcount())});
  }
  // The end is where reading stops, not the size from before: another program
  // may be writing the file.
  if (!file.eof()) {
    return Fail(__LINE__, "EncryptHelper::FileSha256 GetFileSizeEx ReadFile err:" + std::to_string(errno));
  }
  return digest.Finish();
}
