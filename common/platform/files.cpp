#include "common/platform/files.h"

namespace platform {

std::error_code RenameOver(const std::filesystem::path& finished, const std::filesystem::path& target) {
  std::error_code error;
  std::filesystem::rename(finished, target, error);
  return error;
}

std::filesystem::path Resolve(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::path resolved = std::filesystem::weakly_canonical(path, error);
  if (!error) return resolved;
  resolved = std::filesystem::absolute(path, error);
  return (error ? path : resolved).lexically_normal();
}

}  // namespace platform
