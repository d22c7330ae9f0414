#include "photocloud/net/httpserver.h"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <ctime>
#include <set>
#include <sstream>
#include <thread>

#include "photocloud/base/log.h"
#include "photocloud/base/text.h"

namespace photocloud {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

// How long a connection may stay silent between two requests.
constexpr std::size_t kReadBytes = 64 << 10;
constexpr seconds kIdleTimeout(75);
constexpr seconds kHandshakeTimeout(15);
// A message may take this long, and longer by its length at the slowest rate.
constexpr seconds kMessageTimeout(60);
constexpr std::int64_t kSlowestBytesPerSecond = 16 << 10;
// Keeps streams alive through routers that forget silent connections.
constexpr seconds kStreamPulse(15);
// A stream ends after this time and is opened again with a token that holds.
constexpr seconds kStreamLife(1800);
// Requests under way at a stop get this long.
constexpr seconds kStopTimeout(10);

constexpr milliseconds kAcceptPause(200);

constexpr const char* kStreamHead =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\nConnection: "
    "close\r\n\r\n";

class Connection {
 public:
  virtual ~Connection() = default;
  virtual void Stop() = 0;
};

seconds TimeFor(std::int64_t bytes) { return kMessageTimeout + seconds(bytes / kSlowestBytesPerSecond); }

std::string DateNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  char text[64];
  std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts);
  return text;
}

// Error record for what fails before any handler sees it.
struct EarlyFailure {
  http::error error;
  int status;
  const char* code;
  const char* reason;
};

constexpr EarlyFailure kEarlyFailures[] = {
    {http::error::header_limit, 431, "31084031", "header too large"},
    {http::error::body_limit, 413, "31084013", "body too large"},
};
constexpr EarlyFailure kBadMessage = {http::error::bad_method, 400, "31084000", "malformed request"};

Response ToResponse(const EarlyFailure& failure) {
  Response response;
  response.status = failure.status;
  response.body = std::string("{\"error\":{\"description\":\"") + failure.reason +
                  "\",\"errors\":[{\"code\":\"" + failure.code + "\",\"reason\":\"" + failure.reason +
                  "\",\"subject\":\"\"}],\"status\":" + std::to_string(failure.status) + "}}";
  return response;
}

}  // namespace

// Owns the loop, and with it all operations that are still pending when it ends;
// so these may hold it by plain pointer.
struct HttpServer::State {
  State(ServerSettings serverSettings, Handler handler, ServerEvents serverEvents)
      : settings(std::move(serverSettings)),
        handle(std::move(handler)),
        events(std::move(serverEvents)),
        io(settings.threads),
        acceptor(asio::make_strand(io)),
        signals(acceptor.get_executor()),
        acceptTimer(acceptor.get_executor()),
        stopTimer(io) {}

  bool Join(const std::shared_ptr<Connection>& connection) {
    const std::lock_guard guard(connectionsLock);
    if (isStopping || connections.size() >= settings.maxConnections) return false;
    connections.insert(connection);
    events.onConnections(1);
    return true;
  }

  void Leave(const std::shared_ptr<Connection>& connection) {
    const std::lock_guard guard(connectionsLock);
    if (connections.erase(connection) > 0) events.onConnections(-1);
    if (isStopping && connections.empty()) io.stop();
  }

  void Accept();
  void AcceptLater();
  // Runs on the acceptor's strand, since no other thread may use it meanwhile.
  void OnStop();
  void Repeat(std::shared_ptr<asio::steady_timer> timer, milliseconds period, std::function<void()> task);

  const ServerSettings settings;
  const Handler handle;
  const ServerEvents events;
  asio::io_context io;
  std::optional<asio::ssl::context> tls;
  tcp::acceptor acceptor;
  asio::signal_set signals;
  asio::steady_timer acceptTimer;
  asio::steady_timer stopTimer;
  std::function<void()> onStop;
  std::atomic<bool> isStopping{false};

  std::mutex connectionsLock;
  std::set<std::shared_ptr<Connection>> connections;  // Guarded by connectionsLock.
};

