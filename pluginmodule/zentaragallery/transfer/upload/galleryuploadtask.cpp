#include "transfer/upload/galleryuploadtask.h"

#include <chrono>
#include <filesystem>

#include "cloud/galleryver.h"
#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsontext.h"
#include "host/base/logger.h"
#include "host/requests/ns/request.h"
#include "host/transfer/completetask.h"
#include "host/transfer/galleryshowtask.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "transfer/contentcrypto.h"
#include "transfer/gallerytransmanager.h"
#include "transfer/import/localfilecheck.h"
#include "transfer/upload/contentcuts.h"
#include "transfer/upload/uploadrecord.h"
#include "utils/gallerylog.h"
#include "utils/methodfunction.h"
#include "utils/streamdigest.h"

namespace fs = std::filesystem;

namespace {

using JsonText::Text;

constexpr int kRunReport = 16018;
constexpr std::int32_t kContentThere = 1;
constexpr std::int32_t kContentWaits = 1;
constexpr std::int32_t kMetadataChanged = 2;

std::int64_t SizeOf(const std::wstring& path) {
  std::error_code error;
  const auto size = fs::file_size(platform::NativePath(path), error);
  return error ? -1 : static_cast<std::int64_t>(size);
}

template <std::size_t N>
bool IsSet(const unsigned char (&key)[N]) {
  return std::any_of(std::begin(key), std::end(key), [](unsigned char byte) { return byte != 0; });
}

}  // namespace

// What the publishing request tells of a file and its user may change meanwhile.
struct GalleryUploadTask::Marks {
  explicit Marks(const GalleryFile& file)
      : name(file.FileName()), album(file.AlbumId()), isFavorite(file.IsFavorite), isInBin(file.IsInBin()) {}
  bool operator==(const Marks&) const = default;

  std::wstring name;
  std::string album;
  bool isFavorite = false;
  bool isInBin = false;
};

GalleryUploadTask::GalleryUploadTask(const GalleryFile::Ptr& uploaded, const Album::Ptr& target)
    : TransferTask(TaskType::Upload),
      file(uploaded),
      album(target),
      localPath(uploaded->LocalPath()),
      transferId(uploaded->UniqueId()),
      fileSize(SizeOf(localPath)) {}

bool GalleryUploadTask::LoadFromDB() {
  LogInfo("GalleryUploadTask::LoadFromDB", "Load UploadTask From DB");
  return true;
}

bool GalleryUploadTask::AddToDB() {
  constexpr char kStep[] = "GalleryUploadTask::AddToDB";
  const std::int64_t size = SizeOf(localPath);
  if (size < 0 && !SourceIsGone()) return Fail(kGeneral, kStep, __LINE__, "the source cannot be looked at");
  if (size < 0) {
    const bool away = platform::IsFolderAway(platform::NativePath(localPath));
    ForgetFile();
    return Fail(kSourceGone, kStep, __LINE__, away ? "its folder is away" : "");
  }
  if (fileSize < 0) fileSize = size;  // It could not be looked at before.
  if (size != fileSize) {
    ForgetFile();
    return Fail(kSourceChanged, kStep, __LINE__);
  }
  return true;
}

void GalleryUploadTask::StopTask(TaskStatus status, std::int32_t errorCode) {
  if (HasEnded()) return;
  TransferTask::StopTask(status, errorCode);
  httpLib.Stop();
}

std::shared_ptr<CompleteTask> GalleryUploadTask::GetCompleteTask() { return nullptr; }

std::shared_ptr<GalleryShowTask> GalleryUploadTask::GetCompleteShowTask(
    const std::shared_ptr<CompleteTask>&) {
  auto shown = std::make_shared<GalleryShowTask>(nullptr);
  shown->SetFileName(GetFileName());
  shown->SetUniqueId(file->UniqueId());
  shown->SetFileId(file->FileId());
  shown->SetTotalLength(fileSize);
  shown->SetLocalPath(localPath);
  shown->SetTaskType(static_cast<std::int64_t>(TaskType::Upload));
  return shown;
}

