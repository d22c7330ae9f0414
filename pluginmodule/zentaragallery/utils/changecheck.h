#pragma once

#include <memory>
#include <string_view>

struct XXH3_state_s;

// Tells whether two passes over a file saw the same bytes: XXH3 of 128 bits, at the
// speed of memory. Against accidents only; anybody can make two contents that meet.
// One thread at a time.
class ChangeCheck {
 public:
  ChangeCheck();

  void Update(std::string_view bytes);
  // Of all bytes so far.
  bool SawTheSameAs(const ChangeCheck& other) const;

 private:
  struct Free {
    void operator()(XXH3_state_s* state) const;
  };
  std::unique_ptr<XXH3_state_s, Free> state;
};
