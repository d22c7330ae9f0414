#include "host/base/globalparamwrapper.h"

#include <json/value.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>

#include "common/platform/clock.h"
#include "common/platform/computer.h"
#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/mutex.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/base/jsonfile.h"
#include "host/base/logger.h"

namespace {

namespace fs = std::filesystem;

constexpr char kProductFolder[] = "ZentaraCloud";
constexpr std::size_t kGuidLength = 36;

// A day's worth of refund queries would load the service, a month of them would
// lose contents whose originals go meanwhile.
constexpr int kRefundPeriodDays = 7;
constexpr std::uint32_t kLostStatus = 2;
// Time for a slow connection to be made, and for a radio link to come back.
constexpr long kTimeoutConnectMs = 15'000;
constexpr long kLimitLowSpeedBytes = 1;
constexpr long kTimeoutLowSpeedSeconds = 30;
// Enough to fill a line while some files wait for an answer; more than the other
// would only make a home router stumble.
constexpr int kWorkers = 4;
constexpr int kMostWorkers = 16;
// Countries with a decimal comma by the locale data of Unicode (CLDR).
constexpr std::initializer_list<const wchar_t*> kCommaCountries = {
    L"AR", L"AT", L"BE", L"BG", L"BR", L"CL", L"CO", L"CZ", L"DE", L"DK", L"EE", L"ES",
    L"FI", L"FR", L"GR", L"HR", L"HU", L"ID", L"IT", L"LT", L"LV", L"NL", L"NO", L"PL",
    L"PT", L"RO", L"RS", L"RU", L"SE", L"SI", L"SK", L"TR", L"UA", L"VN"};

void Log(int line, const char* operation, const std::string& text) {
  Logger::CloudLogger::GetInstance()->Output("Host", Logger::Severity::Error, line,
                                             std::string("GlobalParamWrapper::") + operation, text);
}

std::string Sha256(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  std::size_t length = 0;
  if (EVP_Q_digest(nullptr, "SHA256", nullptr, bytes.data(), bytes.size(), digest.data(), &length) != 1)
    return {};
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < length; ++i) text.append({kDigits[digest[i] >> 4], kDigits[digest[i] & 0x0F]});
  return text;
}

fs::path SettingsFile() { return JsonFile::Folder() / "settings.json"; }

fs::file_time_type SettingsTime() {
  std::error_code error;  // Gives the least time, which stands for no file.
  return fs::last_write_time(SettingsFile(), error);
}

bool IsDeviceId(std::string_view text) {
  return text.size() == kGuidLength &&
         text.find_first_not_of("0123456789ABCDEFabcdef-") == std::string_view::npos;
}

}  // namespace

struct GlobalParamWrapper::State {
  // Values of the running client.
  struct Running {
    st_UserInfo user;
    std::wstring accountCountry;
    std::string userLevel;  // the folder of the user
    std::string mk1;
    std::string mk2;
    HWND mainWnd = nullptr;
    bool connected = true;
    bool dropping = false;
    std::optional<std::int64_t> serverTimeOffset;
    std::set<std::wstring> driveSelection;
    std::vector<std::wstring> controlSelection;
  };

  template <typename Member>
  Member Get(Member Running::*member) {
    platform::ReaderLock hold(lock);
    return running.*member;
  }
  template <typename Member>
  void Set(Member Running::*member, Member value) {
    platform::WriterLock hold(lock);
    running.*member = std::move(value);
  }

