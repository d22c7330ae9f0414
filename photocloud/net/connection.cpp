#include "photocloud/net/connection.h"

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>
#include <ctime>
#include <sstream>

#include "photocloud/base/text.h"
#include "photocloud/net/requesthead.h"

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
// Keeps streams alive through routers that forget silent connections.
constexpr seconds kStreamPulse(15);
// A stream ends after this time and is opened again with a token that holds.
constexpr seconds kStreamLife(1800);
// A sender that is refused before its body has come gets this long to read that;
// closing at once would take the answer away from it. Also for the end of TLS.
constexpr seconds kLingerTimeout(3);
constexpr const char* kStreamHead =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\nConnection: "
    "close\r\n\r\n";

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

// A connection over `Stream`, a TCP or TLS stream.
template <typename Stream>
class Session : public Connection, public std::enable_shared_from_this<Session<Stream>> {
 public:
  template <typename... Arguments>
  Session(ConnectionHost& owner, const tcp::endpoint& peer, Arguments&&... arguments)
      : host(owner),
        stream(std::forward<Arguments>(arguments)...),
        timer(stream.get_executor()),
        lifeTimer(stream.get_executor()),
        peerAddress(peer.address().to_string()) {}

  void Start() override {
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
    if (host.isStopping) return Close();
    head.emplace();
    body.reset();
    request = {};
    // The library reads as much at a time as the buffer holds already.
    buffer.reserve(kReadBytes);
    head->header_limit(static_cast<std::uint32_t>(host.settings.maxHeaderBytes));
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
    intake = host.service.Admit(request, notice);
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
    keepAlive = false;
    lingers = true;
    Socket().expires_after(kMessageTimeout);
    Write(AnswerBrokenMessage(error));
  }

  bool TakeHead() {
    const auto& message = head->get();
    request.method = std::string(message.method_string());
    for (const auto& field : message)
      request.headers[ToLower(field.name_string())] = std::string(field.value());
    request.address = host.settings.isBehindProxy ? AddressFromProxy(message) : std::string();
    if (request.address.empty()) request.address = peerAddress;
    request.baseUrl = host.settings.publicUrl;
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
    keepAlive = keepAlive && !host.isStopping;
    // The handler may take its time: silence is not held against the peer.
    Socket().expires_never();
    const bool isTaken = host.lanes.Run(intake.lane, [self = Self()] {
      auto response = std::make_shared<Response>(self->host.service.Handle(self->request));
      asio::dispatch(self->stream.get_executor(), [self, response] { self->Finish(std::move(*response)); });
    });
    if (!isTaken) Finish(AnswerOverload());
  }

  void Finish(Response response) {
    host.events.onBytes(received, static_cast<std::int64_t>(response.body.size()));
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
    host.Leave(Self());
  }

  ConnectionHost& host;
  Stream stream;
  asio::steady_timer timer;
  asio::steady_timer lifeTimer;
  const std::string peerAddress;
  beast::flat_buffer buffer;
  // Of the request under way; `head` turns into `body` when one is coming.
  std::optional<http::request_parser<http::empty_body>> head;
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

}  // namespace

std::shared_ptr<Connection> MakeConnection(ConnectionHost& host, tcp::socket socket,
                                           const std::shared_ptr<asio::ssl::context>& certificate) {
  beast::error_code ignored;
  const auto peer = socket.remote_endpoint(ignored);
  socket.set_option(tcp::no_delay(true), ignored);
  if (certificate) return std::make_shared<Session<TlsStream>>(host, peer, std::move(socket), certificate);
  return std::make_shared<Session<beast::tcp_stream>>(host, peer, std::move(socket));
}

}  // namespace photocloud
