#include "photocloud/net/httpserver.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/beast/core/error.hpp>
#include <set>
#include <sstream>
#include <thread>

#include "photocloud/base/log.h"
#include "photocloud/base/mutex.h"
#include "photocloud/base/text.h"
#include "photocloud/net/connection.h"

namespace photocloud {

namespace asio = boost::asio;
namespace beast = boost::beast;
using tcp = asio::ip::tcp;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

// Of the server's own loop: a sweep keeps one for a while, and connections are
// accepted and signals taken all the same.
constexpr int kOwnThreads = 3;
// Requests under way at a stop get this long.
constexpr seconds kStopTimeout(10);

constexpr milliseconds kAcceptPause(200);

}  // namespace

// Owns the loops, and with them all operations that are still pending when they
// end; so these may hold it by plain pointer.
struct HttpServer::State : ConnectionHost {
  State(ServerSettings serverSettings, HttpService& httpService, ServerEvents serverEvents)
      : ConnectionHost(std::move(serverSettings), httpService, std::move(serverEvents)),
        loops(settings.threads),
        strand(asio::make_strand(io)),
        acceptor(strand),
        signals(strand),
        acceptTimer(strand),
        stopTimer(io) {}

  bool Join(const std::shared_ptr<Connection>& connection) {
    const MutexLock guard(connectionsLock);
    if (isStopping || connections.size() >= settings.maxConnections) return false;
    connections.insert(connection);
    events.onConnections(1);
    return true;
  }

  void Leave(const std::shared_ptr<Connection>& connection) override {
    const MutexLock guard(connectionsLock);
    if (connections.erase(connection) > 0) events.onConnections(-1);
    if (isStopping && connections.empty()) StopLoops();
  }

  void StopLoops() {
    loops.Stop();
    io.stop();
  }

  void Accept();
  void AcceptLater();
  // Runs on the strand of the acceptor, since no other thread may use it meanwhile.
  void OnStop();
  void Repeat(const std::shared_ptr<asio::steady_timer>& timer, milliseconds period,
              const std::function<void()>& task);
  void AwaitSignal();
  std::shared_ptr<asio::ssl::context> ReadCertificate() const;
  void ReloadCertificate();

  ConnectionLoops loops;
  // New connections, signals and what is done from time to time. Goes before the loops:
  // what it is still accepting belongs to one of them.
  asio::io_context io;
  asio::strand<asio::io_context::executor_type> strand;
  // Replaced when the certificate is read anew; connections keep theirs. Belongs
  // to the strand once the server runs.
  std::shared_ptr<asio::ssl::context> tls;
  tcp::acceptor acceptor;
  asio::signal_set signals;
  asio::steady_timer acceptTimer;
  asio::steady_timer stopTimer;
  std::function<void()> onStop;
  std::function<void()> onReload;

  Mutex connectionsLock;
  std::set<std::shared_ptr<Connection>> connections GUARDED_BY(connectionsLock);
};

namespace {

// Parts "host:port"; brackets around the host are taken off.
bool ParseAddress(const std::string& text, tcp::endpoint& endpoint) {
  const auto colon = text.rfind(':');
  if (colon == std::string::npos) return false;
  std::string host = text.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  const auto port = ParseNumber(text.substr(colon + 1));
  boost::system::error_code error;
  const auto address = asio::ip::make_address(host, error);
  if (error || !port || *port > 65535) return false;
  endpoint = tcp::endpoint(address, static_cast<unsigned short>(*port));
  return true;
}

}  // namespace

void HttpServer::State::Accept() {
  acceptor.async_accept(loops.Next(), [this](beast::error_code error, tcp::socket socket) {
    if (!acceptor.is_open()) return;
    if (error) return AcceptLater();
    const auto executor = socket.get_executor();
    const auto connection = MakeConnection(*this, std::move(socket), tls);
    if (Join(connection)) asio::post(executor, [connection] { connection->Start(); });
    Accept();
  });
}

// Out of handles, most likely: some come back when connections end, and trying
// again at once would only take their time.
void HttpServer::State::AcceptLater() {
  Log(LogLevel::Warning, "cannot accept");
  acceptTimer.expires_after(kAcceptPause);
  acceptTimer.async_wait([this](beast::error_code error) {
    if (!error && acceptor.is_open()) Accept();
  });
}