  Json::Value Setting(const char* key) {
    platform::ReaderLock hold(lock);
    return settings.get(key, Json::Value());
  }
  bool Flag(const char* key, bool missing) {
    const Json::Value value = Setting(key);
    return value.isBool() ? value.asBool() : missing;
  }
  // A period or limit; negative ones are as good as missing.
  template <typename Number>
  Number Amount(const char* key, Number missing) {
    const Json::Value value = Setting(key);
    return value.isInt() && value.asInt() >= 0 ? Number{value.asInt()} : missing;
  }
  // Windows store their values as texts.
  std::int64_t Bytes(const char* key) {
    const Json::Value value = Setting(key);
    if (!value.isString()) return Amount<std::int64_t>(key, 0);
    const std::string text = value.asString();
    std::int64_t bytes = 0;
    (void)std::from_chars(text.data(), text.data() + text.size(), bytes);
    return std::max<std::int64_t>(bytes, 0);
  }
  std::size_t Workers(const char* key) {
    return static_cast<std::size_t>(std::clamp(Amount(key, kWorkers), 1, kMostWorkers));
  }
  std::wstring Text(const char* key, const std::wstring& missing) {
    const Json::Value value = Setting(key);
    return value.isString() ? platform::Utf8ToWide(value.asString()) : missing;
  }
  // Whether `text` stands in a list; `missing` without a list.
  bool ListHas(const char* key, const std::wstring& text, bool missing) {
    const Json::Value list = Setting(key);
    if (!list.isArray()) return missing;
    const std::string wanted = platform::WideToUtf8(text);
    return std::any_of(list.begin(), list.end(),
                       [&](const Json::Value& item) { return item.isString() && item.asString() == wanted; });
  }

  bool Load() REQUIRES(lock);
  // Reads what another process of the profile has stored since.
  void Refresh() REQUIRES(lock);
  bool Store(const char* key, const Json::Value& value);
  std::string DeviceId();
  std::wstring Folder(const fs::path& folder);
  // One that only this program takes away: made by the first call, so that a later one
  // asks nothing of the disk.
  std::wstring OwnFolder(const fs::path& root);

  platform::SharedMutex lock;
  Running running GUARDED_BY(lock);
  Json::Value settings GUARDED_BY(lock) = Json::Value(Json::objectValue);
  // Of the file that was read or written last.
  fs::file_time_type fileTime GUARDED_BY(lock) = fs::file_time_type::max();
  bool mayStore GUARDED_BY(lock) = true;
  std::string deviceId GUARDED_BY(lock);
  std::set<fs::path> reportedFolders GUARDED_BY(lock);
  std::set<fs::path> madeFolders GUARDED_BY(lock);
};

bool GlobalParamWrapper::State::Load() {
  const fs::path file = SettingsFile();
  fileTime = SettingsTime();  // Before the reading: a change in between is read again.
  const JsonFile::LoadResult result = JsonFile::Load(file, settings);
  mayStore = result != JsonFile::LoadResult::Unreadable;
  if (result == JsonFile::LoadResult::Unreadable) Log(__LINE__, "Load", "settings.json cannot be read");
  if (result == JsonFile::LoadResult::Broken) {
    Log(__LINE__, "Load", "settings.json cannot be parsed and is kept as settings.json.broken");
    fs::path aside = file;
    aside += ".broken";
    // While it cannot be moved, it must not be written over.
    mayStore = !platform::RenameOver(file, aside);
  }
  return result == JsonFile::LoadResult::Loaded || result == JsonFile::LoadResult::Missing;
}

void GlobalParamWrapper::State::Refresh() {
  if (SettingsTime() != fileTime) (void)Load();  // Its failure has been logged and shows in mayStore.
}

bool GlobalParamWrapper::State::Store(const char* key, const Json::Value& value) {
  platform::WriterLock hold(lock);  // Covers the write, so that no older text lands on a newer one.
  Refresh();
  if (settings[key] == value) return true;
  settings[key] = value;
  if (!mayStore) return false;
  std::error_code error = platform::MakeFolder(JsonFile::Folder());
  if (!error) error = platform::ReplaceAtomically(SettingsFile(), JsonFile::Text(settings));
  if (!error) fileTime = SettingsTime();
  if (error) Log(__LINE__, "Store", std::string(key) + ": " + error.message());
  return !error;
}

