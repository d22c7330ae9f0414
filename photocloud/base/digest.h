#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace photocloud {

// Digests as lower-case hexadecimal text.
std::string Sha256Hex(std::string_view bytes);
std::string Md5Hex(std::string_view bytes);
std::string HmacSha256Hex(std::string_view key, std::string_view bytes);

// SHA-256 and MD5 of bytes that come in pieces.
class Digester {
 public:
  Digester();
  ~Digester();
  Digester(const Digester&) = delete;
  Digester& operator=(const Digester&) = delete;

  void Add(std::string_view piece);

  struct Digests {
    std::string sha256;
    std::string md5;
  };
  // Of all pieces so far; none may follow.
  Digests Finish();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace photocloud
