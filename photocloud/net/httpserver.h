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
  // Where clients reach the service, for links: "https://photos.example.org".
  // Empty: under the host that they ask for.
  std::string publicUrl;
  // The client's address stands in X-Forwarded-For, and plain HTTP may come from
  // other machines.
  bool isBehindProxy = false;
  bool takesSignals = true;
  int threads = 8;          // Of connections, as many that read objects, and as many that store.
  int derivingThreads = 2;  // Each takes 64 MiB.
  std::size_t maxConnections = 1024;
  std::size_t maxHeaderBytes = 16 << 10;
};

// What the server tells about its traffic.
struct ServerEvents {
  std::function<void(std::int64_t change)> onConnections;
  std::function<void(std::int64_t received, std::int64_t sent)> onBytes;
};

// What the server leads requests to. Called from several threads at a time;
// neither call throws.
class HttpService {
 public:
  virtual ~HttpService() = default;

  // Looks at a head before any of the body is read, on the connection's thread.
  // A refusal is then given by Handle, to which it comes with the request.
  virtual Intake Admit(const Request& head, const BodyNotice& notice) = 0;
  // May block, on a thread of its lane.
  virtual Response Handle(const Request& request) = 0;
};

// Accepts connections and leads each request to a service.
//
// Each connection is one object that its pending operation keeps alive; before
// each read there is a size limit and a timeout. A body comes in pieces, so a
// connection holds one buffer and what the service keeps of it. A connection stays
// with one thread, which runs its requests of the lane Direct. Those of the other
// lanes have threads of their own, so that Direct ones never wait for them; when
// too many wait, the answer is 503.
//
// SIGHUP reads the certificate anew.
class HttpServer {
 public:
  HttpServer(ServerSettings settings, HttpService& service, ServerEvents events);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Opens the port. Returns why it could not, or an empty text.
  std::string Listen();
  // The address with the port that was taken.
  std::string BoundAddress() const;

  // Calls `task` on a server thread every `periodMs`, first after one period.
  void Every(std::int64_t periodMs, const std::function<void()>& task);

  // Serves until SIGTERM, SIGINT or Stop. `onStop` is called first; then no
  // connection is accepted, requests under way get their answers, and idle
  // connections are closed. `onReload` is called at SIGHUP.
  void Run(std::function<void()> onStop, std::function<void()> onReload = {});

  // Safe to call from any thread.
  void Stop();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace photocloud
