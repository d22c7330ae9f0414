#pragma once

#include <string>

#include "output.h"
#include "session.h"

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
// Notes what is there for the login of `user`. False, told, when it cannot.
bool Note(const std::string& user, Output& output);
// Does what is noted for the account that is logged in, and takes a note away that
// has become idle. Failed when a picture could not be taken; it stays in the local
// gallery.
Exit Finish(Session& session, Output& output);
void Forget();

}  // namespace TakeLocal
