BEGIN TRANSACTION;
CREATE TABLE accounts(
  id INTEGER PRIMARY KEY AUTOINCREMENT, user_id TEXT NOT NULL UNIQUE, user_name TEXT NOT NULL UNIQUE,
  verifier TEXT NOT NULL, disabled INTEGER NOT NULL, hidden INTEGER NOT NULL, user_status TEXT NOT NULL,
  suspend_cursor TEXT NOT NULL, version INTEGER NOT NULL DEFAULT 0, oldest_cursor INTEGER NOT NULL DEFAULT 0,
  quota_bytes INTEGER NOT NULL, used_bytes INTEGER NOT NULL DEFAULT 0, record_bytes INTEGER NOT NULL DEFAULT 0, restored_cursor INTEGER NOT NULL DEFAULT 0);
INSERT INTO "accounts" VALUES(1,'3da35f35987ed8da7ae6cf54dddb2937','anna','$argon2id$v=19$m=8,t=1,p=1$+lblmBJYBPyoYUNfucWn1Q$K4dLCF7bD5bv+41ttAZ4xUi6nkJk2nPyjpLe21emNoQ',0,0,'N','',5,0,1099511627776,0,639,0);
CREATE TABLE albums(
  account INTEGER NOT NULL, id TEXT NOT NULL, name TEXT NOT NULL, type TEXT NOT NULL, created_time TEXT NOT NULL,
  created_ms INTEGER NOT NULL, local_path TEXT NOT NULL, properties TEXT NOT NULL, version INTEGER NOT NULL,
  deleted INTEGER NOT NULL, PRIMARY KEY(account, id)) WITHOUT ROWID;
INSERT INTO "albums" VALUES(1,'default-album-1','default-album-1','0','2026-11-22T13:52:06.040Z',1795355526040,'','{}',0,0);
INSERT INTO "albums" VALUES(1,'default-album-2','default-album-2','0','2026-11-22T13:52:06.040Z',1795355526040,'','{}',0,0);
INSERT INTO "albums" VALUES(1,'default-album-3','default-album-3','4','2026-11-22T13:52:06.040Z',1795355526040,'','{}',0,0);
CREATE TABLE assets(
  account INTEGER NOT NULL, media_id TEXT NOT NULL, id TEXT NOT NULL, version_id TEXT NOT NULL, usage TEXT NOT NULL,
  hash TEXT NOT NULL, sha256 TEXT NOT NULL, length INTEGER NOT NULL, slice_size INTEGER NOT NULL,
  status INTEGER NOT NULL, fields TEXT NOT NULL, PRIMARY KEY(account, id));
CREATE TABLE locks(
  account INTEGER PRIMARY KEY, token TEXT NOT NULL, device TEXT NOT NULL, until_ms INTEGER NOT NULL);
INSERT INTO "locks" VALUES(1,'f99c3599d1c152d36788a87d909a3757','desktop',1795355586473);
CREATE TABLE media(
  account INTEGER NOT NULL, id TEXT NOT NULL, phase INTEGER NOT NULL, album_id TEXT NOT NULL,
  recycled INTEGER NOT NULL, created_ms INTEGER NOT NULL, version INTEGER NOT NULL, created_version INTEGER NOT NULL,
  device TEXT NOT NULL, status INTEGER NOT NULL, lost_version INTEGER NOT NULL, touched_ms INTEGER NOT NULL,
  fields TEXT NOT NULL, PRIMARY KEY(account, id));
