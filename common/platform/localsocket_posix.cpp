#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "common/platform/localsocket.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr int kBacklog = 128;

// An address of a file in a folder that is held open: the folder's own path may
// be longer than the 107 bytes of an address.
class Address {
 public:
  explicit Address(const fs::path& path)
      : folder(::open(path.has_parent_path() ? path.parent_path().c_str() : ".",
                      O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    const std::string text = "/proc/self/fd/" + std::to_string(folder) + "/" + path.filename().string();
    address.sun_family = AF_UNIX;
    fits = folder >= 0 && text.size() < sizeof address.sun_path;
    if (fits) std::memcpy(address.sun_path, text.c_str(), text.size() + 1);
  }
  ~Address() {
    if (folder >= 0) ::close(folder);
  }
  Address(const Address&) = delete;
  Address& operator=(const Address&) = delete;

  bool IsUsable() const { return fits; }
  const char* Path() const { return address.sun_path; }
  template <typename Call>
  int With(Call call, int socket) const {
    // The calls take the common start of all kinds of addresses.
    return call(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }

 private:
  sockaddr_un address{};
  int folder;
  bool fits = false;
};

int NewSocket() { return ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); }

std::error_code LastError() { return {errno, std::generic_category()}; }

}  // namespace

LocalSocket::LocalSocket(LocalSocket&& other) noexcept : handle(std::exchange(other.handle, -1)) {}

LocalSocket& LocalSocket::operator=(LocalSocket&& other) noexcept {
  if (this != &other) {
    Close();
    handle = std::exchange(other.handle, -1);
  }
  return *this;
}

LocalSocket LocalSocket::Listen(const fs::path& path, std::error_code& error) {
  error.clear();
  const Address address(path);
  LocalSocket listener(NewSocket());
  if (!address.IsUsable() || !listener.IsOpen()) {
    error = address.IsUsable() ? LastError() : std::make_error_code(std::errc::filename_too_long);
    return {};
  }
  (void)::unlink(address.Path());  // What cannot be removed makes the next call fail.
  // The rights of the socket become those of its file.
  const bool listens = ::fchmod(listener.handle, 0600) == 0 && address.With(&::bind, listener.handle) == 0 &&
                       ::listen(listener.handle, kBacklog) == 0;
  if (listens) return listener;
  error = LastError();
  return {};
}

LocalSocket LocalSocket::Connect(const fs::path& path) {
  const Address address(path);
  LocalSocket connection(NewSocket());
  if (!address.IsUsable() || !connection.IsOpen()) return {};
  if (address.With(&::connect, connection.handle) != 0 || !connection.IsOwnUsers()) return {};
  return connection;
}

LocalSocket LocalSocket::Accept() {
  for (;;) {
    LocalSocket connection(::accept4(handle, nullptr, nullptr, SOCK_CLOEXEC));
    if (connection.IsOpen() && connection.IsOwnUsers()) return connection;
    const bool passing = connection.IsOpen() || errno == EINTR || errno == ECONNABORTED;
    if (!passing) return {};
  }
}

bool LocalSocket::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(handle, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool LocalSocket::Receive(char* buffer, std::size_t size) {
  while (size > 0) {
    const ssize_t count = ::recv(handle, buffer, size, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    buffer += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

void LocalSocket::Shutdown() {
  if (handle >= 0) (void)::shutdown(handle, SHUT_RDWR);  // The other side may have ended first.
}

void LocalSocket::Close() {
  if (handle >= 0) ::close(std::exchange(handle, -1));
}

std::int64_t LocalSocket::PeerProcess() const {
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(handle, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

bool LocalSocket::IsOwnUsers() const {
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(handle, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

}  // namespace platform
