#include "photocloud/content/integritycheck.h"

#include <fcntl.h>
#include <unistd.h>

#include <set>

#include "photocloud/base/digest.h"
#include "photocloud/base/log.h"
#include "photocloud/store/folderlock.h"
#include "photocloud/store/folderobjectstore.h"
#include "photocloud/store/sqlitefile.h"

namespace photocloud {
namespace {

namespace fs = std::filesystem;

constexpr int kPage = 500;
constexpr const char* kDatabase = "photocloud.db";
constexpr const char* kObjects = "objects";
// Objects that are deleted while a backup runs make it start again.
constexpr int kBackupTries = 5;

void CheckObjects(MetadataStore& store, ObjectVault& vault, const Account& account, CheckResult& result) {
  std::string after;
  while (true) {
    const auto page = store.ListObjects(account.id, after, kPage);
    for (const ObjectRecord& object : page) {
      after = object.sha256;
      ++result.objects;
      if (object.whole && vault.IsWhole(account.id, object)) continue;
      // The server may have removed it since the page was read.
      if (!store.FindObject(account.id, object.sha256)) continue;
      ++result.damagedObjects;
      vault.MarkDamaged(account.id, object.sha256);
    }
    if (page.size() < kPage) return;
  }
}

// After the objects are known, the records that miss one.
void CheckMedia(MetadataStore& store, ObjectVault& vault, const Account& account, CheckResult& result) {
  std::int64_t after = 0;
  while (true) {
    const auto page = store.ListChanges(account.id, after, false, kPage);
    for (const MediaRecord& media : page) {
      after = media.version;
      ++result.media;
      store.Atomically([&] {
        for (const AssetRecord& asset : store.ListAssets(account.id, media.id)) {
          if (!vault.IsComplete(account.id, asset.id))
            vault.SetAssetStatus(account.id, asset, ContentStatus::Lost, "");
        }
        const auto now = store.FindMedia(account.id, media.id);
        if (now && now->phase == MediaPhase::Visible && now->status == ContentStatus::Lost) {
          result.lostMedia.push_back(account.userName + "/" + media.id);
        }
        return true;
      });
    }
    if (page.size() < kPage) return;
  }
}

// Two names of one file or folder, whatever links lead there.
bool IsSame(const fs::path& left, const fs::path& right) {
  std::error_code error;
  return fs::equivalent(left, right, error) && !error;
}

// True for a folder inside another, by whatever way; it need not exist.
bool IsInside(const fs::path& folder, const fs::path& outer) {
  std::error_code error;
  for (fs::path at = fs::weakly_canonical(folder, error); at.has_relative_path(); at = at.parent_path()) {
    if (IsSame(at, outer)) return true;
  }
  return false;
}

// True when a backup into the folder would write over what it is made from, or be
// taken for objects of the service.
bool HoldsStore(const fs::path& folder, const fs::path& database) {
  const fs::path data = database.has_parent_path() ? database.parent_path() : fs::path(".");
  return IsInside(folder, data / kObjects) || IsSame(folder, data) || IsSame(folder / kDatabase, database) ||
         IsSame(folder / kObjects, data / kObjects);
}

bool SyncFolder(const fs::path& folder) {
  const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (handle < 0) return false;
  const bool done = ::fsync(handle) == 0;
  ::close(handle);
  return done;
}

// Backups hold verifiers and sealed keys.
void KeepToOwner(const fs::path& path, fs::perms rights) {
  std::error_code error;
  fs::permissions(path, rights, error);
  if (error) Log(LogLevel::Warning, "rights not set", {{"path", path.string()}});
}

bool CopyObjects(SqliteStore& copy, const ObjectStore& objects, ObjectStore& target, const Account& account) {
  std::string after;
  while (true) {
    const auto page = copy.ListObjects(account.id, after, kPage);
    for (const ObjectRecord& object : page) {
      after = object.sha256;
      if (!object.whole || target.Length(account.id, object.sha256) == object.length) continue;
      const auto bytes = objects.Read(account.id, object.sha256, 0, object.length);
      if (!bytes || Sha256Hex(*bytes) != object.sha256) return false;
      if (!target.Put(account.id, object.sha256, *bytes)) return false;
    }
    if (page.size() < kPage) return true;
  }
}

bool CopyAll(SqliteStore& store, const ObjectStore& objects, const fs::path& folder) {
  const fs::path part = folder / (std::string(kDatabase) + ".part");
  std::error_code error;
  fs::remove(part, error);
  SettleLog(part);
  store.CopyTo(part);
  KeepToOwner(part, fs::perms::owner_read | fs::perms::owner_write);
  FolderObjectStore target(folder / kObjects);
  KeepToOwner(folder / kObjects, fs::perms::owner_all);
  {
    SqliteStore copy(part);
    for (const Account& account : copy.ListAccounts()) {
      if (!CopyObjects(copy, objects, target, account)) return false;
    }
  }
  // No log may lie beside either: the library would apply it to the new file.
  SettleLog(part);
  SettleLog(folder / kDatabase);
  if (!SyncFolder(folder)) return false;
  fs::rename(part, folder / kDatabase, error);
  return !error && SyncFolder(folder);
}

}  // namespace

CheckResult CheckAll(MetadataStore& store, ObjectVault& vault, Counting counting) {
  CheckResult result;
  for (const Account& account : store.ListAccounts()) {
    CheckObjects(store, vault, account, result);
    CheckMedia(store, vault, account, result);
    if (!store.CountBytes(account.id, counting)) ++result.wrongSums;
  }
  return result;
}

std::string BackUp(SqliteStore& store, const ObjectStore& objects, const fs::path& folder) {
  std::error_code error;
  if (HoldsStore(folder, store.File())) return "the backup's folder is that of the service";
  fs::create_directories(folder, error);
  if (error) return "cannot make " + folder.string();
  KeepToOwner(folder, fs::perms::owner_all);
  const FolderLock lock(folder);
  if (!lock.IsHeld()) return "a server runs on the backup's folder, or it cannot be written";
  for (int i = 0; i < kBackupTries; ++i) {
    if (CopyAll(store, objects, folder)) return {};
  }
  return "objects could not be copied; see `check`";
}

}  // namespace photocloud
