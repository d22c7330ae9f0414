#include "transfer/stream/contentcopy.h"

#include <fstream>

#include "common/platform/files.h"
#include "common/platform/text.h"
#include "utils/gallerylog.h"
#include "utils/streamdigest.h"

using Outcome = StreamContent::Outcome;
namespace fs = std::filesystem;

namespace {

constexpr int kMostRenewals = 2;

Outcome FetchRenewed(StreamContent& content, std::size_t index, const std::function<bool()>& goesOn,
                     std::string& plain) {
  Outcome outcome = content.Fetch(index, goesOn, plain);
  for (int i = 0; i < kMostRenewals && outcome == Outcome::Expired; ++i) {
    outcome = content.ReadRecord();
    if (outcome == Outcome::Done) outcome = content.Fetch(index, goesOn, plain);
  }
  return outcome;
}

Outcome WritePieces(StreamContent& content, std::ofstream& out, const std::function<bool()>& goesOn) {
  StreamDigest digest(StreamDigest::Kind::Sha256);
  for (std::size_t i = 0; i < content.Count(); ++i) {
    std::string plain;
    const Outcome outcome = goesOn() ? FetchRenewed(content, i, goesOn, plain) : Outcome::Outage;
    if (outcome != Outcome::Done) return outcome;
    (void)digest.Update(plain);
    if (!out.write(plain.data(), static_cast<std::streamsize>(plain.size()))) return Outcome::Refused;
  }
  const std::string told = platform::AsciiLower(content.Sha256());
  if (!out.flush()) return Outcome::Refused;
  return told.empty() || told == digest.Finish() ? Outcome::Done : Outcome::Damaged;
}

}  // namespace

Outcome CopyContent(const GalleryFile::Ptr& file, const fs::path& target,
                    const std::function<bool()>& goesOn) {
  StreamContent content(file);
  Outcome outcome = content.ReadRecord();
  if (outcome != Outcome::Done) return outcome;
  fs::path part = target;
  part += ".download";
  std::ofstream out(part, std::ios::binary | std::ios::trunc);
  outcome = out ? WritePieces(content, out, goesOn) : Outcome::Refused;
  out.close();
  if (outcome == Outcome::Done && platform::RenameNew(part, target)) outcome = Outcome::Refused;
  std::error_code error;
  if (outcome != Outcome::Done) {
    LogError("CopyContent", "the copy has failed, fileid: " + file->UniqueId());
    fs::remove(part, error);
  }
  return outcome;
}
