// Targets of requests: paths, queries, cursors, page sizes and terms.

#include "fuzz.h"
#include "photocloud/api/exchange.h"
#include "photocloud/base/text.h"

using namespace photocloud;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Request request;
  if (!request.SetTarget(std::string(TextOf(data, size)))) return 0;
  Demand(request.path.front() == '/');
  for (const auto& [name, value] : request.query) Demand(IsUtf8(name) && IsUtf8(value));
  const auto pageSize = PageSize(request);
  if (const int* count = std::get_if<int>(&pageSize)) Demand(*count >= 1 && *count <= 100);
  (void)QueryTerms(request);
  Account account;
  account.version = 1000;
  account.oldestCursor = 10;
  const auto list = ReadListCursor(request, account);
  if (const auto* cursor = std::get_if<ListCursor>(&list); cursor && cursor->position) {
    Demand(cursor->version >= 10 && cursor->version <= 1000);
    // Written and read again it is the same place.
    request.query["cursor"] = WriteCursor(cursor->version, *cursor->position);
    const auto again = std::get<ListCursor>(ReadListCursor(request, account));
    Demand(again.version == cursor->version && again.position->id == cursor->position->id &&
           again.position->createdMs == cursor->position->createdMs);
  }
  const auto version = ReadVersionCursor(request, account);
  if (const auto* number = std::get_if<std::int64_t>(&version)) Demand(*number >= 0 && *number <= 1000);
  return 0;
}
