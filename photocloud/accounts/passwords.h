#pragma once

#include <string>

namespace photocloud {

// Cost of a verifier. Interactive takes tens of milliseconds and 64 MiB.
// Least is for tests, which log in many times.
enum class PasswordCost { Interactive, Least };

// An Argon2id verifier with a salt of its own; empty when memory is short.
std::string MakeVerifier(const std::string& password, PasswordCost cost);
bool VerifyPassword(const std::string& verifier, const std::string& password);

}  // namespace photocloud