namespace {

std::string StoredDeviceId(const fs::path& file) {
  std::string text;
  if (platform::ReadFile(file, text, 1024)) return {};
  text.erase(text.find_last_not_of(" \r\n") + 1);
  return IsDeviceId(text) ? text : std::string();
}

// The id that the profile has from now on; of two processes that ask at once,
// both get the one that was stored first.
std::string MakeDeviceId(const fs::path& file) {
  std::string made = platform::NewGuid();
  std::error_code error = platform::MakeFolder(file.parent_path());
  if (!error) error = platform::CreateAtomically(file, made + "\n");
  if (!error) return made;
  if (error == std::errc::file_exists) {
    if (std::string stored = StoredDeviceId(file); !stored.empty()) return stored;
    error = platform::ReplaceAtomically(file, made + "\n");
  }
  if (error) Log(__LINE__, "GetSystemUUid", "the device id cannot be stored: " + error.message());
  return made;
}

}  // namespace

std::string GlobalParamWrapper::State::DeviceId() {
  platform::WriterLock hold(lock);
  if (!deviceId.empty()) return deviceId;
  const fs::path file = JsonFile::Folder() / "device-id";
  deviceId = StoredDeviceId(file);
  if (deviceId.empty()) deviceId = MakeDeviceId(file);
  return deviceId;
}

std::wstring GlobalParamWrapper::State::Folder(const fs::path& folder) {
  const std::error_code error = platform::MakeFolder(folder);
  if (error) {
    platform::WriterLock hold(lock);
    const bool first = reportedFolders.insert(folder).second;
    if (first) Log(__LINE__, "Folder", "a folder cannot be made: " + error.message());
  }
  return platform::WidePath(folder);
}

std::wstring GlobalParamWrapper::State::OwnFolder(const fs::path& root) {
  const fs::path folder = root / kProductFolder / Get(&Running::userLevel);
  {
    platform::ReaderLock hold(lock);
    if (madeFolders.contains(folder)) return platform::WidePath(folder);
  }
  std::wstring path = Folder(folder);
  platform::WriterLock hold(lock);
  if (!reportedFolders.contains(folder)) madeFolders.insert(folder);
  return path;
}

GlobalParamWrapper::GlobalParamWrapper() : state(new State) { SetUser({}, {}); }

GlobalParamWrapper* GlobalParamWrapper::GetInstance() {
  static GlobalParamWrapper* const instance = new GlobalParamWrapper;
  return instance;
}

bool GlobalParamWrapper::Load() {
  platform::WriterLock hold(state->lock);
  state->deviceId.clear();
  state->reportedFolders.clear();
  state->madeFolders.clear();
  return state->Load();
}

std::wstring GlobalParamWrapper::GetSystemUUid() { return platform::Utf8ToWide(state->DeviceId()); }
std::wstring GlobalParamWrapper::GetDeviceName() {
  return state->Text("deviceName", platform::ComputerName());
}

std::wstring GlobalParamWrapper::GetCloudPhotoUrl() { return state->Text("cloudPhotoUrl", L""); }
std::wstring GlobalParamWrapper::GetCloudPhotoV2Url() { return state->Text("cloudPhotoV2Url", L""); }

std::wstring GlobalParamWrapper::GetUserCachePath() { return state->OwnFolder(platform::CacheRoot()); }
std::wstring GlobalParamWrapper::GetUserDataBaseFolder() { return state->OwnFolder(platform::DataRoot()); }
std::wstring GlobalParamWrapper::GetUserDownloadsPath() { return state->Folder(platform::DownloadsFolder()); }
std::wstring GlobalParamWrapper::GetUserProfilePath() { return state->Folder(platform::HomeFolder()); }
std::wstring GlobalParamWrapper::GetAppDataLocalPath() { return state->Folder(platform::DataRoot()); }

