#include <dirent.h>
#include <fcntl.h>
#include <mntent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "common/platform/files.h"
#include "common/platform/guid.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kReadBytes = std::size_t{256} * 1024;
constexpr mode_t kOwnerOnly = 0600;

std::error_code LastError() { return {errno, std::generic_category()}; }

class FileHandle {
 public:
  explicit FileHandle(int opened) : descriptor(opened) {}
  ~FileHandle() {
    if (descriptor >= 0) ::close(descriptor);
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  bool IsOpen() const { return descriptor >= 0; }
  int Get() const { return descriptor; }
  // Some file systems report a failed write only here.
  std::error_code Close() {
    const int closing = std::exchange(descriptor, -1);
    return ::close(closing) == 0 ? std::error_code() : LastError();
  }

 private:
  int descriptor;
};

std::error_code WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return LastError();
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

// Makes a rename survive a power failure. Not every file system can do it, and
// the rename stands either way.
void FlushFolder(const fs::path& folder) {
  const FileHandle handle(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (handle.IsOpen()) (void)::fsync(handle.Get());
}

fs::path FolderOf(const fs::path& path) {
  const fs::path parent = path.parent_path();
  return parent.empty() ? fs::path(".") : parent;
}

std::error_code SetRights(int descriptor, const fs::path& target, Rights rights) {
  struct stat existing {};
  if (rights == Rights::OwnerOnly)
    return ::fchmod(descriptor, kOwnerOnly) == 0 ? std::error_code() : LastError();
  if (::stat(target.c_str(), &existing) != 0) return {};
  return ::fchmod(descriptor, existing.st_mode & 07777) == 0 ? std::error_code() : LastError();
}

std::error_code FillTemporary(const fs::path& temporary, const fs::path& target, std::string_view bytes,
                              Rights rights) {
  const mode_t mode = rights == Rights::OwnerOnly ? kOwnerOnly : 0666;
  FileHandle file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!file.IsOpen()) return LastError();
  if (const auto error = SetRights(file.Get(), target, rights)) return error;
  if (const auto error = WriteAll(file.Get(), bytes)) return error;
  if (::fsync(file.Get()) != 0) return LastError();
  return file.Close();
}

// The name does not grow with the target's, which may have the longest name that
// the file system takes.
fs::path TemporaryBeside(const fs::path& target) { return FolderOf(target) / (".zt-" + NewGuid() + ".tmp"); }

using Publish = std::error_code (*)(const fs::path& temporary, const fs::path& target);

std::error_code PublishByRename(const fs::path& temporary, const fs::path& target) {
  return ::rename(temporary.c_str(), target.c_str()) == 0 ? std::error_code() : LastError();
}

// Fails where the name is taken. Some file systems know no links, others no
// rename that spares its target; hardly any knows neither.
std::error_code PublishNew(const fs::path& temporary, const fs::path& target) {
  if (::link(temporary.c_str(), target.c_str()) == 0) {
    (void)::unlink(temporary.c_str());  // A left-over second name harms nothing.
    return {};
  }
  if (errno == EEXIST) return LastError();
  const int renamed = ::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
  return renamed == 0 ? std::error_code() : LastError();
}

std::error_code WriteAndPublish(const fs::path& target, std::string_view bytes, Rights rights,
                                Publish publish) {
  const fs::path temporary = TemporaryBeside(target);
  std::error_code error = FillTemporary(temporary, target, bytes, rights);
  if (!error) error = publish(temporary, target);
  if (error) {
    (void)::unlink(temporary.c_str());
    return error;
  }
  FlushFolder(FolderOf(target));
  return {};
}

bool Allows(const fs::path& path, int mode) {
  return ::faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

std::error_code CheckRegular(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return LastError();
  if (S_ISDIR(status.st_mode)) return std::make_error_code(std::errc::is_a_directory);
  return S_ISREG(status.st_mode) ? std::error_code() : std::make_error_code(std::errc::invalid_argument);
}

// Fills the buffer as far as the file goes.
std::error_code ReadPass(int descriptor, char* buffer, std::size_t capacity, std::size_t& length) {
  length = 0;
  while (length < capacity) {
    const ssize_t taken = ::read(descriptor, buffer + length, capacity - length);
    if (taken < 0 && errno == EINTR) continue;
    if (taken < 0) return LastError();
    if (taken == 0) return {};
    length += static_cast<std::size_t>(taken);
  }
  return {};
}

struct Entry {
  std::string name;
  unsigned char type;
};

std::error_code ListFolder(const fs::path& folder, std::vector<Entry>& entries) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(folder.c_str()), &::closedir);
  if (!stream) return LastError();
  errno = 0;
  while (const dirent* entry = ::readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") entries.push_back({std::string(name), entry->d_type});
    errno = 0;
  }
  if (errno != 0) return LastError();
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
  return {};
}

// Walks with a stack of its own, so that deep folders cannot exhaust the
// thread's.
class Walk {
 public:
  Walk(const std::function<bool(const fs::path&)>& visitor,
       const std::function<void(const fs::path&, std::error_code)>& failure)
      : visit(visitor), failed(failure) {}

  void Run(const fs::path& folder) {
    Enter(folder);
    while (!open.empty()) {
      Folder& top = open.back();
      if (top.next == top.entries.size()) {
        open.pop_back();
        continue;
      }
      const Entry entry = std::move(top.entries[top.next++]);
      if (!Handle(top.path / entry.name, entry.type)) return;
    }
  }

 private:
  struct Folder {
    fs::path path;
    std::vector<Entry> entries;
    std::size_t next = 0;
  };

