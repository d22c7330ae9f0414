#pragma once

#include <string>

class EncryptHelper {
 public:
  // SHA-256 of a file as lower-case hexadecimal text; empty, and logged with the
  // step and the system's error, when it cannot be opened or read. The file may
  // be written or deleted by others meanwhile.
  static std::string FileSha256(const std::wstring& path);
};