bool GlobalParamWrapper::GetIsUserLoggedIn() {
  platform::ReaderLock hold(state->lock);
  return !state->running.user.userId.empty();
}
st_UserInfo GlobalParamWrapper::GetUserInfo() { return state->Get(&State::Running::user); }
std::string GlobalParamWrapper::GetHMAC_MK1() { return state->Get(&State::Running::mk1); }
std::string GlobalParamWrapper::GetHMAC_MK2() { return state->Get(&State::Running::mk2); }
std::wstring GlobalParamWrapper::GetCountryCode() {
  return state->Text("countryCode", state->Get(&State::Running::accountCountry));
}

bool GlobalParamWrapper::GetDataHidePeriod() { return state->Flag("dataHidePeriod", false); }
bool GlobalParamWrapper::GetIsHideData() { return state->Flag("hideData", false); }
bool GlobalParamWrapper::GetEnableShowLostCloudPhoto() {
  return state->Flag("enableShowLostCloudPhoto", true);
}
bool GlobalParamWrapper::GetEnableCloudPhotoAssetRefund() {
  return state->Flag("enableCloudPhotoAssetRefund", true);
}
int GlobalParamWrapper::GetCloudPhotoAssetRefundPeriod() {
  return state->Amount("cloudPhotoAssetRefundPeriodDays", kRefundPeriodDays);
}
bool GlobalParamWrapper::IsStatusThatNeedToBeRefunded(std::uint32_t status) {
  const Json::Value list = state->Setting("statusesToRefund");
  if (!list.isArray()) return status == kLostStatus;
  return std::any_of(list.begin(), list.end(),
                     [&](const Json::Value& item) { return item.isUInt() && item.asUInt() == status; });
}

std::wstring GlobalParamWrapper::GetOtherUserProperties() { return state->Text("otherUserProperties", L""); }
bool GlobalParamWrapper::GetUserPropertiesShow() { return state->Flag("userPropertiesShow", false); }
bool GlobalParamWrapper::CheckFunctionOpen(const std::wstring& function) {
  return !state->ListHas("closedFunctions", function, false);
}
bool GlobalParamWrapper::CheckModuleValid(const std::wstring& module) {
  return state->ListHas("modules", module, false);
}
bool GlobalParamWrapper::IsBaseServiceUser() { return state->Flag("baseServiceUser", false); }

std::wstring GlobalParamWrapper::GetPackageName() {
  return state->Text("packageName", L"com.zentara.cloud.desktop");
}
std::wstring GlobalParamWrapper::GetZtClientMode() { return state->Text("clientMode", L"pc"); }
long GlobalParamWrapper::GetTimeoutConnect() { return state->Amount("timeoutConnectMs", kTimeoutConnectMs); }
long GlobalParamWrapper::GetLimitLowSpeed() {
  return state->Amount("limitLowSpeedBytes", kLimitLowSpeedBytes);
}
long GlobalParamWrapper::GetTimeoutLowSpeed() {
  return state->Amount("timeoutLowSpeedSeconds", kTimeoutLowSpeedSeconds);
}
std::size_t GlobalParamWrapper::GetUploadWorkers() { return state->Workers("uploadWorkers"); }
std::size_t GlobalParamWrapper::GetDownloadWorkers() { return state->Workers("downloadWorkers"); }
std::int64_t GlobalParamWrapper::GetUploadLimit() { return state->Bytes("uploadLimitBytes"); }
std::int64_t GlobalParamWrapper::GetDownloadLimit() { return state->Bytes("downloadLimitBytes"); }
bool GlobalParamWrapper::GetTransfersPaused() {
  {
    platform::WriterLock hold(state->lock);
    state->Refresh();
  }
  return state->Flag("transfersPaused", false);
}
bool GlobalParamWrapper::SetTransfersPaused(bool paused) { return state->Store("transfersPaused", paused); }
std::wstring GlobalParamWrapper::GetCloudCaFile() { return state->Text("cloudCaFile", L""); }
bool GlobalParamWrapper::SetCloudCaFile(const std::wstring& file) {
  return state->Store("cloudCaFile", platform::WideToUtf8(file));
}
bool GlobalParamWrapper::GetIsUseLocalCertificate() { return state->Flag("useLocalCertificate", false); }
void GlobalParamWrapper::SetIsUseLocalCertificate(bool use) {
  (void)state->Store("useLocalCertificate", use);  // Logged; the value holds until the process ends.
}

