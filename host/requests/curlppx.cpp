#include "host/requests/curlppx.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <json/value.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <array>
#include <cstdio>
#include <mutex>

#include "common/platform/mutex.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"
#include "host/base/logger.h"
#include "host/requests/cloudtrouble.h"

namespace curlppx {
namespace {

// At least TLS 1.2 and the highest that both sides know.
constexpr long kTlsVersions = long{CURL_SSLVERSION_TLSv1_2} | long{CURL_SSLVERSION_MAX_DEFAULT};
static_assert(kTlsVersions == 0x10006);
// Servers that do not know "Expect: 100-continue" never answer it; the body then
// goes out at once.
constexpr long kExpectTimeoutMs = 1;
// Contents are megabytes; the library's own buffer takes a call for every 16 KiB.
constexpr long kBufferBytes = 256 << 10;
// As many as transfers run side by side.
constexpr std::size_t kIdleHandles = 32;

void LogError(int line, const std::string& text) {
  Logger::CloudLogger::GetInstance()->Output("Host", Logger::Severity::Error, line, "CurlConn::SetUrl", text);
}

using UrlHandle = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

UrlHandle ParseUrl(const std::string& url) {
  UrlHandle handle(curl_url(), curl_url_cleanup);
  if (handle && curl_url_set(handle.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) handle.reset();
  return handle;
}

std::string Part(const UrlHandle& handle, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(handle.get(), part, &text, 0) != CURLUE_OK) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return text;
}

bool IsLoopback(const std::string& host) {
  if (host == "localhost" || host == "[::1]") return true;
  in_addr address{};
  return ::inet_pton(AF_INET, host.c_str(), &address) == 1 && (ntohl(address.s_addr) >> 24) == 127;
}

// Read at each use, so that a file named while the client runs counts at once.
std::string CaFile() {
  Json::Value settings;
  if (JsonFile::Load(JsonFile::Folder() / "settings.json", settings) != JsonFile::LoadResult::Loaded)
    return {};
  const Json::Value& file = settings["cloudCaFile"];
  return file.isString() ? file.asString() : std::string();
}

// SHA-256 of a certificate in the library's words, as browsers show it: "AB:CD:...".
std::string FingerprintOf(const curl_slist* words) {
  constexpr std::string_view kCertificate = "Cert:";
  for (; words && !std::string_view(words->data).starts_with(kCertificate);) words = words->next;
  if (!words) return {};
  const std::string_view text = std::string_view(words->data).substr(kCertificate.size());
  const std::unique_ptr<BIO, decltype(&BIO_free)> source(
      BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), &BIO_free);
  const std::unique_ptr<X509, decltype(&X509_free)> certificate(
      source ? PEM_read_bio_X509(source.get(), nullptr, nullptr, nullptr) : nullptr, &X509_free);
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  if (!certificate || X509_digest(certificate.get(), EVP_sha256(), digest.data(), &length) != 1) return {};
  std::string fingerprint;
  for (unsigned int i = 0; i < length; ++i) {
    std::array<char, 4> byte{};
    std::snprintf(byte.data(), byte.size(), "%02X:", digest[i]);
    fingerprint += byte.data();
  }
  fingerprint.pop_back();
  return fingerprint;
}

}  // namespace

void CurlGlobal::Init() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

std::string CurlGlobal::GetErrStr(int curlCode) {
  return curl_easy_strerror(static_cast<CURLcode>(curlCode));
}

std::string TextOf(const TransferResult& result) {
  if (result.curlCode != kCurlOk) return CurlGlobal::GetErrStr(result.curlCode);
  return result.httpCode == 0 ? "nothing was sent" : "HTTP " + std::to_string(result.httpCode);
}

std::string CurlUrl::Escape(std::string_view text) {
  if (text.empty()) return {};  // The library would take a length of 0 for "find it out".
  const std::unique_ptr<char, decltype(&curl_free)> escaped(
      curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())), curl_free);
  return escaped ? std::string(escaped.get()) : std::string();
}

std::string CurlUrl::BuildQuery(const Query& query) {
  std::string text;
  for (const auto& [name, value] : query) {
    if (!text.empty()) text += '&';
    text.append(name).append(1, '=').append(Escape(value));
  }
  return text;
}

bool CurlUrl::IsAllowed(const std::string& url) {
  const UrlHandle handle = ParseUrl(url);
  if (!handle) return false;
  const std::string scheme = Part(handle, CURLUPART_SCHEME);
  return scheme == "https" || (scheme == "http" && IsLoopback(Part(handle, CURLUPART_HOST)));
}

std::string CurlUrl::Place(const std::string& url) {
  const UrlHandle handle = ParseUrl(url);
  if (!handle) return {};
  const std::string port = Part(handle, CURLUPART_PORT);
  std::string place = Part(handle, CURLUPART_SCHEME);
  place.append("://").append(Part(handle, CURLUPART_HOST));
  return port.empty() ? place : place.append(":").append(port);
}

