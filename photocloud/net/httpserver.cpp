#include "photocloud/net/httpserver.h"

#include <algorithm>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <cctype>
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

constexpr std::size_t kReadBytes = 64 << 10;
// How long a connection may stay silent between two requests.
constexpr seconds kIdleTimeout(75);
constexpr seconds kHandshakeTimeout(15);
// A message may take this long, and longer by its length at the slowest rate.
constexpr seconds kMessageTimeout(60);
constexpr std::int64_t kSlowestBytesPerSecond = 16 << 10;
constexpr std::int64_t kLongestMessage = 1 << 28;
// Of the server's own loop: a sweep keeps one for a while, and connections are
// accepted and signals taken all the same.
constexpr int kOwnThreads = 3;
// Requests that wait for a thread of their lane.
constexpr int kMostWaiting = 256;
// Keeps streams alive through routers that forget silent connections.
constexpr seconds kStreamPulse(15);
// A stream ends after this time and is opened again with a token that holds.
constexpr seconds kStreamLife(1800);
// A sender that is refused before its body has come gets this long to read that;
// closing at once would take the answer away from it. Also for the end of TLS.
constexpr seconds kLingerTimeout(3);
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

seconds TimeFor(std::int64_t bytes) {
  // Nothing longer is sent, and what is announced may be any number.
  const auto most = std::min(bytes, kLongestMessage);
  return kMessageTimeout + seconds(most / kSlowestBytesPerSecond);
}

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
};
constexpr EarlyFailure kOverloaded = {http::error::end_of_stream, 503, "31085003",
                                      "service is stopping or overloaded"};
constexpr EarlyFailure kBadMessage = {http::error::bad_method, 400, "31084000", "malformed request"};

Response ToResponse(const EarlyFailure& failure) {
  Response response;
  response.status = failure.status;
  if (failure.status == 503) response.headers.emplace_back("Retry-After", "2");
  response.body = std::string("{\"error\":{\"description\":\"") + failure.reason +
                  "\",\"errors\":[{\"code\":\"" + failure.code + "\",\"reason\":\"" + failure.reason +
                  "\",\"subject\":\"\"}],\"status\":" + std::to_string(failure.status) + "}}";
  return response;
}

using Head = http::request_parser<http::empty_body>;

bool IsHost(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) ||
           std::string_view(".-_:[]").find(letter) != std::string_view::npos;
  });
}

// Heads that another program on the way may understand in another way than this
// one: each is refused, since guessing is how requests are smuggled.
bool IsClear(const http::request<http::empty_body>& head) {
  const auto hosts = head.count(http::field::host);
  if (hosts > 1 || (hosts == 0 && head.version() > 10)) return false;
  if (hosts == 1 && !IsHost(std::string_view(head[http::field::host]))) return false;
  const auto codings = head.count(http::field::transfer_encoding);
  if (codings > 1 || (codings == 1 && !beast::iequals(head[http::field::transfer_encoding], "chunked")))
    return false;
  if (codings == 1 && head.count(http::field::content_length) > 0) return false;
  return head.count(http::field::content_length) <= 1 && head.count(http::field::authorization) <= 1;
}

// The address that the proxy saw, which is the last one that it added.
std::string AddressFromProxy(const http::request<http::empty_body>& head) {
  std::string last;
  for (const auto& field : head) {
    if (beast::iequals(field.name_string(), "X-Forwarded-For")) last = std::string(field.value());
  }
  const auto comma = last.rfind(',');
  if (comma != std::string::npos) last.erase(0, comma + 1);
  last.erase(0, last.find_first_not_of(' '));
  boost::system::error_code error;
  const auto address = asio::ip::make_address(last, error);
  return error ? std::string() : address.to_string();
}

// Threads for requests of one kind, and a bound for those that wait for them.
class LaneThreads {
 public:
  explicit LaneThreads(int threads) : pool(static_cast<std::size_t>(threads)) {}

  // Returns false when too many wait.
  bool Post(std::function<void()> task) {
    if (++waiting > kMostWaiting) {
      --waiting;
      return false;
    }
    asio::post(pool, [this, work = std::move(task)] {
      --waiting;
      work();
    });
    return true;
  }
  void Join() { pool.join(); }

 private:
  std::atomic<int> waiting{0};
  asio::thread_pool pool;
};

// Loops of connections, each run by one thread. Threads that share a loop wake one
// another several times for each request, which takes longer than a page does.
class ConnectionLoops {
 public:
  explicit ConnectionLoops(int count) {
    for (int i = 0; i < count; ++i) loops.push_back(std::make_unique<asio::io_context>(1));
  }

