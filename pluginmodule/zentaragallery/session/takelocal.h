#pragma once

#include <functional>
#include <optional>
#include <string>

#include "session/folderimport.h"

// Takes the pictures of the local gallery along into the account of a login: they
// are imported there, with their albums and favourite marks. The local gallery
// stays as it is behind the account and comes back at a log-out, so nothing of it
// can get lost on the way.
//
// What is to be taken is noted in "take-local.json" beside the account before the
// login. A process that is killed in between leaves the note, and the next one
// goes on with it once that account is there.
namespace TakeLocal {

// Files in the gallery of the present, local account.
std::size_t Count();
// Notes what is there for the login of `user`. Why it cannot, in English, or nothing.
[[nodiscard]] std::string Note(const std::string& user);
// Does what is noted for the account that is logged in, by `import`, and takes a note
// away that has become idle. Nothing when there was nothing to do. A picture that
// could not be taken stays in the local gallery; a stop leaves the note.
using Import = std::function<ImportSum(const std::vector<FolderFiles>& folders)>;
std::optional<ImportSum> Finish(const Import& import);
void Forget();

}  // namespace TakeLocal
