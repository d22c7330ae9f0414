#pragma once

#include <json/value.h>

#include <functional>
#include <string>
#include <vector>

namespace NS {

// The headers of requests to the cloud. Safe from any thread.
//
// The identity that they carry lies in a layer above the host, which puts its
// provider in place. Without one (before the gallery is started, at a login) they
// are content type, device id and, when there is one, the access token.
class HeadBuilder {
 public:
  // Fills an object in which each name holds a list of one text. `lockToken` may
  // be empty.
  using Provider = std::function<void(Json::Value& headers, const std::string& lockToken)>;

  static void SetProvider(Provider provider);

  static Json::Value Build(const std::string& lockToken = {});
  // "name:value", in the order of names; "name;" for an empty value, as libcurl
  // wants it.
  static std::vector<std::string> Lines(const Json::Value& headers);
};

}  // namespace NS
