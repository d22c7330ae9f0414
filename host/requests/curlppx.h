#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The host's wrapper over libcurl. No header of libcurl is needed to use it.
namespace curlppx {

class CurlGlobal {
 public:
  // Makes the library ready for use by many threads; called by every CurlConn.
  static void Init();
  // What a result of a transfer means, in English.
  static std::string GetErrStr(int curlCode);
};

class CurlUrl {
 public:
  using Query = std::vector<std::pair<std::string, std::string>>;

  // "name=value&name=value" in the given order, values percent-encoded.
  static std::string BuildQuery(const Query& query);
  // All bytes but letters, digits and "-._~" as "%XX".
  static std::string Escape(std::string_view text);
  // Whether a request may go there: by TLS anywhere, in the clear only to this
  // computer ("localhost", 127.0.0.0/8, ::1), where nobody can listen.
  static bool IsAllowed(const std::string& url);
  // SHA-256 of the certificate that the server of `url` shows, trusted or not, as
  // "AB:CD:..."; for a user to compare. Empty when it shows none.
  static std::string Fingerprint(const std::string& url);
  // Scheme, host and port, without what may be a secret; empty for no URL.
  static std::string Place(const std::string& url);
};

// What became of one transfer. `curlCode` 0 says that an answer came, whatever
// its `httpCode`.
struct TransferResult {
  int curlCode = 0;
  long httpCode = 0;
};
// "HTTP 503", or the transport's own words where no whole answer came.
std::string TextOf(const TransferResult& result);

// Values of libcurl that callers look at (documented in its header curl.h).
inline constexpr int kCurlOk = 0;
inline constexpr int kCurlUrlMalformat = 3;
inline constexpr int kCurlOutOfMemory = 27;
inline constexpr int kCurlAborted = 42;
inline constexpr int kCurlPeerCertificate = 60;

// One connection for one request, possibly performed several times. For one
// thread at a time.
//
// Set up on construction: no signals, no proxy, no redirects, the client's
// connect time-out and lowest speed, and verification of certificates, which
// cannot be switched off. Trusted is the system's store; the file that the key
// "cloudCaFile" of settings.json names comes in its place, for a server whose
// certificate its owner has made himself. A certificate that does not verify is
// noted in GlobalParamWrapper (SetIsUseLocalCertificate).
class CurlConn {
 public:
  enum class Method { Get, Post, Delete, Patch, Put };
  // Takes a piece of the answer; false ends the transfer.
  using Writer = std::function<bool(std::string_view piece)>;
  // Fills at most `size` bytes to send and returns how many; 0 is the end.
  using Reader = std::function<std::size_t(char* buffer, std::size_t size)>;
  // Goes back to where the present Perform began to read; false when it cannot.
  using Rewind = std::function<bool()>;
  struct Counters {
    double downloadTotal = 0;
    double downloaded = 0;
    double uploadTotal = 0;
    double uploaded = 0;
  };
  // Called about once a second and with every piece; false ends the transfer.
  using Progress = std::function<bool(const Counters& counters)>;

  // A kept connection to the service is taken from the last transfer that is
  // done with it, and left for the next: a handshake costs more than most
  // requests. One that has gone stale meanwhile is replaced and the request sent
  // on the new one, so that the other side may see it twice.
  enum class Connection { New, Kept };

  explicit CurlConn(Connection connection = Connection::New);
  ~CurlConn();
  CurlConn(const CurlConn&) = delete;
  CurlConn& operator=(const CurlConn&) = delete;

  // False when the library had no handle to give; nothing else works then.
  bool IsReady() const;
  // False, logged, for a URL that CurlUrl::IsAllowed refuses.
  [[nodiscard]] bool SetUrl(const std::string& url);
  // One line each, "name:value".
  void SetHeaders(const std::vector<std::string>& lines);
  // `body` is not copied: it must live as long as this object. GET and DELETE
  // send none.
  void SetMethod(Method method, const std::string& body);
  // Makes the request a PUT of `bytes` bytes that `reader` gives. No more are
  // sent, and with fewer the transfer fails. A kept connection that the other side
  // has closed is replaced within a Perform, which `rewind` makes possible.
  void SetUpload(std::int64_t bytes, Reader reader, Rewind rewind);
  void SetWriter(Writer writer);
  void SetProgress(Progress progress);
  // For a stream that may be silent: its user watches over it by SetProgress.
  void SetNoLowestSpeed();

  TransferResult Perform();
  // Of the answer whose body is arriving, for a writer to look at; 0 before.
  long HttpCode() const;

 private:
  struct State;
  const std::unique_ptr<State> state;
};

}  // namespace curlppx