bool GalleryUploadTask::GetThumbnailPath(std::wstring& path) {
  path = file->ThumbnailPath();
  return !path.empty();
}

bool GalleryUploadTask::StartTask() {
  const auto begin = std::chrono::steady_clock::now();
  const bool done = StartRun();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  Logger::CloudLogger::GetInstance()->ReportLog(
      kRunReport, GetResultReportInfo(file->UniqueId(), platform::WideToUtf8(file->FileName()),
                                      elapsed.count(), LastErr().code));
  return done;
}

bool GalleryUploadTask::StartRun() {
  constexpr char kStep[] = "GalleryUploadTask::StartRun";
  if (!TransferTask::StartTask()) return false;
  // A cache can be cleared while the program runs.
  (void)file->TestThumbnailOnDisk();
  (void)file->TestLcdOnDisk();
  if (!file->MakeThumbnail() || !file->MakeLcd()) {
    Fail(kGeneral, kStep, __LINE__, "the file has no thumbnails");
    OnStop();
    return false;
  }
  if (Status() != TaskStatus::Running || !CheckMK()) {
    OnStop();
    return false;
  }
  platform::MutexLock hold(runLock);
  httpLib.Reset();
  // A stop that came before the reset would be lost.
  const bool done = MayGoOn() && RunByVersion();
  source = UploadSource();  // A task that has ended stays listed; its thumbnails need not.
  if (done && OnComplete()) return true;
  httpLib.Reset();
  OnStop();
  return false;
}

bool GalleryUploadTask::RunByVersion() {
  switch (GetGalleryVer()) {
    case GalleryVer::V2:
      return UploadV2();
    case GalleryVer::V1:
      return Fail(kVersionUnknown, "GalleryUploadTask::UploadV1", __LINE__,
                  "the first generation is not served");
    default:
      return Fail(kVersionUnknown, "GalleryUploadTask::StartRun", __LINE__);
  }
}

bool GalleryUploadTask::CheckMK() {
  auto* parameters = GlobalParamWrapper::GetInstance();
  const auto areSet = [parameters] {
    return !parameters->GetHMAC_MK1().empty() && !parameters->GetHMAC_MK2().empty();
  };
  if (areSet()) return true;
  UserAuthService::GetInstance()->InitMk1AndMk2();
  if (areSet()) return true;
  return Fail(kGeneral, "GalleryUploadTask::CheckMK", __LINE__, "mk1 or mk2 is empty");
}

bool GalleryUploadTask::CheckUserKeyNoEmpty() {
  const st_UserInfo user = GlobalParamWrapper::GetInstance()->GetUserInfo();
  return user.userKeyId1[0] != 0 && user.userKeyId3[0] != 0 && IsSet(user.userKey1) && IsSet(user.userKey3);
}

std::string GalleryUploadTask::CalContentHmac(const std::string& masterKey, std::string_view bytes) {
  StreamDigest digest = StreamDigest::Hmac(masterKey);
  digest.Update(bytes);
  return digest.Finish();
}

bool GalleryUploadTask::ReadSource(const std::string& masterKey, std::string& failure) {
  source = UploadSource();
  return source.Read(
      localPath, file->ThumbnailPath(), file->LcdPath(), masterKey, [this] { return MayGoOn(); }, failure);
}

// The source was replaced after it was added: what goes up is what it is now, and
// nobody may tell of what it was.
bool GalleryUploadTask::TakeReplacedSource(const std::string& masterKey, std::string& failure) {
  if (!file->IsLocalOnly() || file->Hash().empty() || file->Hash() == source.hashId) return true;
  if (!RenewLocalFile(*file, source.hashId, source.size)) {
    failure = "the source was replaced by something that is no picture or film";
    return false;
  }
  (void)DBHelper::GetInstance().AddFile(file);  // A row of the former content is renewed again.
  if (!ReadSource(masterKey, failure)) return false;
  if (file->Hash() != source.hashId) failure = "the file changes while it is read";
  return failure.empty();
}

