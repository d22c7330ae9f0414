#pragma once

#include <string>

// What a login trusts in place of the system's authorities, kept in the profile; as
// before when the login did not come to a session. For one thread.
class TrustedAuthority {
 public:
  TrustedAuthority();
  ~TrustedAuthority();
  TrustedAuthority(const TrustedAuthority&) = delete;
  TrustedAuthority& operator=(const TrustedAuthority&) = delete;

  // Whether a text holds a certificate (PEM).
  static bool IsCertificate(const std::string& text);
  // Copies the certificate into the profile and sets it for all requests from here on.
  // Why it cannot be kept, in English, or nothing.
  [[nodiscard]] std::string Take(const std::string& certificate);
  // It stays.
  void Keep() { changed = false; }

 private:
  const std::wstring before;
  bool changed = false;
};