namespace {

// One connection over `Stream`, a TCP or TLS stream. All its members belong to
// the strand of its socket.
template <typename Stream, typename State>
class Session : public Connection, public std::enable_shared_from_this<Session<Stream, State>> {
 public:
  template <typename... Arguments>
  Session(State* owner, const tcp::endpoint& peer, Arguments&&... arguments)
      : state(owner),
        stream(std::forward<Arguments>(arguments)...),
        timer(stream.get_executor()),
        lifeTimer(stream.get_executor()),
        isFromLoopback(peer.address().is_loopback()) {}

  void Start() {
    if constexpr (kIsTls) {
      Socket().expires_after(kHandshakeTimeout);
      stream.async_handshake(asio::ssl::stream_base::server, [self = Self()](beast::error_code error) {
        if (error) return self->Close();
        self->ReadHeader();
      });
    } else {
      ReadHeader();
    }
  }

  void Stop() override {
    asio::post(stream.get_executor(), [self = Self()] {
      if (self->isIdle) self->Close();
    });
  }

 private:
  static constexpr bool kIsTls = !std::is_same_v<Stream, beast::tcp_stream>;

  std::shared_ptr<Session> Self() { return this->shared_from_this(); }

  beast::tcp_stream& Socket() { return beast::get_lowest_layer(stream); }

  void ReadHeader() {
    if (state->isStopping) return Close();
    parser.emplace();
    // The library reads as much at a time as the buffer holds already.
    buffer.reserve(kReadBytes);
    parser->header_limit(static_cast<std::uint32_t>(state->settings.maxHeaderBytes));
    parser->body_limit(state->settings.maxBodyBytes);
    isIdle = true;
    Socket().expires_after(kIdleTimeout);
    http::async_read_header(stream, buffer, *parser, [self = Self()](beast::error_code error, std::size_t) {
      self->isIdle = false;
      self->OnHeader(error);
    });
  }

  void OnHeader(beast::error_code error) {
    if (error) return OnReadFailure(error);
    const auto& head = parser->get();
    if (head.method() == http::verb::put && head.target().starts_with("/cloudPhoto/v1/objects/")) {
      parser->body_limit(state->settings.maxObjectBytes);
    }
    const auto length = parser->content_length().value_or(0);
    Socket().expires_after(TimeFor(static_cast<std::int64_t>(std::min<std::uint64_t>(length, 1u << 30))));
    if (beast::iequals(head[http::field::expect], "100-continue")) return AskForBody();
    ReadBody();
  }

  // Senders of large bodies wait for this before they go on.
  void AskForBody() {
    if (parser->content_length().value_or(0) > state->settings.maxObjectBytes) {
      return OnReadFailure(http::error::body_limit);
    }
    asio::async_write(stream, asio::buffer("HTTP/1.1 100 Continue\r\n\r\n", 25),
                      [self = Self()](beast::error_code error, std::size_t) {
                        if (error) return self->Close();
                        self->ReadBody();
                      });
  }

  void ReadBody() {
    http::async_read(stream, buffer, *parser, [self = Self()](beast::error_code error, std::size_t) {
      if (error) return self->OnReadFailure(error);
      self->Answer();
    });
  }

  void OnReadFailure(beast::error_code error) {
    const bool isMessageFault = error.category() == make_error_code(http::error::bad_method).category();
    if (!isMessageFault || error == http::error::end_of_stream || error == http::error::partial_message)
      return Close();
    const EarlyFailure* failure = &kBadMessage;
    for (const EarlyFailure& known : kEarlyFailures) {
      if (error == known.error) failure = &known;
    }
    keepAlive = false;
    Socket().expires_after(kMessageTimeout);
    Write(ToResponse(*failure));
  }

  bool ToRequest(Request& request) {
    const auto& message = parser->get();
    request.method = std::string(message.method_string());
    for (const auto& field : message)
      request.headers[ToLower(field.name_string())] = std::string(field.value());
    request.fromLoopback = isFromLoopback;
    request.baseUrl = std::string(kIsTls ? "https://" : "http://") + request.Header("host");
    request.body = std::move(parser->get().body());
    return request.SetTarget(std::string(message.target()));
  }

