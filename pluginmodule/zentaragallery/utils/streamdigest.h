#pragma once

#include <memory>
#include <string>
#include <string_view>

// A running SHA-256, MD5 or HMAC-SHA-256 over bytes that arrive in passes.
//
// Wraps the crypto library: a failure of the library makes the object unusable,
// which shows as an empty result at the end. One thread at a time.
class StreamDigest {
 public:
  enum class Kind { Sha256, Md5 };
  enum class Digits { Lower, Upper };

  explicit StreamDigest(Kind kind);
  // HMAC-SHA-256; an empty key is a key of length 0.
  static StreamDigest Hmac(std::string_view key);
  ~StreamDigest();
  StreamDigest(StreamDigest&&) noexcept;
  StreamDigest& operator=(StreamDigest&&) = delete;

  // False once anything has failed.
  bool Update(std::string_view bytes);

  // The digest as hexadecimal text; empty after a failure. Call it once.
  std::string Finish(Digits digits = Digits::Lower);

 private:
  struct State;
  explicit StreamDigest(std::unique_ptr<State> made);
  std::unique_ptr<State> state;
};
