#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace photocloud {

// The records of the metadata store. Texts that hold JSON say so.

struct Account {
  std::int64_t id = 0;
  std::string userId;    // Public name of the account on the wire.
  std::string userName;  // What a person logs in with.
  std::string verifier;  // Argon2id, with its own salt and cost.
  bool disabled = false;
  bool hidden = false;
  std::string userStatus = "N";
  std::string suspendCursor;
  std::int64_t version = 0;       // Rises by one with every change of the account.
  std::int64_t oldestCursor = 0;  // Changes can be listed from here on.
  std::int64_t quotaBytes = 0;
  std::int64_t usedBytes = 0;    // Sum of all its stored objects.
  std::int64_t recordBytes = 0;  // Of the texts that its records hold.
  // The version that the account got when its data came from a backup; 0: never.
  std::int64_t restoredCursor = 0;
  // Since when the service is switched off for the account, which then can be read and
  // takes nothing more; 0: it is on. And when its data are to go, as its devices are told.
  std::int64_t suspendedMs = 0;
  std::int64_t deleteMs = 0;
};

// Tokens are stored as their SHA-256 only.
struct Session {
  std::int64_t id = 0;
  std::int64_t accountId = 0;
  std::string deviceId;
  std::string accessHash;
  std::int64_t accessUntilMs = 0;
  std::string refreshHash;
  std::int64_t refreshUntilMs = 0;
  std::string previousHash;  // The refresh token before the last exchange.
  std::int64_t previousUntilMs = 0;
  std::int64_t createdMs = 0;
  std::int64_t lastUsedMs = 0;
};

struct WrappedKeys {
  std::string keys;  // JSON that only the account's devices understand.
  std::int64_t revision = 0;
};

struct AlbumRecord {
  std::string id;
  std::string albumName;
  std::string type = "0";
  std::string createdTime;
  std::int64_t createdMs = 0;
  std::string localPath;
  std::string properties;  // JSON object.
  std::int64_t version = 0;
  bool deleted = false;
};

enum class MediaPhase {
  Upload = 0,   // Made by POST; nobody sees it.
  Visible = 1,  // Every object of every asset was there.
  Deleted = 2,  // A tombstone: id, version and device only.
};

enum class ContentStatus { Whole = 1, Lost = 2 };

struct MediaRecord {
  std::string id;
  MediaPhase phase = MediaPhase::Upload;
  std::string albumId;
  bool recycled = false;
  std::int64_t createdMs = 0;
  std::int64_t version = 0;         // Of the last change.
  std::int64_t createdVersion = 0;  // Of the change that made it visible.
  std::string device;               // That made the last change; empty for the service itself.
  ContentStatus status = ContentStatus::Whole;
  std::int64_t lostVersion = 0;  // Version at which the content was found lost, else 0.
  std::int64_t touchedMs = 0;    // When the row was last written.
  std::string fields;            // JSON object with all fields that callers give.
};

// What a comparison asks of the fields: devices go through all records for it, and
// these few take a tenth of them.
inline constexpr std::string_view kBriefFields[] = {"createdTime", "editedTime", "size"};

// How much of its records a list gives. Brief ones have their id, album, time of
// creation and status; `fields` has kBriefFields at least, and what else is filled
// in is left open.
enum class Extent { Whole, Brief };

struct AssetRecord {
  std::string mediaId;
  std::string id;
  std::string versionId;
  std::string usage;
  std::string hash;
  std::string sha256;
  std::int64_t length = 0;
  std::int64_t sliceSize = 0;
  ContentStatus status = ContentStatus::Whole;
  std::string fields;  // JSON object: cipher, attributes, resourceAttributes.
};

// One object's place in an asset.
struct SliceRecord {
  std::string objectId;
  std::string mediaId;
  std::string assetId;
  std::int64_t number = 0;
  std::int64_t start = 0;
  std::int64_t length = 0;
  std::string md5;      // Announced digests, empty before.
  std::string sha256;   // Names the stored object.
  bool stored = false;  // A whole object of this name and length is in the store. Read only.
};

// An asset with the objects that it is cut into, in the order of their numbers.
struct ContentRecord {
  AssetRecord asset;
  std::vector<SliceRecord> slices;
};

// Bytes that an account stores once, however many slices name them.
struct ObjectRecord {
  std::string sha256;
  std::string md5;
  std::int64_t length = 0;
  bool whole = true;  // False once found missing or damaged.
};

// The writer lock of an account; no lock when `token` is empty.
struct LockRecord {
  std::string token;
  std::string device;
  std::int64_t untilMs = 0;
};

}  // namespace photocloud
