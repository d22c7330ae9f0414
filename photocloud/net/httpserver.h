#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "photocloud/net/message.h"

namespace photocloud {

struct ServerSettings {
  std::string address;  // "127.0.0.1:8080", "[::1]:0"; port 0 takes a free one.
  std::string certificateFile;
  std::string keyFile;  // With both set the server speaks TLS only.
  int threads = 8;
  std::size_t maxConnections = 1024;
  std::size_t maxHeaderBytes = 16 << 10;
  std::size_t maxBodyBytes = 8 << 20;
  std::size_t maxObjectBytes = 16 << 20;  // Of PUT to objects.
};

// What the server tells about its traffic.
struct ServerEvents {
  std::function<void(std::int64_t change)> onConnections;
  std::function<void(std::int64_t received, std::int64_t sent)> onBytes;
};

// Accepts connections and leads each request through `handle`.
//
// `handle` runs on one of the server's threads, several at a time, and may
// block. Each connection is one object that its pending operation keeps alive;
// before each read there is a size limit and a timeout.
class HttpServer {
 public:
  using Handler = std::function<Response(const Request&)>;

  HttpServer(ServerSettings settings, Handler handle, ServerEvents events);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Opens the port. Returns why it could not, or an empty text.
  std::string Listen();
  // The address with the port that was taken.
  std::string BoundAddress() const;

  // Calls `task` on a server thread every `periodMs`, first after one period.
  void Every(std::int64_t periodMs, std::function<void()> task);

  // Serves until SIGTERM, SIGINT or Stop. `onStop` is called first; then no
  // connection is accepted, requests under way get their answers, and idle
  // connections are closed.
  void Run(std::function<void()> onStop);

  // Safe to call from any thread.
  void Stop();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace photocloud