  // The loop of the next connection, by turns. Called by one thread at a time.
  asio::io_context::executor_type Next() { return loops[next++ % loops.size()]->get_executor(); }

  std::vector<std::thread> Start() {
    std::vector<std::thread> threads;
    for (const auto& loop : loops) {
      threads.emplace_back([each = loop.get()] {
        const auto work = asio::make_work_guard(*each);
        each->run();
      });
    }
    return threads;
  }

  void Stop() {
    for (const auto& loop : loops) loop->stop();
  }

 private:
  std::vector<std::unique_ptr<asio::io_context>> loops;
  std::size_t next = 0;
};

}  // namespace

// Owns the loops, and with them all operations that are still pending when they
// end; so these may hold it by plain pointer.
struct HttpServer::State {
  State(ServerSettings serverSettings, HttpService& httpService, ServerEvents serverEvents)
      : settings(std::move(serverSettings)),
        service(httpService),
        events(std::move(serverEvents)),
        loops(settings.threads),
        acceptor(asio::make_strand(io)),
        signals(acceptor.get_executor()),
        acceptTimer(acceptor.get_executor()),
        stopTimer(io),
        reading(settings.threads),
        storing(settings.threads),
        deriving(settings.derivingThreads) {}

  // Returns false, and does nothing, when too many requests of the kind wait.
  bool Run(Lane lane, std::function<void()> task) {
    if (lane == Lane::Reading) return reading.Post(std::move(task));
    if (lane == Lane::Storing) return storing.Post(std::move(task));
    if (lane == Lane::Deriving) return deriving.Post(std::move(task));
    task();
    return true;
  }

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
    if (isStopping && connections.empty()) StopLoops();
  }

  void StopLoops() {
    loops.Stop();
    io.stop();
  }

  void Accept();
  void AcceptLater();
  // Runs on the acceptor's strand, since no other thread may use it meanwhile.
  void OnStop();
  void Repeat(std::shared_ptr<asio::steady_timer> timer, milliseconds period, std::function<void()> task);
  void AwaitSignal();
  std::shared_ptr<asio::ssl::context> ReadCertificate() const;
  void ReloadCertificate();

  const ServerSettings settings;
  HttpService& service;
  const ServerEvents events;
  // New connections, signals and what is done from time to time.
  asio::io_context io;
  ConnectionLoops loops;
  // Replaced when the certificate is read anew; connections keep theirs. Belongs
  // to the acceptor's strand once the server runs.
  std::shared_ptr<asio::ssl::context> tls;
  tcp::acceptor acceptor;
  asio::signal_set signals;
  asio::steady_timer acceptTimer;
  asio::steady_timer stopTimer;
  std::function<void()> onStop;
  std::function<void()> onReload;
  std::atomic<bool> isStopping{false};

  std::mutex connectionsLock;
  std::set<std::shared_ptr<Connection>> connections;  // Guarded by connectionsLock.

  LaneThreads reading;
  LaneThreads storing;
  LaneThreads deriving;
};

namespace {

// One connection over `Stream`, a TCP or TLS stream. All its members belong to
// the thread of its loop.
template <typename Stream, typename State>
class Session : public Connection, public std::enable_shared_from_this<Session<Stream, State>> {
 public:
  template <typename... Arguments>
  Session(State* owner, const tcp::endpoint& peer, Arguments&&... arguments)
      : state(owner),
        stream(std::forward<Arguments>(arguments)...),
        timer(stream.get_executor()),
        lifeTimer(stream.get_executor()),
        peerAddress(peer.address().to_string()) {}

  void Start() {
    if constexpr (kIsTls) {
      Socket().expires_after(kHandshakeTimeout);
      stream.async_handshake(asio::ssl::stream_base::server, [self = Self()](beast::error_code error) {
        if (error) return self->CloseSocket();
        self->isSecured = true;
        self->ReadHeader();
      });
    } else {
      ReadHeader();
    }
  }

  // The pending read of an idle connection ends, and closes it.
  void Stop() override {
    asio::post(stream.get_executor(), [self = Self()] {
      if (self->isIdle) self->Socket().cancel();
    });
  }

 private:
  static constexpr bool kIsTls = !std::is_same_v<Stream, beast::tcp_stream>;

  std::shared_ptr<Session> Self() { return this->shared_from_this(); }

  beast::tcp_stream& Socket() { return beast::get_lowest_layer(stream); }

