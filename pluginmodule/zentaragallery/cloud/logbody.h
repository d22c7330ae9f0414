#pragma once

#include <string>
#include <string_view>

// A body as a log may hold it: at most a few kilobytes of it, and without the
// values of JSON members that are secrets (tokens, signed addresses) or names of
// the user's files.
std::string LogBody(std::string_view body);
