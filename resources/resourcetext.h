#pragma once

#include <string>
#include <string_view>

// Words for the user, by their text ids. The English words are part of the
// program; safe from any thread.
class ResourceText {
 public:
  // The words of `id`, or the id itself when there are none.
  static std::wstring Get(std::wstring_view id);
  static std::string GetUtf8(std::string_view id);
};
