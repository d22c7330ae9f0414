#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/curlppx.h"

// What became of a fetch.
struct HttpFetched {
  int curlCode = 0;
  long httpCode = 0;
  std::string bytes;     // when a caller collects them
  std::string response;  // the head of an error's body, for the log
  bool IsDone() const { return curlCode == 0 && httpCode >= 200 && httpCode <= 299; }
};

// Fetches `url` by GET. `writer` takes the pieces of a good answer only; an
// error's body is no part of a file. The transfer ends once `goesOn` says no,
// which is asked about once a second and with every piece.
HttpFetched FetchByHttp(const std::string& url, const std::vector<std::string>& headers,
                        const curlppx::CurlConn::Writer& writer, const std::function<bool()>& goesOn);
