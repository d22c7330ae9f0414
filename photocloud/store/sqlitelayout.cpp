#include "photocloud/store/sqlitelayout.h"

#include <iterator>

#include "photocloud/store/sqlitestatement.h"

namespace photocloud {
namespace {

// The first layout, which had no number. A new file starts with it too and goes
// through all steps below, so that there is one way to the present layout.
constexpr const char* kTables = R"sql(
CREATE TABLE IF NOT EXISTS settings(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS accounts(
  id INTEGER PRIMARY KEY AUTOINCREMENT, user_id TEXT NOT NULL UNIQUE, user_name TEXT NOT NULL UNIQUE,
  verifier TEXT NOT NULL, disabled INTEGER NOT NULL, hidden INTEGER NOT NULL, user_status TEXT NOT NULL,
  suspend_cursor TEXT NOT NULL, version INTEGER NOT NULL DEFAULT 0, oldest_cursor INTEGER NOT NULL DEFAULT 0,
  quota_bytes INTEGER NOT NULL, used_bytes INTEGER NOT NULL DEFAULT 0);
CREATE TABLE IF NOT EXISTS sessions(
  id INTEGER PRIMARY KEY, account INTEGER NOT NULL, device TEXT NOT NULL, access_hash TEXT NOT NULL UNIQUE,
  access_until INTEGER NOT NULL, refresh_hash TEXT NOT NULL UNIQUE, refresh_until INTEGER NOT NULL,
  previous_hash TEXT NOT NULL, previous_until INTEGER NOT NULL);
CREATE INDEX IF NOT EXISTS sessions_previous ON sessions(previous_hash) WHERE previous_hash != '';
CREATE INDEX IF NOT EXISTS sessions_account ON sessions(account);
CREATE TABLE IF NOT EXISTS wrapped_keys(account INTEGER PRIMARY KEY, keys TEXT NOT NULL, revision INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS locks(
  account INTEGER PRIMARY KEY, token TEXT NOT NULL, device TEXT NOT NULL, until_ms INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS albums(
  account INTEGER NOT NULL, id TEXT NOT NULL, name TEXT NOT NULL, type TEXT NOT NULL, created_time TEXT NOT NULL,
  created_ms INTEGER NOT NULL, local_path TEXT NOT NULL, properties TEXT NOT NULL, version INTEGER NOT NULL,
  deleted INTEGER NOT NULL, PRIMARY KEY(account, id)) WITHOUT ROWID;
CREATE UNIQUE INDEX IF NOT EXISTS albums_name ON albums(account, name) WHERE deleted = 0;
CREATE INDEX IF NOT EXISTS albums_created ON albums(account, created_ms DESC, id DESC) WHERE deleted = 0;
CREATE TABLE IF NOT EXISTS media(
  account INTEGER NOT NULL, id TEXT NOT NULL, phase INTEGER NOT NULL, album_id TEXT NOT NULL,
  recycled INTEGER NOT NULL, created_ms INTEGER NOT NULL, version INTEGER NOT NULL, created_version INTEGER NOT NULL,
  device TEXT NOT NULL, status INTEGER NOT NULL, lost_version INTEGER NOT NULL, touched_ms INTEGER NOT NULL,
  fields TEXT NOT NULL, PRIMARY KEY(account, id));
CREATE INDEX IF NOT EXISTS media_created ON media(account, created_ms DESC, id DESC) WHERE phase = 1;
CREATE INDEX IF NOT EXISTS media_album ON media(account, album_id, created_ms DESC, id DESC) WHERE phase = 1;
CREATE INDEX IF NOT EXISTS media_version ON media(account, version) WHERE phase != 0;
CREATE INDEX IF NOT EXISTS media_lost ON media(account, lost_version) WHERE lost_version > 0;
CREATE INDEX IF NOT EXISTS media_upload ON media(account, touched_ms) WHERE phase = 0;
CREATE INDEX IF NOT EXISTS media_tombstone ON media(account, touched_ms) WHERE phase = 2;
CREATE TABLE IF NOT EXISTS assets(
  account INTEGER NOT NULL, media_id TEXT NOT NULL, id TEXT NOT NULL, version_id TEXT NOT NULL, usage TEXT NOT NULL,
  hash TEXT NOT NULL, sha256 TEXT NOT NULL, length INTEGER NOT NULL, slice_size INTEGER NOT NULL,
  status INTEGER NOT NULL, fields TEXT NOT NULL, PRIMARY KEY(account, id));
CREATE INDEX IF NOT EXISTS assets_media ON assets(account, media_id);
CREATE INDEX IF NOT EXISTS assets_hash ON assets(account, hash);
CREATE TABLE IF NOT EXISTS slices(
  object_id TEXT PRIMARY KEY, account INTEGER NOT NULL, media_id TEXT NOT NULL, asset_id TEXT NOT NULL,
  number INTEGER NOT NULL, start INTEGER NOT NULL, length INTEGER NOT NULL, md5 TEXT NOT NULL, sha256 TEXT NOT NULL)
  WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS slices_asset ON slices(account, asset_id, number);
CREATE INDEX IF NOT EXISTS slices_media ON slices(account, media_id);
CREATE INDEX IF NOT EXISTS slices_object ON slices(account, sha256);
CREATE TABLE IF NOT EXISTS objects(
  account INTEGER NOT NULL, sha256 TEXT NOT NULL, md5 TEXT NOT NULL, length INTEGER NOT NULL, whole INTEGER NOT NULL,
  PRIMARY KEY(account, sha256)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS orphans(account INTEGER NOT NULL, sha256 TEXT NOT NULL, PRIMARY KEY(account, sha256))
  WITHOUT ROWID;
)sql";

// Each brings a file to the layout of the next number, which stands in
// user_version. A step that was released once is never changed.
constexpr const char* kLayoutSteps[] = {
    // 1: sessions that can be listed and ended by their id. Those from before
    // were last used at their last refresh, as far as anybody knows.
    R"sql(
CREATE TABLE sessions_1(
  id INTEGER PRIMARY KEY AUTOINCREMENT, account INTEGER NOT NULL, device TEXT NOT NULL,
  access_hash TEXT NOT NULL UNIQUE, access_until INTEGER NOT NULL, refresh_hash TEXT NOT NULL UNIQUE,
  refresh_until INTEGER NOT NULL, previous_hash TEXT NOT NULL, previous_until INTEGER NOT NULL,
  created_ms INTEGER NOT NULL, last_used_ms INTEGER NOT NULL);
INSERT INTO sessions_1 SELECT id,account,device,access_hash,access_until,refresh_hash,refresh_until,previous_hash,
  previous_until,refresh_until-2592000000,refresh_until-2592000000 FROM sessions;
DROP TABLE sessions;
ALTER TABLE sessions_1 RENAME TO sessions;
CREATE INDEX sessions_previous ON sessions(previous_hash) WHERE previous_hash != '';
CREATE INDEX sessions_account ON sessions(account);
CREATE INDEX accounts_name ON accounts(user_name COLLATE NOCASE);
)sql",
    // 2: texts of records count as used space. The albums that every account has
    // from its start do not, so that a new account uses nothing.
    R"sql(
ALTER TABLE accounts ADD COLUMN record_bytes INTEGER NOT NULL DEFAULT 0;
CREATE TRIGGER media_in AFTER INSERT ON media BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.fields AS BLOB)) WHERE id=new.account; END;
CREATE TRIGGER media_change AFTER UPDATE OF fields ON media WHEN new.fields!=old.fields BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.fields AS BLOB))-length(CAST(old.fields AS BLOB))
  WHERE id=new.account; END;
CREATE TRIGGER media_out AFTER DELETE ON media BEGIN
  UPDATE accounts SET record_bytes=record_bytes-length(CAST(old.fields AS BLOB)) WHERE id=old.account; END;
CREATE TRIGGER assets_in AFTER INSERT ON assets BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.fields AS BLOB)) WHERE id=new.account; END;
CREATE TRIGGER assets_change AFTER UPDATE OF fields ON assets WHEN new.fields!=old.fields BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.fields AS BLOB))-length(CAST(old.fields AS BLOB))
  WHERE id=new.account; END;
