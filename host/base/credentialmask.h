#pragma once

#include <string>
#include <string_view>

namespace Logger {

// `text` with the values behind the words of a credential replaced by "***", in
// any case of letters:
//   Bearer VALUE
//   Authorization: everything up to the end of the line or the closing quote
//   accessToken, refreshToken, password, ekey, mk1, mk2, userKey (also with an
//   ending, as userKey3) followed by ":" or "=" and a value, quoted or not
// A word without a value, as in "mk1 or mk2 is empty", stays as it is.
std::string MaskCredentials(std::string_view text);

}  // namespace Logger
