#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Routines on text, hashes and times that every layer of the module calls.
//
// All are safe from any thread and never throw; a hash of a file that cannot be
// read is an empty text, which callers treat as failure.
class MethodFunction {
 public:
  static MethodFunction& GetInstance();

  // Digests of the bytes as lower-case hexadecimal text. (FIPS 180-4; RFC 1321.)
  static std::string Sha256(std::string_view bytes);
  // In a field of 32 bytes, of which the MD5 fills the half: its 32 digits and 32
  // times "0".
  static std::string Md5(std::string_view bytes);

  // SHA-256 of a file as lower-case, MD5 as upper-case hexadecimal text; empty
  // when it cannot be read.
  static std::string FileSha256(const std::wstring& path);
  static std::string FileMd5(const std::wstring& path);

  // The content hash of a local file that a record stores in `Hash` and that an
  // upload sends as "hashId": HMAC-SHA-256 with an empty key over the whole file,
  // 64 lower-case hexadecimal digits. Empty when it cannot be read.
  static std::string FileHashId(const std::wstring& path);

  // CRC-32 with the reflected polynomial 0xEDB88320, initial value all ones,
  // final complement (IEEE 802.3).
  static std::uint32_t Crc32(std::string_view bytes);

  // 36 upper-case characters.
  static std::string NewGuid();

  // Milliseconds since 1970.
  static std::int64_t CurrentTime();
  // The time by which something may be thrown away: without a service this clock's,
  // else the service's. Nothing while the service's is not known, and when this clock
  // is more than a day off: what it has stamped is wrong too.
  static std::optional<std::int64_t> ExpiryTime();
  // For stamps that other devices go by: the service's time where this clock is known
  // to be more than a day off, else this clock's.
  static std::int64_t StampTime();

  // Local midnight of a time in ms since 1970, as seconds since 1970.
  static std::int64_t GetDayKey(std::int64_t timeMs);

  // Local time as "%Y-%m-%dT%H:%M:%S".
  static std::string TimeText(std::int64_t timeMs);

  // The type of a file by its lower-cased extension with its dot;
  // "application/octet-stream" for an unknown one. (IANA media type registry,
  // and customary types of raw formats.)
  static std::string MimeType(std::wstring_view extension);

  // Whether the gallery is switched off for this user (a client property).
  static bool IsDisableTheGllaryFunction();

 private:
  MethodFunction() = default;
};