  void Answer() {
    Request request;
    keepAlive =
        parser->get().keep_alive() && parser->get().method() != http::verb::head && !state->isStopping;
    const bool isGood = ToRequest(request);
    const auto received = static_cast<std::int64_t>(request.body.size());
    // The handler may take its time: silence is not held against the peer.
    Socket().expires_never();
    Response response = isGood ? state->handle(request) : ToResponse(kBadMessage);
    state->events.onBytes(received, static_cast<std::int64_t>(response.body.size()));
    if (response.delivery.delayMs > 0) return Delay(std::move(response));
    Deliver(std::move(response));
  }

  void Delay(Response response) {
    timer.expires_after(milliseconds(response.delivery.delayMs));
    timer.async_wait([self = Self(), response = std::move(response)](beast::error_code) mutable {
      self->Deliver(std::move(response));
    });
  }

  void Deliver(Response response) {
    if (response.delivery.close) return Close();
    Socket().expires_after(TimeFor(static_cast<std::int64_t>(response.body.size())));
    if (response.stream) return OpenStream(response.stream);
    Write(std::move(response));
  }

  void Write(Response response) {
    auto message = std::make_shared<http::response<http::string_body>>();
    message->version(11);
    message->result(static_cast<unsigned>(response.status));
    message->set(http::field::content_type, response.contentType);
    message->set(http::field::date, DateNow());
    message->set(http::field::cache_control, "no-store");
    for (const auto& [name, value] : response.headers) message->set(name, value);
    message->keep_alive(keepAlive);
    message->body() = std::move(response.body);
    message->prepare_payload();
    if (response.delivery.cutAfterBytes) return WriteCut(*message, *response.delivery.cutAfterBytes);
    http::async_write(stream, *message, [self = Self(), message](beast::error_code error, std::size_t) {
      if (error || !self->keepAlive) return self->Close();
      self->ReadHeader();
    });
  }

  // The head announces the whole body, and less of it follows.
  void WriteCut(const http::response<http::string_body>& message, std::int64_t bytes) {
    std::ostringstream text;
    text << message.base() << message.body().substr(0, static_cast<std::size_t>(bytes));
    outgoing = text.str();
    asio::async_write(stream, asio::buffer(outgoing),
                      [self = Self()](beast::error_code, std::size_t) { self->Close(); });
  }

  void OpenStream(std::shared_ptr<PushStream> source) {
    push = std::move(source);
    outgoing = kStreamHead;
    // Weak, or connection and stream would keep each other alive.
    push->SetListener([weak = std::weak_ptr<Session>(Self())] {
      const auto self = weak.lock();
      if (self) asio::post(self->stream.get_executor(), [self] { self->PumpStream(); });
    });
    lifeTimer.expires_after(kStreamLife);
    lifeTimer.async_wait([self = Self()](beast::error_code error) {
      if (!error && self->push) self->push->End();
    });
    WatchPeer();
    Pulse();
    PumpStream();
  }

  // A listener sends nothing more, so whatever ends this read ends the stream.
  void WatchPeer() {
    stream.async_read_some(asio::buffer(&peerByte, 1),
                           [self = Self()](beast::error_code, std::size_t) { self->Close(); });
  }

  void Pulse() {
    timer.expires_after(kStreamPulse);
    timer.async_wait([self = Self()](beast::error_code error) {
      if (error || !self->push) return;
      self->push->Add(": alive\n\n");
      self->Pulse();
    });
  }

  void PumpStream() {
    if (isWriting || !push) return;
    outgoing += push->Take();
    if (outgoing.empty()) {
      if (push->HasEnded()) Close();
      return;
    }
    isWriting = true;
    Socket().expires_after(kMessageTimeout);
    asio::async_write(stream, asio::buffer(outgoing), [self = Self()](beast::error_code error, std::size_t) {
      self->isWriting = false;
      self->outgoing.clear();
      if (error) return self->Close();
      self->Socket().expires_never();
      self->PumpStream();
    });
  }

