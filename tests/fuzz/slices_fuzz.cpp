// Slices of contents as they come from the cloud: the key's record, then the bytes.

#include "fuzz.h"
#include "transfer/contentcrypto.h"

namespace {

// What stands before the next line's end.
std::string TakeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string line(text.substr(0, end));
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text = TextOf(data, size);
  const std::string key = TakeLine(text), iv = TakeLine(text);
  for (const std::int32_t kind : {1, 3, 0}) {
    std::string bytes(text), plain;
    const bool good = ContentCrypto::DecryptData(kind, key, iv, bytes, plain);
    Demand(good ? bytes.empty() && plain.size() < text.size() : bytes == text);
  }
  std::string bytes(text), plain;
  if (ContentCrypto::DecryptDataByHmac(key, bytes, plain)) {
    const auto keys = ContentCrypto::KeysOfHmac(key);
    Demand(ContentCrypto::Encrypt(keys.key, keys.iv, plain) == text);
  }
  return 0;
}
