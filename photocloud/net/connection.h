#pragma once

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <memory>

#include "photocloud/net/httpserver.h"
#include "photocloud/net/serverthreads.h"

namespace photocloud {

// One connection. Kept alive by its pending operation; all its members belong to
// the thread of its loop.
class Connection {
 public:
  virtual ~Connection() = default;
  virtual void Start() = 0;
  // Ends it when it is idle. Safe to call from any thread.
  virtual void Stop() = 0;
};

// What a connection needs of its server, which outlives it.
class ConnectionHost {
 public:
  ConnectionHost(ServerSettings serverSettings, HttpService& httpService, ServerEvents serverEvents)
      : settings(std::move(serverSettings)),
        service(httpService),
        events(std::move(serverEvents)),
        lanes(settings.threads, settings.derivingThreads) {}
  virtual ~ConnectionHost() = default;

  // The connection has ended.
  virtual void Leave(const std::shared_ptr<Connection>& connection) = 0;

  const ServerSettings settings;
  HttpService& service;
  const ServerEvents events;
  std::atomic<bool> isStopping{false};
  Lanes lanes;
};

// Speaks TLS when a certificate is given, which it keeps to its end.
std::shared_ptr<Connection> MakeConnection(ConnectionHost& host, boost::asio::ip::tcp::socket socket,
                                           const std::shared_ptr<boost::asio::ssl::context>& certificate);

}  // namespace photocloud