  // False ends the walk.
  bool Handle(const fs::path& path, unsigned char type) {
    if (type == DT_REG) return visit(path);
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
      failed(path, LastError());
      return true;
    }
    if (S_ISREG(status.st_mode)) return visit(path);
    if (S_ISDIR(status.st_mode)) Enter(path);
    return true;
  }

  void Enter(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return failed(path, LastError());
    if (!visited.emplace(status.st_dev, status.st_ino).second) return;
    Folder folder{path, {}, 0};
    if (const auto error = ListFolder(path, folder.entries)) return failed(path, error);
    open.push_back(std::move(folder));
  }

  const std::function<bool(const fs::path&)>& visit;
  const std::function<void(const fs::path&, std::error_code)>& failed;
  std::vector<Folder> open;
  std::set<std::pair<dev_t, ino_t>> visited;
};

bool IsInMountTable(const fs::path& folder) {
  const std::unique_ptr<FILE, int (*)(FILE*)> table(::setmntent("/etc/fstab", "re"), &::endmntent);
  if (!table) return false;
  mntent entry{};
  std::array<char, 4096> text{};
  while (::getmntent_r(table.get(), &entry, text.data(), static_cast<int>(text.size()))) {
    if (folder == fs::path(entry.mnt_dir)) return true;
  }
  return false;
}

bool IsForMounts(const fs::path& folder) {
  if (IsInMountTable(folder)) return true;
  for (const char* place : {"/media", "/run/media", "/mnt"}) {
    const fs::path parent = folder.parent_path();
    if (folder == fs::path(place) || parent == fs::path(place) || parent.parent_path() == fs::path(place))
      return true;
  }
  return false;
}

}  // namespace

bool IsFolderAway(const fs::path& path) {
  std::error_code error;
  const fs::path folder = FolderOf(path);
  if (!fs::is_directory(folder, error)) return true;
  return fs::is_empty(folder, error) && IsForMounts(folder);
}

std::error_code ReplaceAtomically(const fs::path& target, std::string_view bytes, Rights rights) {
  std::error_code ignored;
  const bool isLink = fs::is_symlink(target, ignored);
  return WriteAndPublish(isLink ? Resolve(target) : target, bytes, rights, &PublishByRename);
}

std::error_code CreateAtomically(const fs::path& target, std::string_view bytes, Rights rights) {
  return WriteAndPublish(target, bytes, rights, &PublishNew);
}

std::error_code FlushFile(const fs::path& path) {
  FileHandle file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.IsOpen() || ::fsync(file.Get()) != 0) return LastError();
  return file.Close();
}

std::error_code RenameNew(const fs::path& finished, const fs::path& target) {
  if (const auto error = PublishNew(finished, target)) return error;
  FlushFolder(FolderOf(target));
  return {};
}

std::error_code MakeFolder(const fs::path& folder) {
  struct stat status {};
  if (::stat(folder.c_str(), &status) == 0) {
    return S_ISDIR(status.st_mode) ? std::error_code() : std::make_error_code(std::errc::not_a_directory);
  }
  const fs::path plain = folder.has_filename() ? folder : folder.parent_path();
  if (plain.has_parent_path() && plain.parent_path() != plain) {
    if (const auto error = MakeFolder(plain.parent_path())) return error;
  }
  // Another thread or process may have made it meanwhile.
  if (::mkdir(plain.c_str(), 0700) == 0 || errno == EEXIST) return {};
  return LastError();
}

std::uint64_t FreeSpace(const fs::path& folder) {
  std::error_code error;
  fs::path existing = fs::absolute(folder.empty() ? "." : folder, error);
  if (error) return 0;
  struct statvfs status {};
  while (::statvfs(existing.c_str(), &status) != 0) {
    if (errno != ENOENT && errno != ENOTDIR) return 0;
    if (existing == existing.parent_path()) return 0;
    existing = existing.parent_path();
  }
  return std::uint64_t{status.f_bavail} * status.f_frsize;
}

bool CanRead(const fs::path& path) { return Allows(path, R_OK); }
bool CanWrite(const fs::path& path) { return Allows(path, W_OK); }

std::error_code ReadInPasses(const fs::path& path, std::size_t passBytes,
                             const std::function<bool(std::string_view)>& sink) {
  // Without O_NONBLOCK the call would wait for the other end of a pipe.
  const FileHandle file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.IsOpen()) return LastError();
  if (const auto error = CheckRegular(file.Get())) return error;
  std::string buffer(std::max<std::size_t>(passBytes, 1), '\0');
  for (;;) {
    std::size_t length = 0;
    if (const auto error = ReadPass(file.Get(), buffer.data(), buffer.size(), length)) return error;
    if (length == 0) return {};
    if (!sink(std::string_view(buffer).substr(0, length))) return {};
  }
}

std::error_code ReadFile(const fs::path& path, std::string& content, std::uint64_t limit) {
  content.clear();
  bool tooLong = false;
  std::error_code error = ReadInPasses(path, kReadBytes, [&](std::string_view pass) {
    tooLong = pass.size() > limit - content.size();
    if (!tooLong) content.append(pass);
    return !tooLong;
  });
  if (tooLong) error = std::make_error_code(std::errc::file_too_large);
  if (error) content.clear();
  return error;
}

void WalkFiles(const fs::path& folder, const std::function<bool(const fs::path&)>& visit,
               const std::function<void(const fs::path&, std::error_code)>& failed) {
  Walk(visit, failed).Run(folder);
}

std::int64_t ModifiedTimeMs(const fs::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return -1;
  return std::int64_t{status.st_mtim.tv_sec} * 1000 + status.st_mtim.tv_nsec / 1'000'000;
}

}  // namespace platform
