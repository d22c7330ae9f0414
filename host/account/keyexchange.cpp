#include "host/account/keyexchange.h"

#include "host/account/accountkeys.h"
#include "host/account/wrappedkeys.h"
#include "host/base/logger.h"
#include "host/requests/curlppx.h"

namespace {

// Each try is lost to another device that stored its keys meanwhile, and after
// the first such device the keys are there; more are only for a service that
// contradicts itself.
constexpr int kTries = 3;
constexpr char kCompareFailed[] = "31084093";

KeyExchange::Result Fail(int line, const char* operation, const std::string& text,
                         KeyExchange::Result result) {
  Logger::CloudLogger::GetInstance()->Output("Host", Logger::Severity::Error, line,
                                             std::string("KeyExchange::") + operation, text);
  return result;
}

std::string TextOf(const NS::RawAnswer& answer) {
  if (answer.NetError()) return curlppx::CurlGlobal::GetErrStr(answer.curlCode);
  return "http code:" + std::to_string(answer.httpCode) + (answer.error ? " " + answer.error->Text() : "");
}

}  // namespace

KeyExchange::KeyExchange(Session openSession, const PasswordKeys::WrapKey& key)
    : session(std::move(openSession)), wrapKey(key) {}

NS::Answer<NS::Basic::KeysRecord> KeyExchange::Fetch() const {
  return NS::Request::Sync(NS::Basic::KeysReq::Get(session.server, session.accessToken));
}

KeyExchange::Stored KeyExchange::Store(const Json::Value& keys, std::int64_t ifRevision) const {
  const auto answer = NS::Request::Sync(NS::Basic::KeysReq::Put(
      session.server, session.accessToken, WrappedKeys::Seal(keys, session.userId, wrapKey), ifRevision));
  if (answer.payload) return Stored::Yes;
  if (answer.error && answer.error->Code() == kCompareFailed) return Stored::Conflict;
  (void)Fail(__LINE__, "Store", TextOf(answer), Result::Unreachable);
  return Stored::No;
}

KeyExchange::Result KeyExchange::Adopt(const Json::Value& record, Json::Value& account) const {
  const auto keys = WrappedKeys::Open(record, session.userId, wrapKey);
  if (!keys) return Fail(__LINE__, "Bring", "the keys of the account cannot be opened", Result::Unreadable);
  AccountKeys::Adopt(*keys, account);
  return Result::Done;
}

KeyExchange::Result KeyExchange::Bring(Json::Value& account) const {
  for (int attempt = 0; attempt < kTries; ++attempt) {
    const auto fetched = Fetch();
    if (!fetched.payload) return Fail(__LINE__, "Bring", TextOf(fetched), Result::Unreachable);
    if (fetched.payload->revision > 0) return Adopt(fetched.payload->keys, account);
    Json::Value own = account;
    if (!AccountKeys::MakeMissing(own) || !AccountKeys::AreWhole(own))
      return Fail(__LINE__, "Bring", "this device's keys are no keys", Result::Unreadable);
    const Stored stored = Store(own, 0);
    if (stored == Stored::No) return Result::Unreachable;
    if (stored == Stored::Yes) {
      account = std::move(own);
      return Result::Done;
    }
  }
  return Fail(__LINE__, "Bring", "the service neither has keys nor takes them", Result::Unreachable);
}

KeyExchange::Result KeyExchange::MayReplace(const Json::Value& keys, const Json::Value& own) const {
  const auto fetched = Fetch();
  if (!fetched.payload) return Fail(__LINE__, "MayReplace", TextOf(fetched), Result::Unreachable);
  // A record that does not open is what an export is kept for.
  const auto present = WrappedKeys::Open(fetched.payload->keys, session.userId, wrapKey);
  if (own == keys && (!present || *present == keys)) return Result::Done;
  auto query = NS::Basic::QuotaQuery::Get();
  query.baseUrl = session.server;
  query.open = true;
  query.accessToken = session.accessToken;
  const auto quota = NS::Request::Sync(query);
  if (!quota.payload) return Fail(__LINE__, "MayReplace", TextOf(quota), Result::Unreachable);
  if (quota.payload->usedSpace == 0) return Result::Done;
  return Fail(__LINE__, "MayReplace", "contents lie at the service under other keys", Result::InUse);
}

KeyExchange::Result KeyExchange::Replace(const Json::Value& keys) const {
  const auto fetched = Fetch();
  if (!fetched.payload) return Fail(__LINE__, "Replace", TextOf(fetched), Result::Unreachable);
  if (Store(keys, fetched.payload->revision) == Stored::Yes) return Result::Done;
  return Fail(__LINE__, "Replace", "the service did not take the keys", Result::Unreachable);
}
