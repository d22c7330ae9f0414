#pragma once

#include <chrono>
#include <functional>
#include <string>

// Whether a photo cloud answers at an address, before anybody signs in there. It is asked
// for its time, which needs no account; nothing of the user is sent.
namespace AddressCheck {

enum class Answer {
  Encrypted,    // answers over a connection that nobody can read
  Local,        // answers in the clear, on this computer
  NotAllowed,   // in the clear to another computer
  NotTrusted,   // shows a certificate that nobody whom this computer trusts has signed
  Unreachable,  // nothing answers, or not in time
  NoCloud,      // something else answers
};
inline bool IsGood(Answer answer) { return answer == Answer::Encrypted || answer == Answer::Local; }

// The key of what to say about it.
const char* WordsOf(Answer answer);

// Somebody waits in front of it: longer than this none is worth waiting for.
inline constexpr std::chrono::seconds kPatience{10};

// Waits for the answer, or until `goesOn` says no, which is asked about once a second; what
// it returns then means nothing.
Answer Ask(const std::string& server, const std::function<bool()>& goesOn,
           std::chrono::milliseconds patience = kPatience);

}  // namespace AddressCheck
