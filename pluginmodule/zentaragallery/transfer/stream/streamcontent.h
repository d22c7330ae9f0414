#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cloud/httplib.h"
#include "host/requests/ns/cloudphotov2assets.h"
#include "model/records/galleryfile.h"

struct HttpFetched;

// The content of one film as the cloud holds it: pieces that are fetched one by one,
// opened and held against what the record tells.
//
// An encrypted content has a piece for each stored object. One that nobody encrypted
// comes through its link, cut here. For one thread; Stop comes from any.
class StreamContent {
 public:
  enum class Outcome {
    Done,
    Outage,   // no answer, or the service is out: may succeed later
    Expired,  // a signed address has ended: read the record again
    Refused,  // the service has no such content, or says no
    Damaged,  // the bytes are not those that were uploaded
  };
  // Plain bytes that a piece has at most; larger ones are refused, for a piece is in
  // memory whole.
  static constexpr std::int64_t kLargestPiece = std::int64_t{256} << 20;
  // Of a content that comes through its link.
  static constexpr std::int64_t kLinkPiece = std::int64_t{4} << 20;

  explicit StreamContent(GalleryFile::Ptr film) : file(std::move(film)) {}

  // Asks for the record, again too: the addresses are new then, the cut is the same, or
  // it is Refused.
  Outcome ReadRecord();
  std::int64_t Size() const { return size; }
  std::size_t Count() const { return pieces.size(); }
  std::int64_t Start(std::size_t index) const { return pieces[index].start; }
  std::int64_t PlainLength(std::size_t index) const { return pieces[index].length; }
  // Of the whole content, by the record; empty when it tells none.
  const std::string& Sha256() const { return sha256; }

  // Ends, with Outage, about a second after `goesOn` says no.
  Outcome Fetch(std::size_t index, const std::function<bool()>& goesOn, std::string& plain);
  // Ends the request for an address that runs.
  void Stop() { http.Stop(); }

 private:
  struct Piece {
    std::int64_t start = 0;
    std::int64_t length = 0;                // plain bytes
    std::int64_t stored = 0;                // bytes to fetch
    NS::CloudPhoto::V2::ObjectUrl address;  // of an object; empty: a part of the link
  };
  Outcome ReadV2();
  Outcome TakeObjects(const NS::CloudPhoto::V2::Asset& asset);
  Outcome TakeLink(std::int64_t length);
  Outcome TakeAddress(std::int64_t length);
  Outcome TakeParts(std::int64_t length);
  Outcome Take(std::vector<Piece> read, std::int64_t length, const std::string& digest);
  bool Open(std::string& bytes, std::string& plain) const;
  static Outcome OutcomeOf(const HttpFetched& fetched, long wantedCode);

  const GalleryFile::Ptr file;
  HttpLib http;
  std::int64_t size = -1;
  std::string sha256;
  std::vector<Piece> pieces;
  NS::CloudPhoto::V2::Cipher cipher;
  std::string link;
  std::vector<std::string> linkHeaders;
};