bool GalleryUploadTask::InitUploadFileHmac(UploadFileCommandParams& params) {
  const std::string masterKey = ContentCrypto::MasterKey(GlobalParamWrapper::GetInstance()->GetHMAC_MK1());
  std::string failure;
  const bool read = ReadSource(masterKey, failure) && TakeReplacedSource(masterKey, failure);
  source.thumbHmac = CalContentHmac(masterKey, source.smallThumbnail + source.largeThumbnail);
  if (!MayGoOn()) return false;
  if (!read) {
    LogError("GalleryUploadTask::UploadV2", " FILE upload init Hmac Failed!");
    return Fail(kGeneral, "GalleryUploadTask::InitUploadFileHmac", __LINE__, failure);
  }
  const ContentCrypto::KeyAndIv keys = ContentCrypto::KeysOfHmac(source.contentHmac);
  params.file = file;
  params.contentHmac = source.contentHmac;
  params.thumbHmac = source.thumbHmac;
  params.aesKey.assign(keys.key.begin(), keys.key.end());
  params.aesIv.assign(keys.iv.begin(), keys.iv.end());
  fileSize = source.size;
  return (keys.IsUsable() && !source.thumbHmac.empty()) ||
         Fail(kGeneral, "GalleryUploadTask::InitUploadFileHmac", __LINE__, "HMAC_CTX_new fail");
}

bool GalleryUploadTask::UploadV2() {
  constexpr char kStep[] = "GalleryUploadTask::UploadV2";
  if (!CheckUserKeyNoEmpty()) return Fail(kGeneral, kStep, __LINE__, "Get userkey is empty Failed!");
  UploadFileCommandParams params;
  FileSliceCmdParamsV2 record;
  record.mk2 = GlobalParamWrapper::GetInstance()->GetHMAC_MK2();
  if (!InitUploadFileHmac(params)) return false;
  record.file = file;
  record.album = album;
  record.lockToken = GalleryTransManager::GetInstance().LockToken();
  record.contentHmac = params.contentHmac;
  record.thumbHmac = params.thumbHmac;
  record.source = &source;
  if (!CreateRecord(record)) return false;
  for (Json::ArrayIndex index : {0, 1}) {
    if (!UploadAttachment(index, record, params)) return false;
  }
  return PublishRecord(record);
}

bool GalleryUploadTask::CreateRecord(FileSliceCmdParamsV2& record) {
  constexpr char kStep[] = "GalleryUploadTask::CreateRecord";
  Json::Value answer;
  if (!Send(kCreateMedia, record, answer)) return false;
  if (!UploadRecord::IsUsable(answer, source.size)) return FailAnswer(kStep, __LINE__, answer);
  const Json::Value content = UploadRecord::ContentToSend(answer);
  const auto upload = file->IsLocalOnly() ? ContentCuts::Upload::First : ContentCuts::Upload::GiveBack;
  if (!content.isNull() && !ContentCuts::Accept(upload, source.hashId, content))
    return Fail(kGeneral, kStep, __LINE__, "the cloud cuts the content otherwise than before");
  record.doc = std::move(answer);
  return true;
}

bool GalleryUploadTask::PublishRecord(FileSliceCmdParamsV2& record) {
  constexpr char kStep[] = "GalleryUploadTask::PublishRecord";
  const Marks sent(*file);
  Json::Value answer;
  if (!Send(kPublishMedia, record, answer)) return false;
  if (Text(answer, "id").empty()) return FailAnswer(kStep, __LINE__, answer);
  TakeOver(answer, sent);
  return true;
}

