#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>

// File operations that the standard library lacks or does in another way.
//
// Nothing throws: a failure is an error code or false, and never harms what was
// there before. Safe from any thread.
namespace platform {

// Who may read a file that is made here: whom the umask lets, or its owner only.
enum class Rights { Default, OwnerOnly };

// Writes `bytes` beside `target` under a temporary name, flushes them to the
// disk and renames, so that readers see the old content or the new one and
// never a part. A target that exists keeps its rights, unless they are to be the
// owner's only; a target that is a link is replaced where the link leads. The
// temporary file is gone after a failure.
[[nodiscard]] std::error_code ReplaceAtomically(const std::filesystem::path& target, std::string_view bytes,
                                                Rights rights = Rights::Default);

// The same for a file that must not be there yet: of two processes that make it
// at once, one succeeds and the other gets std::errc::file_exists.
[[nodiscard]] std::error_code CreateAtomically(const std::filesystem::path& target, std::string_view bytes,
                                               Rights rights = Rights::Default);

// Makes `folder` with its parents, the new ones for the owner only, as the XDG
// base directory rules ask. Success when it is there already.
[[nodiscard]] std::error_code MakeFolder(const std::filesystem::path& folder);

// Makes `finished`, a file on the same file system, take the place of `target`.
[[nodiscard]] std::error_code RenameOver(const std::filesystem::path& finished,
                                         const std::filesystem::path& target);

// The same, but fails with std::errc::file_exists when the name is taken.
[[nodiscard]] std::error_code RenameNew(const std::filesystem::path& finished,
                                        const std::filesystem::path& target);

// Brings what was written to a file to the disk.
[[nodiscard]] std::error_code FlushFile(const std::filesystem::path& path);

// Bytes that this user can still write below `folder`, or below its nearest
// existing parent; 0 when that cannot be found out.
std::uint64_t FreeSpace(const std::filesystem::path& folder);

// Whether this process may read or write what is there now; false when nothing
// is there.
bool CanRead(const std::filesystem::path& path);
bool CanWrite(const std::filesystem::path& path);

// Whether a file that is not at `path` may come back there by itself: its folder
// is not there either, or is an empty one at which file systems are mounted (named
// in the system's table, or in /media, /run/media or /mnt).
bool IsFolderAway(const std::filesystem::path& path);

// Reads a whole file of at most `limit` bytes. Empty `content` and an error code
// when it cannot be read or is longer. Only regular files are read: a pipe in a
// picture folder would never end.
[[nodiscard]] std::error_code ReadFile(const std::filesystem::path& path, std::string& content,
                                       std::uint64_t limit = std::uint64_t{1} << 30);

// Reads a file in passes through one buffer and hands each pass to `sink`.
// Ends early without an error when `sink` returns false.
[[nodiscard]] std::error_code ReadInPasses(const std::filesystem::path& path, std::size_t passBytes,
                                           const std::function<bool(std::string_view)>& sink);

// Calls `visit` with each regular file below `folder`, sorted by name within
// each folder; a folder below it is entered at its own place in that order.
// Links are followed, a folder that was already visited is not entered again, so
// a loop of links ends. A folder that cannot be read and a link that leads
// nowhere go to `failed`; devices, pipes and sockets are passed over. Ends early
// when `visit` returns false.
void WalkFiles(const std::filesystem::path& folder,
               const std::function<bool(const std::filesystem::path&)>& visit,
               const std::function<void(const std::filesystem::path&, std::error_code)>& failed);

// The path with links, "." and ".." resolved as far as it exists.
std::filesystem::path Resolve(const std::filesystem::path& path);

// Last change of the content, in milliseconds since 1970; -1 when not there.
std::int64_t ModifiedTimeMs(const std::filesystem::path& path);

}  // namespace platform
