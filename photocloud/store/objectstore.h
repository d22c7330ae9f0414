#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace photocloud {

// Bytes of an object on their way into the store, from one thread at a time.
// What is not kept goes with its owner.
class ObjectWriter {
 public:
  virtual ~ObjectWriter() = default;

  // Both return false when the backend refuses; IsFull says whether for want of
  // space.
  [[nodiscard]] virtual bool Write(std::string_view piece) = 0;
  // Gives the bytes their name; they outlive a crash once this has returned
  // true. An object of that name is replaced in one step.
  [[nodiscard]] virtual bool Keep(std::int64_t account, const std::string& sha256) = 0;
  virtual bool IsFull() const = 0;
};

// The bytes of stored objects, named by account and by the SHA-256 of the bytes.
//
// Safe to call from any thread. Keep and Remove of one name must not run at the
// same time; ObjectVault sees to that.
class ObjectStore {
 public:
  virtual ~ObjectStore() = default;

  virtual std::unique_ptr<ObjectWriter> Begin() = 0;

  // Write and Keep in one step.
  [[nodiscard]] bool Put(std::int64_t account, const std::string& sha256, std::string_view bytes) {
    const auto writer = Begin();
    return writer->Write(bytes) && writer->Keep(account, sha256);
  }

  // Length of the object, or nothing when it is not there.
  virtual std::optional<std::int64_t> Length(std::int64_t account, const std::string& sha256) const = 0;

  // `count` bytes from `start` on; nothing when the object does not have them all.
  virtual std::optional<std::string> Read(std::int64_t account, const std::string& sha256, std::int64_t start,
                                          std::int64_t count) const = 0;

  // True when the object is gone afterwards.
  virtual bool Remove(std::int64_t account, const std::string& sha256) = 0;

  // Names of all objects that the store holds for the account; with two
  // hexadecimal digits, of those that begin with them.
  virtual std::vector<std::string> List(std::int64_t account, const std::string& digits = "") const = 0;

  // Accounts of which the store holds objects, or did once.
  virtual std::vector<std::int64_t> ListAccounts() const = 0;

  // Removes what writers of a killed process have left. No other process may be
  // writing.
  virtual void RemoveUnfinished() = 0;

  // Bytes that the backend can still take.
  virtual std::int64_t FreeBytes() const = 0;
};

}  // namespace photocloud