  void Close() {
    if (push) push->SetListener({});
    push.reset();
    timer.cancel();
    lifeTimer.cancel();
    beast::error_code ignored;
    Socket().socket().shutdown(tcp::socket::shutdown_both, ignored);
    Socket().close();
    state->Leave(Self());
  }

  State* const state;
  Stream stream;
  asio::steady_timer timer;
  asio::steady_timer lifeTimer;
  const bool isFromLoopback;
  beast::flat_buffer buffer;
  std::optional<http::request_parser<http::string_body>> parser;
  bool keepAlive = true;
  bool isIdle = false;
  bool isWriting = false;
  std::string outgoing;
  std::shared_ptr<PushStream> push;
  char peerByte = 0;
};

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
  acceptor.async_accept(asio::make_strand(io), [this](beast::error_code error, tcp::socket socket) {
    if (!acceptor.is_open()) return;
    if (error) return AcceptLater();
    beast::error_code ignored;
    const auto peer = socket.remote_endpoint(ignored);
    socket.set_option(tcp::no_delay(true), ignored);
    const auto launch = [this, executor = socket.get_executor()](auto session) {
      if (Join(session)) asio::post(executor, [session] { session->Start(); });
    };
    using TlsStream = beast::ssl_stream<beast::tcp_stream>;
    if (tls) {
      launch(std::make_shared<Session<TlsStream, State>>(this, peer, std::move(socket), *tls));
    } else {
      launch(std::make_shared<Session<beast::tcp_stream, State>>(this, peer, std::move(socket)));
    }
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
  const std::lock_guard guard(connectionsLock);
  for (const auto& connection : connections) connection->Stop();
  if (connections.empty()) io.stop();
  stopTimer.expires_after(kStopTimeout);
  stopTimer.async_wait([this](beast::error_code error) {
    if (!error) io.stop();
  });
}

void HttpServer::State::Repeat(std::shared_ptr<asio::steady_timer> timer, milliseconds period,
                               std::function<void()> task) {
  timer->expires_after(period);
  timer->async_wait([this, timer, period, task](beast::error_code error) {
    if (error || isStopping) return;
    task();
    Repeat(timer, period, task);
  });
}

HttpServer::HttpServer(ServerSettings settings, Handler handle, ServerEvents events)
    : state(std::make_unique<State>(std::move(settings), std::move(handle), std::move(events))) {}

HttpServer::~HttpServer() = default;

std::string HttpServer::Listen() {
  const ServerSettings& settings = state->settings;
  try {
    if (!settings.certificateFile.empty()) {
      state->tls.emplace(asio::ssl::context::tls_server);
      state->tls->set_options(asio::ssl::context::default_workarounds | asio::ssl::context::no_tlsv1 |
                              asio::ssl::context::no_tlsv1_1);
      state->tls->use_certificate_chain_file(settings.certificateFile);
      state->tls->use_private_key_file(settings.keyFile, asio::ssl::context::pem);
    }
    tcp::endpoint endpoint;
    if (!ParseAddress(settings.address, endpoint)) return "not an address with port: " + settings.address;
    state->acceptor.open(endpoint.protocol());
    state->acceptor.set_option(asio::socket_base::reuse_address(true));
    state->acceptor.bind(endpoint);
    state->acceptor.listen();
    state->signals.add(SIGTERM);
    state->signals.add(SIGINT);
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

void HttpServer::Every(std::int64_t periodMs, std::function<void()> task) {
  state->Repeat(std::make_shared<asio::steady_timer>(state->io), milliseconds(periodMs), std::move(task));
}

void HttpServer::Run(std::function<void()> onStop) {
  state->onStop = std::move(onStop);
  state->signals.async_wait([self = state.get()](beast::error_code error, int) {
    if (!error) self->OnStop();
  });
  state->Accept();
  std::vector<std::thread> threads;
  for (int i = 1; i < state->settings.threads; ++i)
    threads.emplace_back([self = state.get()] { self->io.run(); });
  state->io.run();
  for (std::thread& thread : threads) thread.join();
}

void HttpServer::Stop() {
  asio::post(state->acceptor.get_executor(), [self = state.get()] { self->OnStop(); });
}

}  // namespace photocloud