namespace {

// Handles that rest, with their open connections.
class IdleHandles {
 public:
  static IdleHandles& GetInstance() {
    static IdleHandles* const instance = new IdleHandles;  // lives until the process ends
    return *instance;
  }
  CURL* Take() {
    const platform::MutexLock hold(lock);
    if (handles.empty()) return curl_easy_init();
    CURL* const handle = handles.back();
    handles.pop_back();
    return handle;
  }
  void Give(CURL* handle) {
    curl_easy_reset(handle);
    {
      const platform::MutexLock hold(lock);
      if (handles.size() < kIdleHandles) return handles.push_back(handle);
    }
    curl_easy_cleanup(handle);
  }

 private:
  platform::Mutex lock;
  std::vector<CURL*> handles GUARDED_BY(lock);
};

}  // namespace

struct CurlConn::State {
  using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
  using List = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

  template <typename Value>
  void Set(CURLoption option, Value value) {
    if (easy) curl_easy_setopt(easy.get(), option, value);
  }

  // C callbacks; an exception may not pass through the library.
  static std::size_t OnWrite(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t OnIgnore(char*, std::size_t size, std::size_t count, void*) { return size * count; }
  static std::size_t OnRead(char* buffer, std::size_t size, std::size_t count, void* self);
  static int OnSeek(void* self, curl_off_t offset, int origin);
  static int OnProgress(void* self, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal, curl_off_t up);

  void SetLimits();
  void SetVerification();

  Easy easy{nullptr, curl_easy_cleanup};
  List headers{nullptr, curl_slist_free_all};
  Writer writer;
  Reader reader;
  Rewind rewind;
  Progress progress;
  bool isKept = false;
  std::uint64_t uploadBytes = 0;
  std::uint64_t uploadLeft = 0;  // of the present attempt
};

std::size_t CurlConn::State::OnWrite(char* data, std::size_t size, std::size_t count, void* self) {
  const Writer& writer = static_cast<State*>(self)->writer;
  try {
    return !writer || writer({data, size * count}) ? size * count : 0;
  } catch (const std::exception&) {
    return 0;
  }
}

std::size_t CurlConn::State::OnRead(char* buffer, std::size_t size, std::size_t count, void* self) {
  auto& state = *static_cast<State*>(self);
  const auto wanted = std::min<std::uint64_t>(size * count, state.uploadLeft);
  if (wanted == 0) return 0;
  try {
    const std::size_t given = state.reader(buffer, wanted);
    state.uploadLeft -= std::min<std::uint64_t>(given, state.uploadLeft);
    // The other side waits for what was announced, until it loses its patience.
    return given == 0 ? CURL_READFUNC_ABORT : given;
  } catch (const std::exception&) {
    return CURL_READFUNC_ABORT;
  }
}

int CurlConn::State::OnSeek(void* self, curl_off_t offset, int origin) {
  auto& state = *static_cast<State*>(self);
  if (offset != 0 || origin != SEEK_SET) return CURL_SEEKFUNC_CANTSEEK;
  state.uploadLeft = state.uploadBytes;
  try {
    return state.rewind() ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
  } catch (const std::exception&) {
    return CURL_SEEKFUNC_FAIL;
  }
}

int CurlConn::State::OnProgress(void* self, curl_off_t downTotal, curl_off_t down, curl_off_t upTotal,
                                curl_off_t up) {
  const Counters counters{static_cast<double>(downTotal), static_cast<double>(down),
                          static_cast<double>(upTotal), static_cast<double>(up)};
  try {
    return static_cast<State*>(self)->progress(counters) ? 0 : 1;
  } catch (const std::exception&) {
    return 1;
  }
}

void CurlConn::State::SetLimits() {
  auto* parameters = GlobalParamWrapper::GetInstance();
  Set(CURLOPT_CONNECTTIMEOUT_MS, parameters->GetTimeoutConnect());
  Set(CURLOPT_LOW_SPEED_LIMIT, parameters->GetLimitLowSpeed());
  Set(CURLOPT_LOW_SPEED_TIME, parameters->GetTimeoutLowSpeed());
  Set(CURLOPT_EXPECT_100_TIMEOUT_MS, kExpectTimeoutMs);
  Set(CURLOPT_BUFFERSIZE, kBufferBytes);
  Set(CURLOPT_UPLOAD_BUFFERSIZE, kBufferBytes);
}

void CurlConn::State::SetVerification() {
  Set(CURLOPT_SSL_VERIFYPEER, 1L);
  Set(CURLOPT_SSL_VERIFYHOST, 2L);
  Set(CURLOPT_SSLVERSION, kTlsVersions);
  if (GlobalParamWrapper::GetInstance()->GetIsUseLocalCertificate()) {
    Set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
  }
  // A file that its owner has named counts always: the flag is raised by any
  // certificate that does not verify, and would lock him out for good.
  const std::string file = CaFile();
  if (file.empty()) return;
  Set(CURLOPT_SSLCERTTYPE, "PEM");
  Set(CURLOPT_CAINFO, file.c_str());
}

std::string CurlUrl::Fingerprint(const std::string& url) {
  CurlGlobal::Init();
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(), curl_easy_cleanup);
  if (!easy) return {};
  // Nothing is sent over this connection: whom it leads to is just being found out.
  curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_CONNECT_ONLY, 1L);
  curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(easy.get(), CURLOPT_CERTINFO, 1L);
  curl_easy_setopt(easy.get(), CURLOPT_TIMEOUT_MS, GlobalParamWrapper::GetInstance()->GetTimeoutConnect());
  curl_certinfo* chain = nullptr;
  if (curl_easy_perform(easy.get()) != CURLE_OK) return {};
  if (curl_easy_getinfo(easy.get(), CURLINFO_CERTINFO, &chain) != CURLE_OK || !chain ||
      chain->num_of_certs < 1)
    return {};
  return FingerprintOf(chain->certinfo[0]);
}