  void ReadHeader() {
    if (state->isStopping) return Close();
    head.emplace();
    body.reset();
    request = {};
    // The library reads as much at a time as the buffer holds already.
    buffer.reserve(kReadBytes);
    head->header_limit(static_cast<std::uint32_t>(state->settings.maxHeaderBytes));
    // The service says how much it takes once it knows the head.
    head->body_limit(boost::none);
    isIdle = true;
    Socket().expires_after(kIdleTimeout);
    http::async_read_header(stream, buffer, *head, [self = Self()](beast::error_code error, std::size_t) {
      self->isIdle = false;
      self->OnHeader(error);
    });
  }

  void OnHeader(beast::error_code error) {
    if (error) return OnReadFailure(error);
    keepAlive = head->get().keep_alive() && head->get().method() != http::verb::head;
    if (!IsClear(head->get()) || !TakeHead()) return OnReadFailure(http::error::bad_method);
    intake = state->service.Admit(request, notice);
    if (!notice.isComing) return Answer();
    if (intake.refusal) return AnswerEarly(*intake.refusal);
    request.sink = intake.sink;
    Socket().expires_after(TimeFor(notice.length.value_or(intake.mostBytes)));
    const bool asks = beast::iequals(head->get()[http::field::expect], "100-continue");
    body.emplace(std::move(*head));
    piece.resize(kReadBytes);
    if (asks) return AskForBody();
    ReadPiece();
  }

  // The peer may still be sending: it gets its answer, and then the end.
  void AnswerEarly(ErrorCode refusal) {
    request.refusal = refusal;
    request.sink.reset();
    EndEarly();
  }

  void EndEarly() {
    keepAlive = false;
    lingers = true;
    Answer();
  }

  // Senders of large bodies wait for this before they go on.
  void AskForBody() {
    asio::async_write(stream, asio::buffer("HTTP/1.1 100 Continue\r\n\r\n", 25),
                      [self = Self()](beast::error_code error, std::size_t) {
                        if (error) return self->Close();
                        self->ReadPiece();
                      });
  }

  void ReadPiece() {
    body->get().body().data = piece.data();
    body->get().body().size = piece.size();
    http::async_read_some(stream, buffer, *body, [self = Self()](beast::error_code error, std::size_t) {
      if (error && error != http::error::need_buffer) return self->OnReadFailure(error);
      self->OnPiece();
    });
  }

  void OnPiece() {
    const std::string_view taken(piece.data(), piece.size() - body->get().body().size);
    received += static_cast<std::int64_t>(taken.size());
    if (received > intake.mostBytes) return AnswerEarly(ErrorCode::BodyTooLarge);
    if (request.sink) {
      // It knows what went wrong, and says so when it is asked.
      if (!request.sink->Write(taken)) return EndEarly();
    } else {
      request.body += taken;
    }
    if (!body->is_done()) return ReadPiece();
    Answer();
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
    lingers = true;
    Socket().expires_after(kMessageTimeout);
    Write(ToResponse(*failure));
  }

  bool TakeHead() {
    const auto& message = head->get();
    request.method = std::string(message.method_string());
    for (const auto& field : message)
      request.headers[ToLower(field.name_string())] = std::string(field.value());
    request.address = state->settings.isBehindProxy ? AddressFromProxy(message) : std::string();
    if (request.address.empty()) request.address = peerAddress;
    request.baseUrl = state->settings.publicUrl;
    if (request.baseUrl.empty())
      request.baseUrl = std::string(kIsTls ? "https://" : "http://") + request.Header("host");
    received = 0;
    notice = {};
    const auto length = head->content_length();
    notice.isComing = head->chunked() || length.value_or(0) > 0;
    if (length) {
      notice.length = static_cast<std::int64_t>(std::min<std::uint64_t>(*length, INT64_MAX));
    }
    return request.SetTarget(std::string(message.target()));
  }

  void Answer() {
    piece = {};
    keepAlive = keepAlive && !state->isStopping;
    // The handler may take its time: silence is not held against the peer.
    Socket().expires_never();
    const bool isTaken = state->Run(intake.lane, [self = Self()] {
      auto response = std::make_shared<Response>(self->state->service.Handle(self->request));
      asio::dispatch(self->stream.get_executor(), [self, response] { self->Finish(std::move(*response)); });
    });
    if (!isTaken) Finish(ToResponse(kOverloaded));
  }

