#include "transfer/stream/streamcontent.h"

#include <algorithm>

#include "cloud/cloudphotov1files.h"
#include "transfer/contentcrypto.h"
#include "transfer/httpfetch.h"
#include "transfer/stream/playurlparamconstruct.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

using NS::CloudPhoto::V2::Asset;

namespace {

constexpr char kTag[] = "StreamContent";
constexpr long kWholeAnswer = 200, kPartAnswer = 206, kExpired = 403;

// Ciphertext is always whole blocks, whatever a record says.
std::int64_t WholeBlocks(std::int64_t length) { return (length + 15) / 16 * 16; }

std::string RangeHeader(std::int64_t start, std::int64_t length) {
  return "Range:bytes=" + std::to_string(start) + "-" + std::to_string(start + length - 1);
}

}  // namespace

StreamContent::Outcome StreamContent::ReadRecord() {
  if (GlobalData::cloudGeneration == GlobalData::kGenerationV2) return ReadV2();
  return TakeLink(file->Size);
}

StreamContent::Outcome StreamContent::ReadV2() {
  const auto answer = NS::Request::Sync(
      NS::CloudPhoto::V2::GetContentCall(file->UniqueId(), NS::CloudPhoto::V2::kContentFields));
  if (!answer.payload) {
    LogError(kTag, "get url failed! fileid: " + file->UniqueId() + " curlCode: " +
                       std::to_string(answer.curlCode) + " http code: " + std::to_string(answer.httpCode));
    return answer.IsOutage() ? Outcome::Outage : Outcome::Refused;
  }
  const auto* content = answer.payload->Find("content");
  if (!content || content->asset.deleted) return Outcome::Refused;
  const Asset& asset = content->asset;
  return asset.cipher.isSet ? TakeObjects(asset) : TakeLink(asset.resource.length);
}

// A record is data from outside: a gap or an overlap of its objects would put wrong
// bytes into the film.
StreamContent::Outcome StreamContent::TakeObjects(const Asset& asset) {
  const auto& objects = asset.resource.objects;
  std::vector<Piece> read;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    const bool last = i + 1 == objects.size();
    const std::int64_t end = last ? asset.resource.length : objects[i + 1].start;
    read.push_back(
        {objects[i].start, end - objects[i].start, WholeBlocks(objects[i].length), objects[i].downloadUrl});
  }
  cipher = asset.cipher;
  return Take(std::move(read), asset.resource.length, asset.resource.sha256);
}

StreamContent::Outcome StreamContent::TakeLink(std::int64_t length) {
  if (GlobalData::cloudGeneration == GlobalData::kGenerationV1 && !file->IsVideo())
    return TakeAddress(length);
  link = RequestPlayUrl(*file, http);
  linkHeaders = SessionHeaders(link);
  if (link.empty()) return http.LastResult().curlCode != 0 ? Outcome::Outage : Outcome::Refused;
  return TakeParts(length);
}

// The first generation plays films only; a picture has an address.
StreamContent::Outcome StreamContent::TakeAddress(std::int64_t length) {
  const auto answer = NS::Request::Sync(NS::CloudPhoto::V1::File::GetOriginalUrl(*file));
  link = answer.payload && answer.payload->IsGood() ? answer.payload->address.url : std::string();
  if (link.empty()) {
    LogError(kTag, "get url failed! fileid: " + file->UniqueId());
    return answer.IsOutage() ? Outcome::Outage : Outcome::Refused;
  }
  linkHeaders = NS::CloudPhoto::V1::ContentHeaders(link);
  const auto& own = answer.payload->address.headers;
  linkHeaders.insert(linkHeaders.end(), own.begin(), own.end());
  return TakeParts(length);
}

StreamContent::Outcome StreamContent::TakeParts(std::int64_t length) {
  std::vector<Piece> read;
  for (std::int64_t start = 0; start < length; start += kLinkPiece) {
    const std::int64_t count = std::min(kLinkPiece, length - start);
    read.push_back({start, count, count, {}});
  }
  return Take(std::move(read), length, {});
}

StreamContent::Outcome StreamContent::Take(std::vector<Piece> read, std::int64_t length,
                                           const std::string& digest) {
  std::int64_t expected = 0;
  for (const Piece& piece : read) {
    const bool fits = piece.start == expected && piece.length > 0 && piece.length <= kLargestPiece &&
                      piece.stored >= piece.length && piece.stored <= piece.length + 16;
    if (!fits) {
      LogError(kTag, "the objects of the record do not fit together, fileid: " + file->UniqueId());
      return Outcome::Refused;
    }
    expected += piece.length;
  }
  // Another content would go on in the middle of this one.
  const bool same = size < 0 || (size == length && pieces.size() == read.size() && sha256 == digest);
  if (read.empty() || expected != length || !same) return Outcome::Refused;
  size = length;
  sha256 = digest;
  pieces = std::move(read);
  return Outcome::Done;
}

StreamContent::Outcome StreamContent::Fetch(std::size_t index, const std::function<bool()>& goesOn,
                                            std::string& plain) {
  const Piece& piece = pieces[index];
  const bool isObject = !piece.address.url.empty();
  const std::string& url = isObject ? piece.address.url : link;
  auto headers = isObject ? piece.address.headers : linkHeaders;
  if (!isObject) headers.push_back(RangeHeader(piece.start, piece.stored));
  const auto wanted = static_cast<std::size_t>(piece.stored);
  std::string bytes;
  bytes.reserve(wanted);
  // What comes behind the object's length is no part of it.
  const auto take = [&bytes, wanted](std::string_view part) {
    bytes.append(part.substr(0, wanted - bytes.size()));
    return true;
  };
  const HttpFetched fetched = FetchByHttp(url, headers, take, goesOn);
  const bool whole = piece.start == 0 && piece.stored == size;
  const long code = isObject || (whole && fetched.httpCode == kWholeAnswer) ? kWholeAnswer : kPartAnswer;
  if (const Outcome outcome = OutcomeOf(fetched, code); outcome != Outcome::Done) return outcome;
  if (bytes.size() == wanted && Open(bytes, plain) && static_cast<std::int64_t>(plain.size()) == piece.length)
    return Outcome::Done;
  LogError(kTag, "Decrypt Error! fileid: " + file->UniqueId() + " index: " + std::to_string(index));
  return Outcome::Damaged;
}

StreamContent::Outcome StreamContent::OutcomeOf(const HttpFetched& fetched, long wantedCode) {
  if (fetched.curlCode == 0 && fetched.httpCode == wantedCode) return Outcome::Done;
  LogError(kTag, "download http code:" + std::to_string(fetched.httpCode) +
                     " curlCode: " + std::to_string(fetched.curlCode));
  if (fetched.httpCode == kExpired) return Outcome::Expired;
  return fetched.IsOutage() ? Outcome::Outage : Outcome::Refused;
}

bool StreamContent::Open(std::string& bytes, std::string& plain) const {
  if (!cipher.isSet) {
    plain = std::move(bytes);
    return true;
  }
  const auto chain = cipher.Strongest();
  return ContentCrypto::DecryptData(chain.type, chain.ekey, cipher.iv, bytes, plain) ||
         ContentCrypto::DecryptDataByHmac(cipher.hmac, bytes, plain);
}
