#include "common/platform/folderwatch.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>

namespace fs = std::filesystem;

namespace platform {
namespace {

constexpr std::uint32_t kEvents = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR | IN_DONT_FOLLOW;

std::error_code LastError() { return {errno, std::generic_category()}; }

// What nobody may read or what has gone meanwhile is no lack of watches.
bool IsShortage(const std::error_code& error) { return error.value() == ENOSPC || error.value() == ENOMEM; }

bool IsHidden(const fs::path& path) { return path.filename().native().starts_with('.'); }

// A link, or a file that got its name when it was written already: nobody will close it
// under that name. One that has just been opened is empty.
bool IsWholeAtOnce(const fs::path& path) {
  std::error_code error;
  const auto type = fs::symlink_status(path, error).type();
  return type == fs::file_type::symlink ||
         (type == fs::file_type::regular && fs::file_size(path, error) > 0 && !error);
}

std::vector<fs::path> Below(const fs::path& folder) {
  std::vector<fs::path> found;
  std::error_code error;
  for (auto entry = fs::directory_iterator(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    std::error_code unreadable;
    if (entry->symlink_status(unreadable).type() == fs::file_type::directory && !IsHidden(entry->path()))
      found.push_back(entry->path());
  }
  return found;
}

}  // namespace

FolderWatch::FolderWatch() {
  events = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (events < 0) opened = LastError();
  stop = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (stop < 0) opened = LastError();
}

FolderWatch::~FolderWatch() {
  if (events >= 0) ::close(events);
  if (stop >= 0) ::close(stop);
}

std::error_code FolderWatch::Watch(const std::vector<Root>& roots, std::size_t most) {
  if (opened) return opened;
  mostFolders = most;
  std::deque<Folder> waiting;
  for (const Root& root : roots) waiting.push_back({root.folder, root.depth});
  while (!waiting.empty() && folders.size() < mostFolders) {
    const Folder folder = std::move(waiting.front());
    waiting.pop_front();
    const std::error_code error = Add(folder);
    if (IsShortage(error)) return error;
    if (error || folder.depth == 0) continue;
    for (fs::path& path : Below(folder.path)) waiting.push_back({std::move(path), folder.depth - 1});
  }
  return {};
}

// A folder that is there twice, as a root and below another one, keeps the greater depth.
std::error_code FolderWatch::Add(const Folder& folder) {
  const int number = ::inotify_add_watch(events, folder.path.c_str(), kEvents);
  if (number < 0) return LastError();
  const auto [place, isNew] = folders.try_emplace(number, folder);
  if (!isNew) place->second.depth = std::max(place->second.depth, folder.depth);
  return {};
}

std::vector<fs::path> FolderWatch::Next() {
  std::vector<fs::path> came;
  while (!opened && came.empty()) {
    std::array<pollfd, 2> waiting{{{events, POLLIN, 0}, {stop, POLLIN, 0}}};
    const int ready = ::poll(waiting.data(), waiting.size(), -1);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0 || waiting[1].revents != 0 || (waiting[0].revents & ~POLLIN) != 0) return {};
    Read(came);
  }
  return came;
}

// [inotify_event][name, zeros up to len] again and again.
void FolderWatch::Read(std::vector<fs::path>& came) {
  alignas(inotify_event) std::array<char, std::size_t{64} * 1024> buffer;
  const ssize_t count = ::read(events, buffer.data(), buffer.size());
  for (std::size_t at = 0; count > 0 && at < static_cast<std::size_t>(count);) {
    inotify_event event{};
    std::memcpy(&event, buffer.data() + at, sizeof event);
    const char* const name = buffer.data() + at + sizeof event;
    at += sizeof event + event.len;
    const auto folder = folders.find(event.wd);
    if (folder == folders.end()) continue;
    if ((event.mask & IN_IGNORED) != 0) {  // it has been removed
      folders.erase(folder);
      continue;
    }
    if (event.len == 0) continue;
    const Folder parent = folder->second;
    const fs::path path = parent.path / name;
    const bool isFolder = (event.mask & IN_ISDIR) != 0;
    const bool isWritten = (event.mask & (IN_CLOSE_WRITE | IN_MOVED_TO)) != 0;
    if (isFolder || isWritten || IsWholeAtOnce(path)) came.push_back(path);
    if (isFolder && parent.depth > 0 && !IsHidden(path)) TakeNewFolder({path, parent.depth - 1}, came);
  }
}

// What came into it before it was watched is told now.
void FolderWatch::TakeNewFolder(const Folder& folder, std::vector<fs::path>& came) {
  if (folders.size() >= mostFolders || Add(folder)) return;
  std::error_code error;
  for (auto entry = fs::directory_iterator(folder.path, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    came.push_back(entry->path());
    std::error_code unreadable;
    const bool isFolder = entry->symlink_status(unreadable).type() == fs::file_type::directory;
    if (isFolder && folder.depth > 0) TakeNewFolder({entry->path(), folder.depth - 1}, came);
  }
}

void FolderWatch::Stop() {
  const std::uint64_t one = 1;
  (void)!::write(stop, &one, sizeof one);  // It is full only when it has been written already.
}

}  // namespace platform
