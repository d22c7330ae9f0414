#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace platform {

// A stream between two processes of one user on this computer, found by a path.
//
// The path may be of any length, though the system's addresses are short: it is
// reached through its folder. The file is for its owner only, and a connection
// with another user's process counts as none.
// One thread may send while another receives and a third shuts down; everything
// else is for one thread.
class LocalSocket {
 public:
  LocalSocket() = default;
  ~LocalSocket() { Close(); }
  LocalSocket(LocalSocket&& other) noexcept;
  LocalSocket& operator=(LocalSocket&& other) noexcept;

  // Waits for connections at `path`, in place of what a dead process has left
  // there. The caller knows that no living one has it.
  static LocalSocket Listen(const std::filesystem::path& path, std::error_code& error);
  // Not open when nobody listens there.
  static LocalSocket Connect(const std::filesystem::path& path);

  bool IsOpen() const { return handle >= 0; }
  // The next connection; waits for it. Not open after Shutdown.
  LocalSocket Accept();
  // All of `bytes`; false when the other side is gone. Raises no signal.
  [[nodiscard]] bool Send(std::string_view bytes);
  // Exactly `size` bytes; false at the end of the stream.
  [[nodiscard]] bool Receive(char* buffer, std::size_t size);
  // Ends Accept, Send and Receive on both sides; the object stays.
  void Shutdown();
  void Close();
  // The id of the process on the other side; 0 when it is not known.
  std::int64_t PeerProcess() const;

 private:
  explicit LocalSocket(int opened) : handle(opened) {}
  bool IsOwnUsers() const;

  int handle = -1;
};

}  // namespace platform