void HttpServer::State::OnStop() {
  if (isStopping.exchange(true)) return;
  Log(LogLevel::Info, "stopping");
  beast::error_code ignored;
  acceptor.close(ignored);
  acceptTimer.cancel();
  signals.cancel(ignored);
  if (onStop) onStop();
  const MutexLock guard(connectionsLock);
  for (const auto& connection : connections) connection->Stop();
  if (connections.empty()) StopLoops();
  stopTimer.expires_after(kStopTimeout);
  stopTimer.async_wait([this](beast::error_code error) {
    if (!error) StopLoops();
  });
}

void HttpServer::State::Repeat(const std::shared_ptr<asio::steady_timer>& timer, milliseconds period,
                               const std::function<void()>& task) {
  timer->expires_after(period);
  timer->async_wait([this, timer, period, task](beast::error_code error) {
    if (error || isStopping) return;
    task();
    Repeat(timer, period, task);
  });
}

void HttpServer::State::AwaitSignal() {
  signals.async_wait([this](beast::error_code error, int number) {
    if (error) return;
    if (number != SIGHUP) return OnStop();
    ReloadCertificate();
    if (onReload) onReload();
    AwaitSignal();
  });
}

// TLS 1.3, and of 1.2 what has forward secrecy and authenticated encryption.
std::shared_ptr<asio::ssl::context> HttpServer::State::ReadCertificate() const {
  auto context = std::make_shared<asio::ssl::context>(asio::ssl::context::tls_server);
  SSL_CTX* const native = context->native_handle();
  SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION);
  SSL_CTX_set_cipher_list(native, "ECDHE+AESGCM:ECDHE+CHACHA20");
  SSL_CTX_set_options(native, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
  context->use_certificate_chain_file(settings.certificateFile);
  context->use_private_key_file(settings.keyFile, asio::ssl::context::pem);
  return context;
}

void HttpServer::State::ReloadCertificate() {
  if (!tls) return;
  try {
    tls = ReadCertificate();
    Log(LogLevel::Info, "certificate read anew");
  } catch (const std::exception& failure) {
    // The earlier one goes on, which is better than none.
    Log(LogLevel::Error, "certificate not read", {{"reason", failure.what()}});
  }
}

HttpServer::HttpServer(ServerSettings settings, HttpService& service, ServerEvents events)
    : state(std::make_unique<State>(std::move(settings), service, std::move(events))) {}

HttpServer::~HttpServer() = default;

std::string HttpServer::Listen() {
  const ServerSettings& settings = state->settings;
  try {
    if (!settings.certificateFile.empty()) state->tls = state->ReadCertificate();
    tcp::endpoint endpoint;
    if (!ParseAddress(settings.address, endpoint)) return "not an address with port: " + settings.address;
    if (!state->tls && !settings.isBehindProxy && !endpoint.address().is_loopback()) {
      return "plain HTTP is for addresses of this machine only: give --tls-cert and --tls-key, or "
             "--behind-proxy when a proxy in front speaks TLS";
    }
    state->acceptor.open(endpoint.protocol());
    // For a port of one's own after a restart. A free one that the system chooses is to be
    // nobody else's, also not of a connection that lingers.
    if (endpoint.port() != 0) state->acceptor.set_option(asio::socket_base::reuse_address(true));
    state->acceptor.bind(endpoint);
    state->acceptor.listen();
    if (settings.takesSignals) {
      for (const int number : {SIGTERM, SIGINT, SIGHUP}) state->signals.add(number);
    }
    return {};
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

std::string HttpServer::BoundAddress() const {
  std::ostringstream text;
  text << state->acceptor.local_endpoint();
  return text.str();
}

void HttpServer::Every(std::int64_t periodMs, const std::function<void()>& task) {
  state->Repeat(std::make_shared<asio::steady_timer>(state->io), milliseconds(periodMs), task);
}

void HttpServer::Run(std::function<void()> onStop, std::function<void()> onReload) {
  state->onStop = std::move(onStop);
  state->onReload = std::move(onReload);
  if (state->settings.takesSignals) state->AwaitSignal();
  state->Accept();
  std::vector<std::thread> threads = state->loops.Start();
  for (int i = 1; i < kOwnThreads; ++i) threads.emplace_back([self = state.get()] { self->io.run(); });
  state->io.run();
  for (std::thread& thread : threads) thread.join();
  state->lanes.Join();
}

void HttpServer::Stop() {
  asio::post(state->strand, [self = state.get()] { self->OnStop(); });
}

}  // namespace photocloud
