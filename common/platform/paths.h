#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// Where things lie, and how a wide path of the model becomes the system's own.
//
// The model and the database keep wide paths in which both "\" and "/" separate
// folders, literals such as "\Thumbnail\" among them. NativePath is the only
// place where such a path turns into one that the system understands, at the
// moment a file is touched.
//
// On this system a file name may hold a backslash, and bytes that are no UTF-8.
// So that such a name survives the round trip through wide text, every byte of
// it that would change its meaning is kept as the private-use character
// U+F000 + byte, as file servers do it: the backslash, and each byte that is no
// UTF-8. A genuine character between U+F000 and U+F0FF is kept the same way,
// byte by byte. WidePath makes this form and NativePath undoes it exactly.
//
// NativePath undoes nothing but what WidePath makes. A character such as
// U+F000 + "/" in a name from elsewhere stays a character and cannot lead out of
// a folder; a zero character becomes U+FFFD.
namespace platform {

std::filesystem::path NativePath(std::wstring_view wide);
std::wstring WidePath(const std::filesystem::path& native);

// The last component of a wide path: what follows its last "\" or "/".
std::wstring WideFileName(std::wstring_view wide);

// The extension with its dot, as "." and what follows the last dot of the last
// component, letters folded to small ones; empty without a dot.
std::wstring WideExtension(std::wstring_view wide);

// A wide name as a person should read it, in valid UTF-8: private-use stand-ins
// become the characters they stand for, bytes that are no text become U+FFFD,
// and control characters their pictures (U+2400...), so that a file's name
// cannot steer a terminal.
std::string DisplayText(std::wstring_view wide);

// The same name as the system has it: bytes that may be no UTF-8, and control
// characters, for programs that read names.
std::string ExactText(std::wstring_view wide);

// The user's folders by the XDG base directory rules: data
// ($XDG_DATA_HOME or ~/.local/share), cache, configuration, and the pictures and
// downloads folders of user-dirs.dirs. None of them is created by asking.
std::filesystem::path DataRoot();
std::filesystem::path CacheRoot();
std::filesystem::path ConfigRoot();
// The home folder; the profile's root when one is set.
std::filesystem::path HomeFolder();
std::filesystem::path PicturesFolder();
std::filesystem::path DownloadsFolder();

// Puts data, cache, configuration and downloads under one folder ("data",
// "cache", "config", "downloads" in it): a profile, or a test's own world. An
// empty path goes back to the XDG rules. Call it before anything else runs.
void SetProfileRoot(const std::filesystem::path& folder);

}  // namespace platform
