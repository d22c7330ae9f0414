#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// A set of named values for one run of a statement.
//
// Names carry their leading colon, as ":AlbumId", and are literals or otherwise
// outlive the set; values are copied. `Name` is the character type of the names.
// Not synchronised: one thread at a time.
template <typename Name>
class DatabaseParameter {
 public:
  struct Value {
    std::basic_string_view<Name> name;
    bool isText = false;
    std::int64_t number = 0;  // the value, or where the text starts
    std::size_t textLength = 0;
  };

  void Insert(std::basic_string_view<Name> name, std::string_view utf8) {
    values.push_back({name, true, static_cast<std::int64_t>(texts.size()), utf8.size()});
    texts.append(utf8);
  }
  void Insert(std::basic_string_view<Name> name, std::int64_t value) {
    values.push_back({name, false, value, 0});
  }

  // All values in the order of their insertion.
  const std::vector<Value>& GetValue() const { return values; }
  std::string_view Text(const Value& value) const {
    return std::string_view(texts).substr(static_cast<std::size_t>(value.number), value.textLength);
  }

  // Empties the set and keeps its memory for the next run.
  void Clear() {
    values.clear();
    texts.clear();
  }

 private:
  std::vector<Value> values;
  std::string texts;  // one block for all texts: a set of 31 columns costs no 31 allocations
};

// One parameter set of a statement, with wide names.
class DatabaseBindParameter : public DatabaseParameter<wchar_t> {};
