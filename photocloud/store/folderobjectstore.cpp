#include "photocloud/store/folderobjectstore.h"

#include <fcntl.h>
#include <unistd.h>

#include "photocloud/base/log.h"
#include "photocloud/base/text.h"

namespace photocloud {
namespace {

namespace fs = std::filesystem;

class FileHandle {
 public:
  FileHandle(const fs::path& path, int flags) : handle(::open(path.c_str(), flags | O_CLOEXEC, 0600)) {}
  ~FileHandle() {
    if (handle >= 0) ::close(handle);
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  bool IsOpen() const { return handle >= 0; }
  bool Sync() const { return IsOpen() && ::fsync(handle) == 0; }

  bool WriteAll(std::string_view bytes) const {
    while (!bytes.empty()) {
      const auto written = ::write(handle, bytes.data(), bytes.size());
      if (written <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
  }

  bool ReadAll(std::string& bytes, std::int64_t start) const {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const auto count = ::pread(handle, bytes.data() + done, bytes.size() - done,
                                 static_cast<off_t>(start) + static_cast<off_t>(done));
      if (count <= 0) return false;
      done += static_cast<std::size_t>(count);
    }
    return true;
  }

 private:
  const int handle;
};

// A new name is safe only when the folder that holds it is flushed too.
bool SyncFolder(const fs::path& folder) { return FileHandle(folder, O_RDONLY | O_DIRECTORY).Sync(); }

// Makes the folder and flushes every parent that got a new entry.
bool MakeFolder(const fs::path& folder) {
  std::error_code error;
  if (fs::is_directory(folder, error)) return true;
  if (folder.has_parent_path() && !MakeFolder(folder.parent_path())) return false;
  fs::create_directory(folder, error);
  if (error) return false;
  return !folder.has_parent_path() || SyncFolder(folder.parent_path());
}

bool WriteNewFile(const fs::path& path, std::string_view bytes) {
  const FileHandle file(path, O_WRONLY | O_CREAT | O_EXCL);
  return file.IsOpen() && file.WriteAll(bytes) && file.Sync();
}

}  // namespace

FolderObjectStore::FolderObjectStore(fs::path path) : folder(std::move(path)) { (void)MakeFolder(folder); }

fs::path FolderObjectStore::PathOf(std::int64_t account, const std::string& sha256) const {
  return folder / std::to_string(account) / sha256.substr(0, 2) / sha256;
}

bool FolderObjectStore::Put(std::int64_t account, const std::string& sha256, std::string_view bytes) {
  const fs::path path = PathOf(account, sha256);
  fs::path part = path;
  part += "." + RandomId() + ".part";
  std::error_code error;
  if (MakeFolder(path.parent_path()) && WriteNewFile(part, bytes)) {
    fs::rename(part, path, error);
    if (!error && SyncFolder(path.parent_path())) return true;
  }
  Log(LogLevel::Error, "object not stored", {{"object", sha256}, {"account", std::to_string(account)}});
  fs::remove(part, error);
  return false;
}

std::optional<std::int64_t> FolderObjectStore::Length(std::int64_t account, const std::string& sha256) const {
  std::error_code error;
  const auto size = fs::file_size(PathOf(account, sha256), error);
  if (error) return std::nullopt;
  return static_cast<std::int64_t>(size);
}

std::optional<std::string> FolderObjectStore::Read(std::int64_t account, const std::string& sha256,
                                                   std::int64_t start, std::int64_t count) const {
  const FileHandle file(PathOf(account, sha256), O_RDONLY);
  if (!file.IsOpen()) return std::nullopt;
  std::string bytes(static_cast<std::size_t>(count), '\0');
  if (!file.ReadAll(bytes, start)) return std::nullopt;
  return bytes;
}

bool FolderObjectStore::Remove(std::int64_t account, const std::string& sha256) {
  std::error_code error;
  fs::remove(PathOf(account, sha256), error);
  return !error;
}

std::vector<std::string> FolderObjectStore::List(std::int64_t account) const {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::recursive_directory_iterator at(folder / std::to_string(account), error), end; !error && at != end;
       at.increment(error)) {
    const std::string name = at->path().filename().string();
    if (IsHex(name, 64)) names.push_back(name);
  }
  return names;
}

std::int64_t FolderObjectStore::FreeBytes() const {
  std::error_code error;
  const auto space = fs::space(folder, error);
  return error ? 0 : static_cast<std::int64_t>(space.available);
}

}  // namespace photocloud
