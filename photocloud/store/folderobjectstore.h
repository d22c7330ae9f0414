#pragma once

#include <filesystem>

#include "photocloud/store/objectstore.h"

namespace photocloud {

// Objects as files of a folder: FOLDER/<account>/<first two digits>/<sha256>.
//
// An object is written in FOLDER/incoming, flushed, and renamed, so a file under
// its final name is always complete, whenever the machine stopped.
class FolderObjectStore : public ObjectStore {
 public:
  explicit FolderObjectStore(std::filesystem::path folder);

  std::unique_ptr<ObjectWriter> Begin() override;
  std::optional<std::int64_t> Length(std::int64_t account, const std::string& sha256) const override;
  std::optional<std::string> Read(std::int64_t account, const std::string& sha256, std::int64_t start,
                                  std::int64_t count) const override;
  bool Remove(std::int64_t account, const std::string& sha256) override;
  std::vector<std::string> List(std::int64_t account, const std::string& digits = "") const override;
  std::vector<std::int64_t> ListAccounts() const override;
  void RemoveUnfinished() override;
  std::int64_t FreeBytes() const override;

 private:
  std::filesystem::path PathOf(std::int64_t account, const std::string& sha256) const;

  const std::filesystem::path folder;
};

}  // namespace photocloud
