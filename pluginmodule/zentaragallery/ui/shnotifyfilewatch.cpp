#include "ui/shnotifyfilewatch.h"

#include <memory>

#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "common/platform/thread.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

namespace TAVISH_COMMON {
namespace {

constexpr char kTag[] = "ShNotifyFileWatch";
constexpr wchar_t kRecycleBin[] = L"$RECYCLE.BIN";

}  // namespace

ShNotifyFileWatch::ShNotifyFileWatch(HWND target, Wanted wanted)
    : window(target), isWanted(std::move(wanted)) {}

ShNotifyFileWatch::~ShNotifyFileWatch() {
  watch.Stop();
  if (thread.joinable()) thread.join();
}

bool ShNotifyFileWatch::InitInstance(const std::vector<platform::FolderWatch::Root>& places) {
  if (const auto error = watch.Watch({}, kMostFolders)) {
    LogError(kTag, "InitInstance error, code: " + std::to_string(error.value()));
    return false;
  }
  thread = std::thread([this, places] { Run(places); });
  return true;
}

void ShNotifyFileWatch::Run(const std::vector<platform::FolderWatch::Root>& places) {
  platform::SetThreadName("drop watch");
  if (const auto error = watch.Watch(places, kMostFolders)) {
    LogWarning(kTag, "InitInstance error, code: " + std::to_string(error.value()) +
                         " folders: " + std::to_string(watch.Count()));
  }
  for (auto came = watch.Next(); !came.empty(); came = watch.Next()) {
    for (const auto& path : came) {
      const std::wstring wide = platform::WidePath(path);
      if (isWanted(wide)) CallFilePathFunc(wide);
    }
  }
}

void ShNotifyFileWatch::CallFilePathFunc(const std::wstring& path) const {
  if (path.find(kRecycleBin) != std::wstring::npos) return;
  // The name belongs to the user.
  LogInfo(kTag, [&path] {
    return "ShNotifyFileWatch CallFilePathFunc path=*" + platform::WideToUtf8(platform::WideExtension(path));
  });
  auto copy = std::make_unique<std::wstring>(path);
  if (platform::PostMessageW(window, WM_GALLERY_SHELL_DROP, 0,
                             reinterpret_cast<platform::LPARAM>(copy.get())))
    (void)copy.release();  // The receiver frees it.
}

}  // namespace TAVISH_COMMON
