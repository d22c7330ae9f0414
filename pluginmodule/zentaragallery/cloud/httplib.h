#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <string>

#include "cloud/httpheaders.h"
#include "cloud/paramsconstructinterface.h"
#include "cloud/uploadfilecommandparams.h"
#include "common/platform/mutex.h"
#include "host/requests/curlppx.h"

// Sends requests that a caller has put together himself: contents, thumbnails and
// addresses for playing. One object for a task; a transfer runs on its caller's
// thread, and Stop may come from any other.
//
// A transfer has up to three attempts, one directly after the other. Nothing here
// reacts to an ended token: the body says so, and the caller reads it.
class HttpLib {
 public:
  // Takes the share of the answer that has come in, in per cent.
  using ProgressCallback = std::function<void(double percent)>;

  HttpLib() = default;
  HttpLib(const HttpLib&) = delete;
  HttpLib& operator=(const HttpLib&) = delete;

  // Sends what `params` describes. Result and `response` as of Request.
  bool RequestInterface(ParamsConstructInterface& params, std::string& response);

  // One request; 200 and 204 end its attempts. True for any answer of 200 and
  // above, an error's included: `response` is the last attempt's body. False,
  // logged, when nothing was sent (no URL or headers, an unknown method, a method
  // with a body without one, a URL that may not be used) and when no answer came.
  // Stop ends it.
  bool Request(const HttpHeaders& headers, const std::string& body, std::int32_t method,
               const std::string& url, std::string& response);
  // Whether the last request was answered with 200 or 204.
  bool HasGoodAnswer() const { return hasGoodAnswer; }
  // What ended the last request or upload; nothing that was sent reads as success.
  const curlppx::TransferResult& LastResult() const { return lastResult; }

  // PUTs one slice to `url`: of `params.body` on V2, of the file itself from
  // `fileOffset` on V1. A URL that holds "init" sends no bytes. True for an answer
  // of 200 or 201; else false, logged. The source is not rewound between attempts.
  // Ends early when Stop is called and when the file goes away.
  bool UploadFile(UploadFileCommandParams& params, const std::string& url, const HttpHeaders& headers,
                  std::string& response);

  // Ends the transfer that runs, or the next one at its start.
  void Stop();
  // Makes ready for the next transfer: waits until a stopped one has ended and
  // takes the stop back.
  void Reset();
  bool IsStopped() const { return stopFlag; }

  // Before a transfer starts. During an upload it tells 0 until the answer comes.
  void SetProgressCallback(ProgressCallback callback) { onProgress = std::move(callback); }

 private:
  class Running;
  bool OnProgress(double total, double done) const;

  std::atomic<bool> stopFlag{false};
  bool hasGoodAnswer = false;
  curlppx::TransferResult lastResult;
  ProgressCallback onProgress;
  std::wstring sourcePath;  // canonical path of the file that is sent

  platform::Mutex stopLock;
  std::condition_variable_any ended;
  int running GUARDED_BY(stopLock) = 0;
};