CurlConn::CurlConn(Connection connection) : state(new State) {
  CurlGlobal::Init();
  state->isKept = connection == Connection::Kept;
  state->easy.reset(state->isKept ? IdleHandles::GetInstance().Take() : curl_easy_init());
  state->Set(CURLOPT_NOSIGNAL, 1L);
  // An empty text also keeps proxies of the environment out.
  state->Set(CURLOPT_PROXY, "");
  state->Set(CURLOPT_PROTOCOLS_STR, "http,https");
  state->Set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BEARER));
  state->Set(CURLOPT_WRITEFUNCTION, &State::OnWrite);
  state->Set(CURLOPT_WRITEDATA, state.get());
  state->Set(CURLOPT_HEADERFUNCTION, &State::OnIgnore);
  state->SetLimits();
  state->SetVerification();
}

CurlConn::~CurlConn() {
  if (state->isKept && state->easy) IdleHandles::GetInstance().Give(state->easy.release());
}

bool CurlConn::IsReady() const { return state->easy != nullptr; }

bool CurlConn::SetUrl(const std::string& url) {
  if (!CurlUrl::IsAllowed(url)) {
    LogError(__LINE__, std::string("refused: only https, or http to this computer itself, is allowed: ")
                           .append(CurlUrl::Place(url)));
    return false;
  }
  state->Set(CURLOPT_URL, url.c_str());
  return true;
}

void CurlConn::SetHeaders(const std::vector<std::string>& lines) {
  state->headers.reset();
  for (const std::string& line : lines) {
    curl_slist* longer = curl_slist_append(state->headers.get(), line.c_str());
    if (!longer) break;
    (void)state->headers.release();  // It is the first element of `longer`.
    state->headers.reset(longer);
  }
  state->Set(CURLOPT_HTTPHEADER, state->headers.get());
}

void CurlConn::SetMethod(Method method, const std::string& body) {
  if (method == Method::Get) return state->Set(CURLOPT_HTTPGET, 1L);
  if (method == Method::Delete) return state->Set(CURLOPT_CUSTOMREQUEST, "DELETE");
  state->Set(CURLOPT_POST, 1L);
  state->Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  state->Set(CURLOPT_POSTFIELDS, body.c_str());
  if (method == Method::Patch) state->Set(CURLOPT_CUSTOMREQUEST, "PATCH");
  // Not the library's own PUT: that one reads from a callback and leaves the
  // body aside.
  if (method == Method::Put) state->Set(CURLOPT_CUSTOMREQUEST, "PUT");
}

void CurlConn::SetUpload(std::int64_t bytes, Reader reader, Rewind rewind) {
  state->reader = std::move(reader);
  state->rewind = std::move(rewind);
  state->uploadBytes = static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0));
  state->Set(CURLOPT_UPLOAD, 1L);
  state->Set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(bytes));
  state->Set(CURLOPT_READFUNCTION, &State::OnRead);
  state->Set(CURLOPT_READDATA, state.get());
  state->Set(CURLOPT_SEEKFUNCTION, &State::OnSeek);
  state->Set(CURLOPT_SEEKDATA, state.get());
}

void CurlConn::SetWriter(Writer writer) { state->writer = std::move(writer); }

void CurlConn::SetProgress(Progress progress) {
  state->progress = std::move(progress);
  state->Set(CURLOPT_NOPROGRESS, state->progress ? 0L : 1L);
  state->Set(CURLOPT_XFERINFOFUNCTION, &State::OnProgress);
  state->Set(CURLOPT_XFERINFODATA, state.get());
}

void CurlConn::SetNoLowestSpeed() { state->Set(CURLOPT_LOW_SPEED_LIMIT, 0L); }

TransferResult CurlConn::Perform() {
  if (!IsReady()) return {kCurlOutOfMemory, 0};
  TransferResult result;
  state->uploadLeft = state->uploadBytes;
  result.curlCode = curl_easy_perform(state->easy.get());
  result.httpCode = HttpCode();
  CloudTrouble::Note(result.curlCode, result.httpCode);
  if (result.curlCode == kCurlPeerCertificate) {
    GlobalParamWrapper::GetInstance()->SetIsUseLocalCertificate(true);
  }
  return result;
}

long CurlConn::HttpCode() const {
  long code = 0;
  curl_easy_getinfo(state->easy.get(), CURLINFO_RESPONSE_CODE, &code);
  return code;
}

}  // namespace curlppx
