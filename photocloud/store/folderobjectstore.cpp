#include "photocloud/store/folderobjectstore.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "photocloud/base/log.h"
#include "photocloud/base/text.h"
#include "photocloud/store/disk.h"

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

fs::path PathIn(const fs::path& folder, std::int64_t account, const std::string& sha256) {
  return folder / std::to_string(account) / sha256.substr(0, 2) / sha256;
}

// Makes the folder and flushes every parent that got a new entry: a new name is safe
// only when the folder that holds it is flushed too.
bool MakeFolder(const fs::path& folder) {
  std::error_code error;
  if (fs::is_directory(folder, error)) return true;
  if (folder.has_parent_path() && !MakeFolder(folder.parent_path())) return false;
  fs::create_directory(folder, error);
  if (error) return false;
  return !folder.has_parent_path() || SyncPath(folder.parent_path());
}

constexpr const char* kIncoming = "incoming";
// What earlier versions called files that they were writing.
constexpr const char* kEarlierSuffix = ".part";

class FileWriter : public ObjectWriter {
 public:
  FileWriter(const fs::path& storeFolder)
      : folder(storeFolder), part(folder / kIncoming / RandomId()), file(part, O_WRONLY | O_CREAT | O_EXCL) {
    fullness = file.IsOpen() ? 0 : errno;
  }
  ~FileWriter() override {
    std::error_code ignored;
    if (!kept) fs::remove(part, ignored);
  }

  bool Write(std::string_view piece) override { return file.IsOpen() && Note(file.WriteAll(piece)); }

  bool Keep(std::int64_t account, const std::string& sha256) override {
    const fs::path path = PathIn(folder, account, sha256);
    kept = file.IsOpen() &&
           Note(MakeFolder(path.parent_path()) && file.Sync() && ::rename(part.c_str(), path.c_str()) == 0);
    // A new name that may not last is as bad as none; the file is left to the
    // next writer of these bytes.
    if (kept && Note(SyncPath(path.parent_path()))) return true;
    Log(LogLevel::Error, "object not stored", {{"object", sha256}, {"account", std::to_string(account)}});
    return false;
  }

  bool IsFull() const override { return MeansNoRoom(fullness); }

 private:
  bool Note(bool done) {
    if (!done) fullness = errno;
    return done;
  }

  const fs::path folder;
  const fs::path part;
  const FileHandle file;
  bool kept = false;
  int fullness = 0;
};

}  // namespace

FolderObjectStore::FolderObjectStore(fs::path path) : folder(std::move(path)) {
  (void)MakeFolder(folder / kIncoming);
}

fs::path FolderObjectStore::PathOf(std::int64_t account, const std::string& sha256) const {
  return PathIn(folder, account, sha256);
}

std::unique_ptr<ObjectWriter> FolderObjectStore::Begin() { return std::make_unique<FileWriter>(folder); }

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

std::vector<std::string> FolderObjectStore::List(std::int64_t account, const std::string& digits) const {
  std::vector<std::string> names;
  std::error_code error;
  const fs::path from = folder / std::to_string(account) / digits;
  for (fs::recursive_directory_iterator at(from, error), end; !error && at != end; at.increment(error)) {
    const std::string name = at->path().filename().string();
    if (IsHex(name, 64)) names.push_back(name);
  }
  return names;
}

std::vector<std::int64_t> FolderObjectStore::ListAccounts() const {
  std::vector<std::int64_t> accounts;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    if (const auto account = ParseNumber(at->path().filename().string())) accounts.push_back(*account);
  }
  return accounts;
}

void FolderObjectStore::RemoveUnfinished() {
  std::error_code error;
  fs::remove_all(folder / kIncoming, error);
  (void)MakeFolder(folder / kIncoming);
  for (const std::int64_t account : ListAccounts()) {
    const fs::path from = folder / std::to_string(account);
    std::vector<fs::path> unfinished;
    for (fs::recursive_directory_iterator at(from, error), end; !error && at != end; at.increment(error)) {
      if (at->path().extension() == kEarlierSuffix) unfinished.push_back(at->path());
    }
    for (const fs::path& path : unfinished) fs::remove(path, error);
  }
}

std::int64_t FolderObjectStore::FreeBytes() const {
  std::error_code error;
  const auto space = fs::space(folder, error);
  return error ? 0 : static_cast<std::int64_t>(space.available);
}

}  // namespace photocloud