  void Finish(Response response) {
    state->events.onBytes(received, static_cast<std::int64_t>(response.body.size()));
    // What the request held, files above all, goes before the next one comes.
    request = {};
    intake = {};
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
      if (!error && self->lingers) return self->Linger();
      if (error || !self->keepAlive) return self->Close();
      self->ReadHeader();
    });
  }

  // Reads on for a while, since a socket that is closed with bytes unread resets
  // the connection, and the answer with it.
  void Linger() {
    if constexpr (!kIsTls) {
      beast::error_code ignored;
      Socket().socket().shutdown(tcp::socket::shutdown_send, ignored);
    }
    Socket().expires_after(kLingerTimeout);
    piece.resize(kReadBytes);
    Drain();
  }

  void Drain() {
    stream.async_read_some(asio::buffer(piece), [self = Self()](beast::error_code error, std::size_t) {
      if (error) return self->Close();
      self->Drain();
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
    isWatching = true;
    stream.async_read_some(asio::buffer(&peerByte, 1), [self = Self()](beast::error_code, std::size_t) {
      self->isWatching = false;
      self->Close();
    });
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
      if (error || self->isClosing) return self->Close();
      self->Socket().expires_never();
      self->PumpStream();
    });
  }

  // Ends what is pending first, each of which comes back here.
  void Close() {
    isClosing = true;
    if (push) push->SetListener({});
    push.reset();
    timer.cancel();
    lifeTimer.cancel();
    if (isWatching || isWriting) return Socket().cancel();
    if constexpr (kIsTls) {
      // Without it a peer cannot tell the end of an answer from one cut short.
      if (std::exchange(isSecured, false)) {
        Socket().expires_after(kLingerTimeout);
        stream.async_shutdown([self = Self()](beast::error_code) { self->CloseSocket(); });
        return;
      }
    }
    CloseSocket();
  }

  void CloseSocket() {
    beast::error_code ignored;
    Socket().socket().shutdown(tcp::socket::shutdown_both, ignored);
    Socket().close();
    state->Leave(Self());
  }

  State* const state;
  Stream stream;
  asio::steady_timer timer;
  asio::steady_timer lifeTimer;
  const std::string peerAddress;
  beast::flat_buffer buffer;
  // Of the request under way; `head` turns into `body` when one is coming.
  std::optional<Head> head;
  std::optional<http::request_parser<http::buffer_body>> body;
  Request request;
  BodyNotice notice;
  Intake intake;
  std::vector<char> piece;
  std::int64_t received = 0;
  bool keepAlive = true;
  bool lingers = false;
  bool isIdle = false;
  bool isSecured = false;
  bool isWriting = false;
  bool isWatching = false;
  bool isClosing = false;
  std::string outgoing;
  std::shared_ptr<PushStream> push;
  char peerByte = 0;
};

// A stream that keeps the certificate it began with.
class TlsStream : private std::shared_ptr<asio::ssl::context>, public beast::ssl_stream<beast::tcp_stream> {
 public:
  TlsStream(tcp::socket socket, const std::shared_ptr<asio::ssl::context>& context)
      : std::shared_ptr<asio::ssl::context>(context),
        beast::ssl_stream<beast::tcp_stream>(std::move(socket), *context) {}
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
  acceptor.async_accept(loops.Next(), [this](beast::error_code error, tcp::socket socket) {
    if (!acceptor.is_open()) return;
    if (error) return AcceptLater();
    beast::error_code ignored;
    const auto peer = socket.remote_endpoint(ignored);
    socket.set_option(tcp::no_delay(true), ignored);
    const auto launch = [this, executor = socket.get_executor()](auto session) {
      if (Join(session)) asio::post(executor, [session] { session->Start(); });
    };
    if (tls) {
      launch(std::make_shared<Session<TlsStream, State>>(this, peer, std::move(socket), tls));
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
  if (connections.empty()) StopLoops();
  stopTimer.expires_after(kStopTimeout);
  stopTimer.async_wait([this](beast::error_code error) {
    if (!error) StopLoops();
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
    state->acceptor.set_option(asio::socket_base::reuse_address(true));
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

void HttpServer::Every(std::int64_t periodMs, std::function<void()> task) {
  state->Repeat(std::make_shared<asio::steady_timer>(state->io), milliseconds(periodMs), std::move(task));
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
  state->reading.Join();
  state->storing.Join();
  state->deriving.Join();
}

void HttpServer::Stop() {
  asio::post(state->acceptor.get_executor(), [self = state.get()] { self->OnStop(); });
}

}  // namespace photocloud
