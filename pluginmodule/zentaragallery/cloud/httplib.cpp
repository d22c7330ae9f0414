#include "cloud/httplib.h"

#include <cstdio>
#include <filesystem>
#include <memory>

#include "cloud/galleryver.h"
#include "cloud/logbody.h"
#include "common/platform/filestream.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/globalparamwrapper.h"
#include "host/requests/curlppx.h"
#include "host/transfer/speedlimit.h"
#include "utils/gallerylog.h"

namespace {

using curlppx::CurlConn;
namespace fs = std::filesystem;

constexpr int kAttempts = 3;
constexpr std::size_t kLongestAnswer = 256 << 20;

std::vector<std::string> HeaderLines(const HttpHeaders& headers) {
  std::vector<std::string> lines;
  // Without a value the library would take "name:" for an order to leave it out.
  for (const auto& [name, value] : headers)
    lines.emplace_back(name).append(value.empty() ? ";" : ":").append(value);
  lines.push_back("x-zt-client-mode:" +
                  platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetZtClientMode()));
  lines.push_back("x-zt-os-brand:Windows");
  return lines;
}

// Values hold tokens, so a log gets the names.
std::string HeaderNames(const HttpHeaders& headers) {
  std::string names;
  for (const auto& [name, value] : headers) names.append(names.empty() ? "" : ",").append(name);
  return names;
}

bool HasBody(std::int32_t method) { return method != kHttpGet && method != kHttpDelete; }

CurlConn::Writer AppendTo(std::string& response) {
  return [&response](std::string_view piece) {
    response.append(piece);
    return response.size() <= kLongestAnswer;
  };
}

// Without its query, which may be a signature.
std::string LogUrl(const std::string& url) { return url.substr(0, url.find('?')); }

CurlConn::Reader BodyReader(UploadFileCommandParams& params) {
  return [&params](char* buffer, std::size_t size) {
    const auto end =
        std::min<std::int64_t>(params.sliceLength, static_cast<std::int64_t>(params.body.size()));
    const auto rest = static_cast<std::size_t>(std::max<std::int64_t>(end - params.readPosition, 0));
    const std::size_t count = std::min(size, rest);
    params.body.copy(buffer, count, static_cast<std::size_t>(params.readPosition));
    params.readPosition += static_cast<std::int64_t>(count);
    return count;
  };
}

CurlConn::Reader FileReader(std::FILE* file) {
  return [file](char* buffer, std::size_t size) { return std::fread(buffer, 1, size, file); };
}

// In pieces that wait for the limit of all uploads; `goesOn` ends the wait.
CurlConn::Reader Limited(CurlConn::Reader reader, std::function<bool()> goesOn) {
  return [reader = std::move(reader), goesOn = std::move(goesOn)](char* buffer, std::size_t size) {
    const std::size_t read = reader(buffer, std::min(size, SpeedLimit::kPieceBytes));
    return SpeedLimit::Uploads().Take(read, goesOn) ? read : 0;
  };
}

// Where the next byte of an upload comes from: its file, or its buffer.
std::int64_t Position(std::FILE* file, const UploadFileCommandParams& params) {
  return file ? platform::Position(file) : params.readPosition;
}

bool Seek(std::FILE* file, UploadFileCommandParams& params, std::int64_t position) {
  if (file) return platform::Seek(file, position);
  params.readPosition = position;
  return true;
}

bool IsUploaded(long httpCode) { return httpCode == 200 || httpCode == 201; }

}  // namespace

