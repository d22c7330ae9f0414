#pragma once

#include <json/value.h>

#include <string>

// How the cloud has cut contents. Key and IV of a content are fixed by its bytes, so
// a service that reports one lost again and again, and cuts it otherwise each time,
// would see more of it than its length. A content that goes back to the cloud may
// therefore be cut otherwise than before at most once a day.
//
// Kept in "cuts.json" in the user's database folder: the slice size of the last
// first upload, and of contents that went back the last cut and when it changed
// (ms), by their "hashId". Safe from any thread.
namespace ContentCuts {

enum class Upload { First, GiveBack };

// Whether the content may be sent as `resource` cuts it, which is noted then. False,
// logged, for another cut within a day of the last change, and when it cannot be
// noted.
[[nodiscard]] bool Accept(Upload upload, const std::string& hashId, const Json::Value& resource);

}  // namespace ContentCuts