std::string GlobalParamWrapper::GetUserProperty(const std::string& name) {
  return platform::WideToUtf8(state->Text(name.c_str(), L""));
}
bool GlobalParamWrapper::SetUserProperty(const std::string& name, const std::string& value) {
  return state->Store(name.c_str(), value);
}

bool GlobalParamWrapper::IsReplaceCommaCountry() {
  const std::wstring country = GetCountryCode();
  const bool known = std::any_of(kCommaCountries.begin(), kCommaCountries.end(),
                                 [&](const wchar_t* code) { return country == code; });
  return state->ListHas("replaceCommaCountries", country, known);
}
std::wstring GlobalParamWrapper::ReplaceComma(const std::wstring& number) {
  std::wstring replaced = number;
  if (IsReplaceCommaCountry()) std::replace(replaced.begin(), replaced.end(), L'.', L',');
  return replaced;
}

HWND GlobalParamWrapper::GetMainWnd() { return state->Get(&State::Running::mainWnd); }
void GlobalParamWrapper::SetMainWnd(HWND window) { state->Set(&State::Running::mainWnd, window); }

bool GlobalParamWrapper::GetNetIsConnect() { return state->Get(&State::Running::connected); }
void GlobalParamWrapper::SetNetIsConnect(bool connected) {
  state->Set(&State::Running::connected, connected);
}

std::int64_t GlobalParamWrapper::GetServerTime() {
  return platform::NowSeconds() + state->Get(&State::Running::serverTimeOffset).value_or(0);
}
void GlobalParamWrapper::SetServerTime(std::int64_t seconds) {
  state->Set(&State::Running::serverTimeOffset, std::optional(seconds - platform::NowSeconds()));
}
std::optional<std::int64_t> GlobalParamWrapper::GetServerTimeOffset() {
  return state->Get(&State::Running::serverTimeOffset);
}

std::set<std::wstring> GlobalParamWrapper::GetSelectCloudDriveSet() {
  return state->Get(&State::Running::driveSelection);
}
void GlobalParamWrapper::SetSelectCloudDriveSet(std::set<std::wstring> ids) {
  state->Set(&State::Running::driveSelection, std::move(ids));
}
std::vector<std::wstring> GlobalParamWrapper::GetSelectConTrols() {
  return state->Get(&State::Running::controlSelection);
}
std::size_t GlobalParamWrapper::GetSelectConTrolsSize() { return GetSelectConTrols().size(); }
void GlobalParamWrapper::SetSelectConTrols(std::vector<std::wstring> ids) {
  state->Set(&State::Running::controlSelection, std::move(ids));
}
bool GlobalParamWrapper::GetDropGallery() { return state->Get(&State::Running::dropping); }
void GlobalParamWrapper::SetDropGallery(bool dropping) { state->Set(&State::Running::dropping, dropping); }

void GlobalParamWrapper::SetUser(const st_UserInfo& user, const std::wstring& accountCountry) {
  const std::string level = Sha256(platform::WideToUtf8(user.userId));
  platform::WriterLock hold(state->lock);
  state->running.user = user;
  state->running.accountCountry = accountCountry;
  state->running.userLevel = level;
}

void GlobalParamWrapper::SetMasterKeys(const std::string& mk1, const std::string& mk2) {
  platform::WriterLock hold(state->lock);
  state->running.mk1 = mk1;
  state->running.mk2 = mk2;
}