// Tells Reset that a transfer of this object is under way.
class HttpLib::Running {
 public:
  explicit Running(HttpLib& owner) : http(owner) {
    platform::MutexLock hold(http.stopLock);
    ++http.running;
  }
  ~Running() {
    {
      platform::MutexLock hold(http.stopLock);
      --http.running;
    }
    http.ended.notify_all();
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  HttpLib& http;
};

bool HttpLib::RequestInterface(ParamsConstructInterface& params, std::string& response) {
  HttpHeaders headers;
  std::string body, url;
  std::int32_t method = kHttpNone;
  // A description that failed has left them empty, which Request refuses.
  if (params.paramsKind == ParamsConstructInterface::kParamsV2) {
    (void)params.ParamsProcessV2(headers, body, method, url);
  } else {
    (void)params.ParamsProcess(headers, body, method, url);
  }
  const bool answered = Request(headers, body, method, url, response);
  if (!answered) LogError("HttpLib::RequestInterface", "request fail!");
  return answered;
}

bool HttpLib::Request(const HttpHeaders& headers, const std::string& body, std::int32_t method,
                      const std::string& url, std::string& response) {
  hasGoodAnswer = false;
  lastResult = {};
  if ((body.empty() && HasBody(method)) || url.empty() || headers.empty()) {
    LogError("HttpLib::Request", "param error!");
    return false;
  }
  if (method < kHttpGet || method > kHttpPut) return false;
  CurlConn connection(CurlConn::Connection::Kept);
  if (!connection.IsReady() || !connection.SetUrl(url)) return false;
  connection.SetHeaders(HeaderLines(headers));
  connection.SetMethod(static_cast<CurlConn::Method>(method), body);
  connection.SetWriter(AppendTo(response));
  connection.SetProgress([this](const CurlConn::Counters&) { return !stopFlag; });
  curlppx::TransferResult& result = lastResult;
  for (int attempt = 0; attempt < kAttempts && !stopFlag; ++attempt) {
    response.clear();
    result = connection.Perform();
    hasGoodAnswer = result.httpCode == 200 || result.httpCode == 204;
    if (hasGoodAnswer) break;
    LogError("HttpLib::Request", "curlCode:" + std::to_string(result.curlCode) + " resCode:" +
                                     std::to_string(result.httpCode) + " response:" + LogBody(response));
  }
  GalleryLog(Logger::Severity::Debug, "HttpLib::Request", [&] {
    return "request\nbody : " + LogBody(body) + "\nresult : " + LogBody(response) +
           "\nGHttpRequestMethod: " + std::to_string(method);
  });
  if (result.httpCode >= 200) return true;
  LogError("HttpLib::Request", "request fail, code:" + std::to_string(result.httpCode));
  return false;
}

bool HttpLib::UploadFile(UploadFileCommandParams& params, const std::string& url, const HttpHeaders& headers,
                         std::string& response) {
  constexpr char kTag[] = "HttpLib::UploadFile";
  const Running underWay(*this);
  lastResult = {};
  const GalleryVer version = GetGalleryVer();
  if (!params.file || params.file->LocalPath().empty()) {
    LogError(kTag, "the upload names no file");
    return false;
  }
  if (version != GalleryVer::V2) LogInfo(kTag, [&] { return "start upload file:" + params.file->Guid(); });
  HttpHeaders sent = headers;
  const bool isInit = url.find("init") != std::string::npos;
  if (isInit) sent["Content-Length"] = "0";
  LogInfo(kTag, [&] { return "Upload file url:" + LogUrl(url) + " headers:" + HeaderNames(sent); });
  CurlConn connection(CurlConn::Connection::Kept);
  if (!connection.IsReady() || !connection.SetUrl(url)) return false;
  connection.SetHeaders(HeaderLines(sent));
  connection.SetWriter(AppendTo(response));
  sourcePath = platform::WidePath(platform::NativePath(params.file->LocalPath()).lexically_normal());
  if (sourcePath.empty() || version == GalleryVer::Unknown) return false;
  platform::FileStream file(nullptr, std::fclose);
  if (version == GalleryVer::V1) {
    file = platform::OpenAt(platform::NativePath(sourcePath), params.fileOffset);
    if (!file) {
      LogError(kTag, "open file fail!");
      return false;
    }
  }
  std::int64_t begin = 0;  // of an attempt
  connection.SetUpload(
      isInit ? 0 : params.sliceLength,
      Limited(file ? FileReader(file.get()) : BodyReader(params), [this] { return !stopFlag; }),
      [&] { return Seek(file.get(), params, begin); });
  connection.SetProgress([this](const CurlConn::Counters& counters) {
    return OnProgress(counters.downloadTotal, counters.downloaded);
  });
  long httpCode = 0;
  for (int attempt = 0; attempt < kAttempts && !IsUploaded(httpCode); ++attempt) {
    response.clear();
    begin = Position(file.get(), params);
    const curlppx::TransferResult result = connection.Perform();
    httpCode = result.httpCode;
    // A later attempt that finds its source at the end says nothing of the service.
    if (attempt == 0 || result.curlCode != curlppx::kCurlAborted) lastResult = result;
    if (stopFlag.exchange(false)) break;
  }
  if (IsUploaded(httpCode)) return true;
  LogError(kTag, "request fail, code:" + std::to_string(httpCode) + "\n response:" + LogBody(response));
  return false;
}

bool HttpLib::OnProgress(double total, double done) const {
  // The answer's share on purpose: uploads count their slices themselves.
  const double percent = total != 0 ? static_cast<double>(static_cast<float>(done * 100.0 / total)) : 0;
  if (onProgress) onProgress(percent);
  if (stopFlag) return false;
  std::error_code error;
  const fs::file_status status = fs::status(platform::NativePath(sourcePath), error);
  return fs::exists(status) && status.type() != fs::file_type::unknown;
}

void HttpLib::Stop() {
  platform::MutexLock hold(stopLock);
  stopFlag = true;
}

void HttpLib::Reset() {
  platform::MutexLock hold(stopLock);
  while (running != 0 && stopFlag) ended.wait(stopLock);
  stopFlag = false;
}