INSERT INTO "media" VALUES(1,'176dab0f25f5a10e7455477ef533e701',1,'default-album-1',0,1682942400000,1,1,'desktop',1,0,1795355526476,'{"createdTime":"2023-05-01T12:00:00Z","deviceId":"desktop","editedTime":"2023-05-02T12:00:00Z","favorite":false,"fileName":"a.jpg","properties":{"editedTime":"no","size":7},"size":3000000}');
INSERT INTO "media" VALUES(1,'117cad9df076537434c420fe823ed3e3',1,'default-album-1',0,1682946000000,2,2,'desktop',1,0,1795355526479,'{"createdTime":"2023-05-01T13:00:00Z","description":"\\\"size\\\":5","deviceId":"desktop","favorite":false,"fileName":"Bär \"1\".jpg","size":0}');
INSERT INTO "media" VALUES(1,'bfda18f3b9110ebaa3b90f29899194be',1,'default-album-1',1,1682949600000,3,3,'desktop',1,0,1795355526481,'{"createdTime":"2023-05-01T14:00:00Z","deviceId":"desktop","editedTime":"2023-05-02T12:00:00.250Z","favorite":false,"fileName":"c.jpg","recycledTime":"2026-11-22T13:52:06.480Z","size":9007199254740993}');
INSERT INTO "media" VALUES(1,'98b566f8a66312b35287db2f2ee98b24',2,'',0,0,5,0,'desktop',1,0,1795355526512,'{}');
INSERT INTO "media" VALUES(1,'69c0f8ae3e1b923cc896226fb2a59cd8',0,'default-album-1',0,1682956800000,0,0,'',1,0,1795355526517,'{"createdTime":"2023-05-01T16:00:00Z","deviceId":"desktop","favorite":false,"fileName":"e.jpg","size":2}');
CREATE TABLE objects(
  account INTEGER NOT NULL, sha256 TEXT NOT NULL, md5 TEXT NOT NULL, length INTEGER NOT NULL, whole INTEGER NOT NULL,
  PRIMARY KEY(account, sha256)) WITHOUT ROWID;
CREATE TABLE orphans(account INTEGER NOT NULL, sha256 TEXT NOT NULL, PRIMARY KEY(account, sha256))
  WITHOUT ROWID;
CREATE TABLE "sessions"(
  id INTEGER PRIMARY KEY AUTOINCREMENT, account INTEGER NOT NULL, device TEXT NOT NULL,
  access_hash TEXT NOT NULL UNIQUE, access_until INTEGER NOT NULL, refresh_hash TEXT NOT NULL UNIQUE,
  refresh_until INTEGER NOT NULL, previous_hash TEXT NOT NULL, previous_until INTEGER NOT NULL,
  created_ms INTEGER NOT NULL, last_used_ms INTEGER NOT NULL);
INSERT INTO "sessions" VALUES(1,1,'desktop','a75a5c7b9d8fe240e5afee8fee7f3bc979ecac52992b1ff572c25d546021f496',1795359126449,'cc15b99546022317cfe8713a0de02d799aabba4fc4624092659899ab1636d62d',1797947526449,'',0,1795355526448,1795355526448);
CREATE TABLE settings(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
INSERT INTO "settings" VALUES('secret','443a5e82a976d984fc9ed9b7b8f19bdc7e77035ba6accf9329bc3455a38e54bc');
CREATE TABLE slices(
  object_id TEXT PRIMARY KEY, account INTEGER NOT NULL, media_id TEXT NOT NULL, asset_id TEXT NOT NULL,
  number INTEGER NOT NULL, start INTEGER NOT NULL, length INTEGER NOT NULL, md5 TEXT NOT NULL, sha256 TEXT NOT NULL)
  WITHOUT ROWID;
CREATE TABLE wrapped_keys(account INTEGER PRIMARY KEY, keys TEXT NOT NULL, revision INTEGER NOT NULL);
CREATE UNIQUE INDEX albums_name ON albums(account, name) WHERE deleted = 0;
CREATE INDEX albums_created ON albums(account, created_ms DESC, id DESC) WHERE deleted = 0;
CREATE INDEX media_created ON media(account, created_ms DESC, id DESC) WHERE phase = 1;
CREATE INDEX media_album ON media(account, album_id, created_ms DESC, id DESC) WHERE phase = 1;
CREATE INDEX media_version ON media(account, version) WHERE phase != 0;
CREATE INDEX media_lost ON media(account, lost_version) WHERE lost_version > 0;
CREATE INDEX media_upload ON media(account, touched_ms) WHERE phase = 0;
CREATE INDEX media_tombstone ON media(account, touched_ms) WHERE phase = 2;
CREATE INDEX assets_media ON assets(account, media_id);
CREATE INDEX assets_hash ON assets(account, hash);
CREATE INDEX slices_asset ON slices(account, asset_id, number);
CREATE INDEX slices_media ON slices(account, media_id);
CREATE INDEX slices_object ON slices(account, sha256);
CREATE INDEX sessions_previous ON sessions(previous_hash) WHERE previous_hash != '';
CREATE INDEX sessions_account ON sessions(account);
CREATE INDEX accounts_name ON accounts(user_name COLLATE NOCASE);
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
COMMIT;
PRAGMA user_version=3;
