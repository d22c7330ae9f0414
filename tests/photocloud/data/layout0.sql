BEGIN TRANSACTION;
CREATE TABLE accounts(
  id INTEGER PRIMARY KEY AUTOINCREMENT, user_id TEXT NOT NULL UNIQUE, user_name TEXT NOT NULL UNIQUE,
  verifier TEXT NOT NULL, disabled INTEGER NOT NULL, hidden INTEGER NOT NULL, user_status TEXT NOT NULL,
  suspend_cursor TEXT NOT NULL, version INTEGER NOT NULL DEFAULT 0, oldest_cursor INTEGER NOT NULL DEFAULT 0,
  quota_bytes INTEGER NOT NULL, used_bytes INTEGER NOT NULL DEFAULT 0);
INSERT INTO "accounts" VALUES(1,'a6997c362de67737be25c437793842c8','anna','$argon2id$v=19$m=8,t=1,p=1$q4AQ6le0De058Au6UZPqhQ$U7YgYwGtDanM5N1hI3kAdx65bWo+y8h43Dd4abAu2Hk',0,0,'N','',2,0,1099511627776,10);
INSERT INTO "accounts" VALUES(2,'144a8ff30193fe8c6d7060a56c1506a4','Anna','$argon2id$v=19$m=8,t=1,p=1$88fIU9RUUMpgeDIXZrSTiA$jbPGI8Vsa/nYSlEns231RIRg5b97J5yUBHPK3/uglF8',0,0,'N','',0,0,1099511627776,0);
CREATE TABLE albums(
  account INTEGER NOT NULL, id TEXT NOT NULL, name TEXT NOT NULL, type TEXT NOT NULL, created_time TEXT NOT NULL,
  created_ms INTEGER NOT NULL, local_path TEXT NOT NULL, properties TEXT NOT NULL, version INTEGER NOT NULL,
  deleted INTEGER NOT NULL, PRIMARY KEY(account, id)) WITHOUT ROWID;
INSERT INTO "albums" VALUES(1,'default-album-1','default-album-1','0','2026-11-22T00:41:12.608Z',1795308072608,'','{}',0,0);
INSERT INTO "albums" VALUES(1,'default-album-2','default-album-2','0','2026-11-22T00:41:12.608Z',1795308072608,'','{}',0,0);
INSERT INTO "albums" VALUES(1,'default-album-3','default-album-3','4','2026-11-22T00:41:12.608Z',1795308072608,'','{}',0,0);
INSERT INTO "albums" VALUES(1,'trip','Trip','0','2026-11-22T00:41:13.304Z',1795308073304,'','{}',1,0);
INSERT INTO "albums" VALUES(2,'default-album-1','default-album-1','0','2026-11-22T00:41:12.640Z',1795308072640,'','{}',0,0);
INSERT INTO "albums" VALUES(2,'default-album-2','default-album-2','0','2026-11-22T00:41:12.640Z',1795308072640,'','{}',0,0);
INSERT INTO "albums" VALUES(2,'default-album-3','default-album-3','4','2026-11-22T00:41:12.640Z',1795308072640,'','{}',0,0);
CREATE TABLE assets(
  account INTEGER NOT NULL, media_id TEXT NOT NULL, id TEXT NOT NULL, version_id TEXT NOT NULL, usage TEXT NOT NULL,
  hash TEXT NOT NULL, sha256 TEXT NOT NULL, length INTEGER NOT NULL, slice_size INTEGER NOT NULL,
  status INTEGER NOT NULL, fields TEXT NOT NULL, PRIMARY KEY(account, id));
INSERT INTO "assets" VALUES(1,'0fae35768a78934303087a7464367f59','9f35c7650d6ffde5b67fa562c6ed684c','89c067d44e4cec3a2dff5104c81bdd24','content','h1','84d89877f0d4041efb6bf91a16f0248f2fd573e6af05c19f96bedb9f882f7882',10,4194304,1,'{"attributes":{"a":1}}');
CREATE TABLE locks(
  account INTEGER PRIMARY KEY, token TEXT NOT NULL, device TEXT NOT NULL, until_ms INTEGER NOT NULL);
