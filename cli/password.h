#pragma once

#include <optional>
#include <string>

// The first line of `file`, or, without one, what the user types unseen behind
// "Password: " (or a script writes to standard input). Nothing when the file
// cannot be read.
std::optional<std::string> ReadPassword(const std::string& file);
