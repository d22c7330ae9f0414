#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace photocloud {

// The bytes of stored objects, named by account and by the SHA-256 of the bytes.
//
// Safe to call from any thread. Put and Remove of one name must not run at the
// same time; ObjectVault sees to that.
class ObjectStore {
 public:
  virtual ~ObjectStore() = default;

  // Stores the bytes; they outlive a crash once this has returned true. An
  // object of that name is replaced in one step. Returns false, and stores
  // nothing, when the backend refuses.
  [[nodiscard]] virtual bool Put(std::int64_t account, const std::string& sha256, std::string_view bytes) = 0;

  // Length of the object, or nothing when it is not there.
  virtual std::optional<std::int64_t> Length(std::int64_t account, const std::string& sha256) const = 0;

  // `count` bytes from `start` on; nothing when the object does not have them all.
  virtual std::optional<std::string> Read(std::int64_t account, const std::string& sha256, std::int64_t start,
                                          std::int64_t count) const = 0;

  // True when the object is gone afterwards.
  virtual bool Remove(std::int64_t account, const std::string& sha256) = 0;

  // Names of all objects that the store holds for the account.
  virtual std::vector<std::string> List(std::int64_t account) const = 0;

  // Bytes that the backend can still take.
  virtual std::int64_t FreeBytes() const = 0;
};

}  // namespace photocloud