CREATE TRIGGER assets_out AFTER DELETE ON assets BEGIN
  UPDATE accounts SET record_bytes=record_bytes-length(CAST(old.fields AS BLOB)) WHERE id=old.account; END;
CREATE TRIGGER albums_in AFTER INSERT ON albums
  WHEN new.id NOT IN ('default-album-1','default-album-2','default-album-3') BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.name||new.local_path||new.properties AS BLOB))
  WHERE id=new.account; END;
CREATE TRIGGER albums_change AFTER UPDATE ON albums
  WHEN new.id NOT IN ('default-album-1','default-album-2','default-album-3') BEGIN
  UPDATE accounts SET record_bytes=record_bytes+length(CAST(new.name||new.local_path||new.properties AS BLOB))
    -length(CAST(old.name||old.local_path||old.properties AS BLOB)) WHERE id=new.account; END;
UPDATE accounts SET record_bytes=
  (SELECT coalesce(sum(length(CAST(fields AS BLOB))),0) FROM media WHERE media.account=accounts.id)+
  (SELECT coalesce(sum(length(CAST(fields AS BLOB))),0) FROM assets WHERE assets.account=accounts.id)+
  (SELECT coalesce(sum(length(CAST(name||local_path||properties AS BLOB))),0) FROM albums WHERE
   albums.account=accounts.id AND id NOT IN ('default-album-1','default-album-2','default-album-3'));
)sql",
    // 3: the version at which an account came from a backup.
    R"sql(
ALTER TABLE accounts ADD COLUMN restored_cursor INTEGER NOT NULL DEFAULT 0;
)sql",
    // 4: lists for a comparison come from their index alone. Members of a patch that
    // are null are those that it leaves out.
    R"sql(
ALTER TABLE media ADD COLUMN brief TEXT NOT NULL DEFAULT '{}';
UPDATE media SET brief=json_patch('{}',json_object('createdTime',json_extract(fields,'$.createdTime'),
  'editedTime',json_extract(fields,'$.editedTime'),'size',json_extract(fields,'$.size'))) WHERE json_valid(fields);
DROP INDEX media_created;
CREATE INDEX media_created ON media(account, created_ms DESC, id DESC, album_id, status, brief, phase) WHERE phase = 1;
)sql",
    // 5: accounts for which the service is switched off.
    R"sql(
ALTER TABLE accounts ADD COLUMN suspended_ms INTEGER NOT NULL DEFAULT 0;
ALTER TABLE accounts ADD COLUMN delete_ms INTEGER NOT NULL DEFAULT 0;
)sql",
};
constexpr std::int64_t kLayoutVersion = std::size(kLayoutSteps);

std::int64_t VersionOf(SqliteConnection& connection) {
  SqliteStatement statement(connection.Prepare("PRAGMA user_version"));
  return statement.Step() ? statement.Number(0) : 0;
}

}  // namespace

void BringUpToDate(SqliteConnection& connection) {
  auto version = VersionOf(connection);
  if (version > kLayoutVersion) throw StoreFailure("the database was written by a later version");
  if (version == 0) connection.Execute(kTables);
  for (; version < kLayoutVersion; ++version) connection.Execute(kLayoutSteps[version]);
  connection.Execute(("PRAGMA user_version=" + std::to_string(kLayoutVersion)).c_str());
}

}  // namespace photocloud
