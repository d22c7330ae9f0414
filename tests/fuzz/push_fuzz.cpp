// The push stream: however it is cut into pieces, the messages are the same.

#include "fuzz.h"
#include "host/push/cserverpushserviceevents.h"

namespace {

using Messages = std::vector<std::string>;

// False when the stream cannot be trusted.
bool Take(std::string_view stream, std::size_t piece, Messages& messages) {
  PushEventReader reader(
      [&messages](const PushMessage& message) { messages.push_back(message.command + "\n" + message.body); });
  for (; !stream.empty(); stream.remove_prefix(std::min(piece, stream.size())))
    if (!reader.Take(stream.substr(0, piece))) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view stream = TextOf(data, size);
  Messages whole, pieces;
  const bool trusted = Take(stream, std::max<std::size_t>(size, 1), whole);
  Demand(Take(stream, 7, pieces) == trusted);
  if (trusted) Demand(whole == pieces);
  return 0;
}