bool GalleryUploadTask::Send(std::int32_t command, FileSliceCmdParamsV2& record, Json::Value& answer) {
  constexpr char kStep[] = "GalleryUploadTask::Send";
  if (!MayGoOn()) return false;
  httpLib.Reset();
  UserAuthService::GetInstance()->KeepTokenFresh();
  FileParamsConstruct<FileSliceCmdParamsV2> request(command, record);
  std::string response;
  const bool answered = httpLib.RequestInterface(request, response);
  if (!MayGoOn()) return false;
  if (!answered) return FailAnswer(kStep, __LINE__, Json::Value());
  auto parsed = response.empty() ? Json::Value(Json::objectValue) : JsonText::Parse(response);
  const bool needsRecord = command != kConfirmSlice || !httpLib.HasGoodAnswer();
  if (!parsed || !parsed->isObject() || (parsed->empty() && needsRecord)) {
    return FailAnswer(kStep, __LINE__, Json::Value());
  }
  answer = std::move(*parsed);
  return !answer.isMember("error") || FailAnswer(kStep, __LINE__, answer);
}

void GalleryUploadTask::TakeOver(const Json::Value& published, Marks sent) {
  const std::string id = Text(published, "id"), before = file->UniqueId();
  const std::wstring name = platform::Utf8ToWide(Text(published, "fileName"));
  if (!name.empty() && file->FileName() == sent.name) Rename(name);
  if (!name.empty()) sent.name = name;
  const bool isKnown = !file->IsLocalOnly();
  file->SetFileId(id);
  file->SetUniqueId(id);
  if (isKnown) file->cloudContentStatus = kContentThere;
  // The state is cleared before the last look: a change of the user that comes
  // right now sets it again, or is seen here. What waited before, of a file that
  // the cloud knows, waits for its own request.
  if (!isKnown || file->GalleryState == kContentWaits) file->GalleryState = 0;
  if (Marks(*file) != sent) file->GalleryState = kMetadataChanged;
  LogInfo("GalleryUploadTask::UploadV2",
          [&] { return "upload file complete:" + platform::WideToUtf8(file->FileName()); });
  Gallery::GetInstance().UpdateFileUId(file, before);
}

// Albums find a file by its name, so it leaves them for the change.
void GalleryUploadTask::Rename(const std::wstring& name) {
  if (file->FileName() == name) return;
  auto& gallery = Gallery::GetInstance();
  const std::int64_t recycleTime = file->RecycleTime;  // The bin resets it in what leaves.
  const auto members = file->GetMembers();             // They leave with their cover.
  const bool wasListed = gallery.RemoveFiles({file}) > 0;
  file->RecycleTime = recycleTime;
  file->SetFileName(name);
  if (!wasListed) return;
  Gallery::Files back(members.begin(), members.end());
  back.push_back(file);
  (void)gallery.AddFiles(back);
}

bool GalleryUploadTask::MayGoOn() const { return Status() == TaskStatus::Running; }

bool GalleryUploadTask::Fail(ErrCode code, const char* step, std::int32_t line, const std::string& cause,
                             Outage outage) {
  AddErr(code, kError, step, line, cause, outage);
  return false;
}

bool GalleryUploadTask::FailAnswer(const char* step, std::int32_t line, const Json::Value& answer) {
  const auto error = NS::ErrorResp::From(answer);
  const curlppx::TransferResult& result = httpLib.LastResult();
  const bool isOut = NS::IsOutage(result.curlCode, result.httpCode);
  const bool isGood = result.curlCode == curlppx::kCurlOk && result.httpCode / 100 == 2;
  const std::string how = TextOf(result) + (isGood ? ", without the record that was asked for" : "");
  return Fail(kGeneral, step, line, error ? error->Text() : how, isOut ? Outage::Yes : Outage::No);
}

bool GalleryUploadTask::SourceIsGone() const {
  std::error_code error;
  return fs::status(platform::NativePath(localPath), error).type() == fs::file_type::not_found;
}

void GalleryUploadTask::ForgetFile() {
  // What the cloud has already stays in the gallery without its local file, and what
  // is away with its folder may come back.
  if (!file->IsLocalOnly() || platform::IsFolderAway(platform::NativePath(localPath))) return;
  // Alone: members of its burst may be in the cloud. A row that stays is dropped by
  // the next run.
  (void)Gallery::GetInstance().DeleteGone({file->UniqueId()});
}
