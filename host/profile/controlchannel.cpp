#include "host/profile/controlchannel.h"

#include <array>

namespace {

constexpr std::size_t kHeaderBytes = 5;
// Far above any command line; what is longer comes from no client.
constexpr std::size_t kMaxFrameBytes = std::size_t{16} << 20;
constexpr std::size_t kFixedParts = 2;  // flags and folder, before the arguments

std::string Header(ControlChannel::Kind kind, std::size_t length) {
  std::string header(1, static_cast<char>(kind));
  for (unsigned shift = 0; shift < 32; shift += 8) header += static_cast<char>(length >> shift & 0xFF);
  return header;
}

std::size_t LengthOf(const std::array<char, kHeaderBytes>& header) {
  std::size_t length = 0;
  for (std::size_t i = 1; i < kHeaderBytes; ++i)
    length |= std::size_t{static_cast<unsigned char>(header[i])} << 8 * (i - 1);
  return length;
}

std::vector<std::string> Split(std::string_view text) {
  std::vector<std::string> parts;
  for (std::size_t end = 0; (end = text.find('\0')) != std::string_view::npos; text.remove_prefix(end + 1))
    parts.emplace_back(text.substr(0, end));
  return parts;
}

}  // namespace

bool ControlChannel::Send(Kind kind, std::string_view bytes) {
  platform::MutexLock hold(sendLock);
  // One piece while it is short: a reader is woken once.
  return socket.Send(Header(kind, bytes.size()).append(bytes));
}

std::optional<ControlChannel::Frame> ControlChannel::Receive() {
  std::array<char, kHeaderBytes> header{};
  if (!socket.Receive(header.data(), header.size())) return std::nullopt;
  const std::size_t length = LengthOf(header);
  if (length > kMaxFrameBytes) return std::nullopt;
  Frame frame{static_cast<Kind>(header[0]), std::string(length, '\0')};
  if (!socket.Receive(frame.bytes.data(), length)) return std::nullopt;
  return frame;
}

std::string ControlCommand::Text() const {
  std::string text;
  text += inputIsTerminal ? '1' : '0';
  text += errorIsTerminal ? '1' : '0';
  text += '\0';
  text.append(workingFolder) += '\0';
  for (const auto& argument : arguments) text.append(argument) += '\0';
  return text;
}

std::optional<ControlCommand> ControlCommand::Parse(std::string_view text) {
  auto parts = Split(text);
  if (parts.size() < kFixedParts || parts[0].size() != 2) return std::nullopt;
  ControlCommand command;
  command.inputIsTerminal = parts[0][0] == '1';
  command.errorIsTerminal = parts[0][1] == '1';
  command.workingFolder = parts[1];
  command.arguments.assign(parts.begin() + kFixedParts, parts.end());
  return command;
}
