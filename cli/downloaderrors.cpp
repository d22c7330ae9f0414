#include "downloaderrors.h"

#include "common/platform/files.h"
#include "common/platform/mutex.h"
#include "common/platform/paths.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"
#include "host/base/jsontext.h"
#include "host/base/logger.h"
#include "store/dbhelper.h"

namespace {

std::filesystem::path File() {
  return platform::NativePath(GlobalParamWrapper::GetInstance()->GetUserDataBaseFolder()) /
         "downloaderrors.json";
}

// Content that came, and was not what was announced, could not be read either.
TransferErrorInterface::ErrCode ToldCode(const TransferErrorInterface::Error& error) {
  const bool isOut = error.outage == TransferErrorInterface::Outage::Yes;
  return error.code == TransferErrorInterface::kService && !isOut ? TransferErrorInterface::kNoUrl
                                                                  : error.code;
}

}  // namespace

Json::Value DownloadErrors::Of(const TransferTask& task) {
  const auto error = task.LastErr();
  Json::Value json(Json::objectValue);
  json["error"] = error.code;
  json["step"] = error.step;
  json["text"] = TransferErrorInterface::Describe(ToldCode(error));
  json["cause"] = error.cause;
  return json;
}

std::string DownloadErrors::Text(const Json::Value& error) {
  // The engine's own words say more than these only where these say nothing.
  const bool isGeneral = JsonText::Number(error, "error") == TransferErrorInterface::kGeneral;
  const std::string cause = isGeneral ? JsonText::Text(error, "cause") : std::string();
  return JsonText::Text(error, "text") + (cause.empty() ? "" : " (" + cause + ")");
}

Json::Value DownloadErrors::Load() {
  Json::Value errors;
  const bool loaded = JsonFile::Load(File(), errors) == JsonFile::LoadResult::Loaded;
  return loaded && errors.isObject() ? errors : Json::Value(Json::objectValue);
}

void DownloadErrors::Keep(const std::vector<TransferTask::Ptr>& failed) {
  static platform::Mutex keeping;  // Two commands end at once.
  const platform::MutexLock hold(keeping);
  const Json::Value before = Load();
  Json::Value known = before;
  for (const auto& task : failed) known[task->GetTransferId()] = Of(*task);
  Json::Value errors(Json::objectValue);
  std::vector<DownloadTaskProperty> rows;
  if (!DBHelper::GetInstance().GetDownloads(rows)) return;
  for (const auto& row : rows) {
    if (known.isMember(row.UniqueId)) errors[row.UniqueId] = known[row.UniqueId];
  }
  if (errors == before) return;
  const auto error = platform::ReplaceAtomically(File(), JsonFile::Text(errors));
  if (!error) return;
  Logger::CloudLogger::GetInstance()->Output("Transfer", Logger::Severity::Warning, __LINE__,
                                             "DownloadErrors::Keep", error.message());
}
