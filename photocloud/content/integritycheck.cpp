#include "photocloud/content/integritycheck.h"

#include <set>

#include "photocloud/store/folderobjectstore.h"

namespace photocloud {
namespace {

namespace fs = std::filesystem;

constexpr int kPage = 500;
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

bool CopyObjects(SqliteStore& copy, const ObjectStore& objects, ObjectStore& target, const Account& account) {
  std::string after;
  while (true) {
    const auto page = copy.ListObjects(account.id, after, kPage);
    for (const ObjectRecord& object : page) {
      after = object.sha256;
      if (!object.whole || target.Length(account.id, object.sha256) == object.length) continue;
      const auto bytes = objects.Read(account.id, object.sha256, 0, object.length);
      if (!bytes || !target.Put(account.id, object.sha256, *bytes)) return false;
    }
    if (page.size() < kPage) return true;
  }
}

bool CopyAll(SqliteStore& store, const ObjectStore& objects, const fs::path& folder) {
  const fs::path part = folder / "photocloud.db.part";
  std::error_code error;
  fs::remove(part, error);
  store.CopyTo(part);
  FolderObjectStore target(folder / "objects");
  {
    SqliteStore copy(part);
    for (const Account& account : copy.ListAccounts()) {
      if (!CopyObjects(copy, objects, target, account)) return false;
    }
  }
  // Opening the copy made a log beside it, which closing has emptied.
  fs::remove(folder / "photocloud.db.part-wal", error);
  fs::remove(folder / "photocloud.db.part-shm", error);
  fs::rename(part, folder / "photocloud.db", error);
  return !error;
}

}  // namespace

CheckResult CheckAll(MetadataStore& store, ObjectVault& vault) {
  CheckResult result;
  for (const Account& account : store.ListAccounts()) {
    CheckObjects(store, vault, account, result);
    CheckMedia(store, vault, account, result);
  }
  return result;
}

std::string BackUp(SqliteStore& store, const ObjectStore& objects, const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) return "cannot make " + folder.string();
  for (int i = 0; i < kBackupTries; ++i) {
    if (CopyAll(store, objects, folder)) return {};
  }
  return "objects could not be copied; see `check`";
}

}  // namespace photocloud
