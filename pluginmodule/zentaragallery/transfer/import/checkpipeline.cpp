#include "transfer/import/checkpipeline.h"

#include <filesystem>

#include "common/platform/paths.h"
#include "common/platform/thread.h"

namespace {

// The flag of the user tells nobody when it is set.
constexpr std::chrono::milliseconds kLook{20};

}  // namespace

void DropThumbnail(const GalleryFile& file) {
  std::error_code ignored;  // A thumbnail without a file is only lost space.
  std::filesystem::remove(platform::NativePath(file.ThumbnailName()), ignored);
}

CheckPipeline::CheckPipeline(const std::vector<std::wstring>& of, const Album& into,
                             std::unordered_set<std::string> hashes, const std::atomic<bool>* stop)
    : paths(of), album(into), known(std::move(hashes)), userStop(stop), checked(of.size()), ready(of.size()) {
  const unsigned count = std::max(1u, std::thread::hardware_concurrency());
  for (unsigned i = 0; i < count; ++i) workers.emplace_back([this] { Work(); });
}

CheckPipeline::~CheckPipeline() {
  stopping = true;
  for (auto& worker : workers) worker.join();
  const platform::MutexLock hold(lock);
  for (const auto& left : checked) {
    if (left.file) DropThumbnail(*left.file);
  }
}

std::optional<CheckedFile> CheckPipeline::Take(std::size_t index) {
  const platform::MutexLock hold(lock);
  while (!IsStopped() && !ready[index]) arrived.wait_for(lock, kLook);
  if (IsStopped()) return std::nullopt;
  return std::exchange(checked[index], {});
}

void CheckPipeline::Work() {
  platform::SetThreadName("file check");
  while (!stopping) {
    const std::size_t index = next++;
    if (index >= paths.size()) return;
    Keep(index, CheckLocalFile(
                    paths[index], album, [this](const std::string& hash) { return known.contains(hash); },
                    &stopping));
  }
}

void CheckPipeline::Keep(std::size_t index, CheckedFile result) {
  {
    const platform::MutexLock hold(lock);
    checked[index] = std::move(result);
    ready[index] = true;
  }
  arrived.notify_all();
}
