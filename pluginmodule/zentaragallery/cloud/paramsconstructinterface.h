#pragma once

#include <cstdint>
#include <string>

#include "cloud/httpheaders.h"

enum GHttpRequestMethod : std::int32_t {
  kHttpGet = 0,
  kHttpPost = 1,
  kHttpDelete = 2,
  kHttpPatch = 3,
  kHttpPut = 4,
  kHttpNone = 5,
};

// One request as an object: what is sent is told without knowing how. Derived
// classes fill the out-values from their own fields. A description that fails
// returns false and leaves them empty, and HttpLib refuses to send them.
class ParamsConstructInterface {
 public:
  // Value of `paramsKind` for which ParamsProcessV2 is asked.
  static constexpr std::int32_t kParamsV2 = 2;

  virtual bool ParamsProcess(HttpHeaders& headers, std::string& body, std::int32_t& method,
                             std::string& url) = 0;
  virtual bool ParamsProcessV2(HttpHeaders& headers, std::string& body, std::int32_t& method,
                               std::string& url) = 0;
  virtual ~ParamsConstructInterface() = default;

  std::string url;
  std::int32_t method = kHttpNone;
  std::string body;
  std::int32_t paramsKind = 3;
};
