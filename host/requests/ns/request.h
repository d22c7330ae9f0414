#pragma once

#include <json/value.h>

#include <functional>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace NS {

struct ErrorItem {
  std::string code;
  std::string reason;
  std::string subject;  // the field or id at fault
};

// {"error":{"status":409,"description":"...","errors":[{"code":"31084932",...}]}}
struct ErrorResp {
  int status = 0;
  std::string description;
  std::vector<ErrorItem> errors;

  // Nothing when the answer is no error record.
  static std::optional<ErrorResp> From(const Json::Value& answer);

  // Code and reason of the first item, or empty.
  std::string Code() const { return errors.empty() ? std::string() : errors.front().code; }
  std::string Reason() const { return errors.empty() ? description : errors.front().reason; }
  // Whether the first item's code ends so.
  bool EndsIn(std::string_view tail) const { return Code().ends_with(tail); }
  // For a log.
  std::string Text() const;
};

// One request, sent alone or as an item of a batch.
struct SingleRequest {
  std::string method = "GET";
  std::string uri;   // path and query
  Json::Value body;  // null: none
  std::string lockToken;
  std::string baseUrl;      // empty: the service of the logged-in user
  bool open = false;        // needs no session, and opens none when its token has ended
  std::string accessToken;  // of an open request that belongs to a session in the making
  // Makes its headers, anew for each sending; empty: the common ones, with the session.
  std::function<Json::Value()> makeHeaders = {};
};

// Whether the other side or the way to it was out, so that the same request may
// succeed later. What was refused, there or here, would be refused again.
bool IsOutage(int curlCode, long httpCode);

// What came back. Either no answer (NetError), or an error record, or a body.
struct RawAnswer {
  int curlCode = 0;
  long httpCode = 0;
  std::string url;   // without the query, for a log
  Json::Value json;  // null when the body is no JSON
  std::optional<ErrorResp> error;

  bool NetError() const { return curlCode != 0; }
  bool IsOutage() const { return NS::IsOutage(curlCode, httpCode); }
  bool HasPayload() const { return !NetError() && !error && httpCode / 100 == 2 && json.isObject(); }
};

// A request that knows what it is answered with.
template <typename Record>
struct Call : SingleRequest {
  using Return = Record;
};

template <typename Record>
struct Answer : RawAnswer {
  std::optional<Record> payload;  // set when HasPayload and the record could be read
};

// One item of a batch's answer.
struct SingleAnswer {
  int code = 0;
  Json::Value body;
  std::optional<ErrorResp> error;

  bool Ok() const { return code / 100 == 2; }
};

// The answer of a batch: {"responses":[{"code":200,"body":{}}]}.
class P2ReqBatchRet {
 public:
  // False unless there are `expected` answers.
  bool Read(const Json::Value& json, std::size_t expected);
  const std::vector<SingleAnswer>& GetBatchResponse() const { return answers; }

 private:
  std::vector<SingleAnswer> answers;
};

// Sends requests to the photo cloud. Safe from any thread; every call has a
// connection of its own. Nothing is logged here: the caller knows what it wanted.
//
// A session whose access token ends soon is renewed first; one that is answered
// with 401 all the same is renewed, and the request is sent once more. Nothing
// else is sent twice.
class Request {
 public:
  static RawAnswer Sync(const SingleRequest& request);
  template <typename Record>
  static Answer<Record> Sync(const Call<Record>& call) {
    Answer<Record> answer{Sync(static_cast<const SingleRequest&>(call)), std::nullopt};
    Record record;
    if (answer.HasPayload() && Read(answer.json, record)) answer.payload = std::move(record);
    return answer;
  }
  template <typename Record>
  static std::future<Answer<Record>> Future(const Call<Record>& call) {
    return std::async(std::launch::async, [call] { return Sync(call); });
  }

  // All items in one request, answered in the same order: {"requests":[{"method":
  // "POST","uri":"/...","headers":{"x-zt-lock":["..."]},"body":{}}]}.
  static Answer<P2ReqBatchRet> Batch(const std::vector<SingleRequest>& items);

  // The return code of one item of a batch's answer, 0 without one.
  static int GetRetCode(const Json::Value& item);

  // Address of the service, without a "/" at its end; empty while none is set.
  static std::string BaseUrl();
};

}  // namespace NS
