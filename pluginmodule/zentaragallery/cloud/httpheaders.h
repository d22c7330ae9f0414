#pragma once

#include <map>
#include <string>

// Headers of a request by name. On the wire they stand in the order of their
// names, one line "name:value" each, without a blank behind the colon.
using HttpHeaders = std::map<std::string, std::string>;
