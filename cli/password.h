#pragma once

#include <optional>
#include <string>

#include "output.h"

// The first line of `file`, or, without one, what the user types unseen behind
// `prompt` (or a script writes to standard input). Nothing, told, when there is
// none.
std::optional<std::string> ReadPassword(const std::string& file, Output& output,
                                        const std::string& prompt = "Password: ");