INSERT INTO "locks" VALUES(1,'6da616bcce737260b9d92179feb38a7d','desktop',1795308133297);
CREATE TABLE media(
  account INTEGER NOT NULL, id TEXT NOT NULL, phase INTEGER NOT NULL, album_id TEXT NOT NULL,
  recycled INTEGER NOT NULL, created_ms INTEGER NOT NULL, version INTEGER NOT NULL, created_version INTEGER NOT NULL,
  device TEXT NOT NULL, status INTEGER NOT NULL, lost_version INTEGER NOT NULL, touched_ms INTEGER NOT NULL,
  fields TEXT NOT NULL, PRIMARY KEY(account, id));
INSERT INTO "media" VALUES(1,'0fae35768a78934303087a7464367f59',1,'trip',0,1714558830000,2,2,'desktop',1,0,1795308073321,'{"createdTime":"2024-05-01T10:20:30","deviceId":"desktop","favorite":false,"fileName":"a.jpg","size":10}');
CREATE TABLE objects(
  account INTEGER NOT NULL, sha256 TEXT NOT NULL, md5 TEXT NOT NULL, length INTEGER NOT NULL, whole INTEGER NOT NULL,
  PRIMARY KEY(account, sha256)) WITHOUT ROWID;
INSERT INTO "objects" VALUES(1,'84d89877f0d4041efb6bf91a16f0248f2fd573e6af05c19f96bedb9f882f7882','781e5e245d69b566979b86e28d23f2c7',10,1);
CREATE TABLE orphans(account INTEGER NOT NULL, sha256 TEXT NOT NULL, PRIMARY KEY(account, sha256))
  WITHOUT ROWID;
CREATE TABLE sessions(
  id INTEGER PRIMARY KEY, account INTEGER NOT NULL, device TEXT NOT NULL, access_hash TEXT NOT NULL UNIQUE,
  access_until INTEGER NOT NULL, refresh_hash TEXT NOT NULL UNIQUE, refresh_until INTEGER NOT NULL,
  previous_hash TEXT NOT NULL, previous_until INTEGER NOT NULL);
INSERT INTO "sessions" VALUES(1,1,'desktop','5c7a3a0f76cf1e4aa6e8fd7a58c13026770a43b7e7aad2f57219d2b5483209eb',4102444800000,'c07ba568d5b29883da8e2ec864a8d794619739bf1d2b23897b24f66b8f1b8d06',4102444800000,'',0);
CREATE TABLE settings(name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
INSERT INTO "settings" VALUES('secret','ca2944868eff36ac37b46d32fa00e03e4a21e1ade3cacb9aa9719af20da1edf2');
CREATE TABLE slices(
  object_id TEXT PRIMARY KEY, account INTEGER NOT NULL, media_id TEXT NOT NULL, asset_id TEXT NOT NULL,
  number INTEGER NOT NULL, start INTEGER NOT NULL, length INTEGER NOT NULL, md5 TEXT NOT NULL, sha256 TEXT NOT NULL)
  WITHOUT ROWID;
INSERT INTO "slices" VALUES('7de39e0658c1560a82a5fee6531d328d',1,'0fae35768a78934303087a7464367f59','9f35c7650d6ffde5b67fa562c6ed684c',0,0,10,'781e5e245d69b566979b86e28d23f2c7','84d89877f0d4041efb6bf91a16f0248f2fd573e6af05c19f96bedb9f882f7882');
CREATE TABLE wrapped_keys(account INTEGER PRIMARY KEY, keys TEXT NOT NULL, revision INTEGER NOT NULL);
INSERT INTO "wrapped_keys" VALUES(1,'{"blob":"one"}',1);
CREATE INDEX sessions_previous ON sessions(previous_hash) WHERE previous_hash != '';
CREATE INDEX sessions_account ON sessions(account);
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
DELETE FROM "sqlite_sequence";
INSERT INTO "sqlite_sequence" VALUES('accounts',2);
COMMIT;
