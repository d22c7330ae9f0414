#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/requests/curlppx.h"
#include "host/requests/ns/request.h"

class SpeedLimit;

// What became of a fetch.
struct HttpFetched {
  int curlCode = 0;
  long httpCode = 0;
  std::string bytes;     // when a caller collects them
  std::string response;  // the head of an error's body, for the log
  bool IsOutage() const { return NS::IsOutage(curlCode, httpCode); }
  bool IsDone() const { return curlCode == 0 && httpCode >= 200 && httpCode <= 299; }
};

// Whether an address is one of the service itself, which may see the session.
bool IsOfTheService(const std::string& url);
// The header that carries the session there; none to anybody else.
std::vector<std::string> SessionHeaders(const std::string& url);

// Which good answers a writer takes: a part that was asked for by its range must not
// be taken for the whole of a service that gives no ranges.
enum class Accept { Any, PartOnly };

// Fetches `url` by GET. `writer` takes the pieces of a good answer only; an
// error's body is no part of a file. The transfer ends once `goesOn` says no,
// which is asked about once a second and with every piece, and with a good answer
// that is not accepted. Pieces wait for `limit`, where there is one.
HttpFetched FetchByHttp(const std::string& url, const std::vector<std::string>& headers,
                        const curlppx::CurlConn::Writer& writer, const std::function<bool()>& goesOn,
                        Accept accept = Accept::Any, SpeedLimit* limit = nullptr);
