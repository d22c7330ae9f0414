#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/platform/window.h"

// The logged-in user, as other modules see him: the wide id and the keys under
// which contents travel. Sizes are those of the key exchange: a key and a
// closing zero.
struct st_UserInfo {
  std::wstring userId;
  unsigned char userKey1[17] = {};
  unsigned char userKey3[33] = {};
  wchar_t userKeyId1[33] = {};
  wchar_t userKeyId3[33] = {};
};

// The parameters of the running client. Safe from any thread.
//
// Settings come from "ZentaraCloud/settings.json" in the configuration folder,
// one JSON object. Each operation names its key and the default that holds when
// the key is missing or its value is of another type. Keys that this version
// does not know are kept when the file is written.
//
// Values of the running client (the user, windows, the network, a drag) are told
// by their owner through the Set operations and are not stored.
class GlobalParamWrapper {
 public:
  static GlobalParamWrapper* GetInstance();

  // Reads the settings of the present profile anew; the host calls it at start
  // and after SetProfileRoot. Until then defaults hold. A file that cannot be
  // parsed is logged, kept aside as "settings.json.broken", and defaults hold; so
  // they do for a file that cannot be read, which then is never written either.
  // False in both cases.
  bool Load();

  // The device. The id is a GUID that is made once and kept in the file
  // "device-id" beside the settings; it is the same for every user of the
  // profile. When it cannot be stored, it holds until the process ends.
  std::wstring GetSystemUUid();
  std::wstring GetDeviceName();  // "deviceName", the computer's name

  // Service addresses; empty while no service is set.
  std::wstring GetCloudPhotoUrl();    // "cloudPhotoUrl", ""
  std::wstring GetCloudPhotoV2Url();  // "cloudPhotoV2Url", ""

  // Folders, without a separator at the end, made when asked for, the user's two by the
  // first call alone: a window asks for them while it paints.
  //   cache      cache root/ZentaraCloud/USER
  //   database   data root/ZentaraCloud/USER
  //   downloads  the user's downloads folder
  //   profile    the home folder, or the profile's root
  //   local data the data root
  // USER is the lower-case hexadecimal SHA-256 of the user id in UTF-8, so that
  // no path shows the id. A folder that cannot be made is logged once and its
  // path returned all the same: the next access to it fails with a reason.
  std::wstring GetUserCachePath();
  std::wstring GetUserDataBaseFolder();
  std::wstring GetUserDownloadsPath();
  std::wstring GetUserProfilePath();
  std::wstring GetAppDataLocalPath();

  // The user, as UserAuthService has told. Logged in is who has an account; a
  // local account has no tokens and is logged in nevertheless. Keys are all zero
  // and ids empty without a user.
  bool GetIsUserLoggedIn();
  st_UserInfo GetUserInfo();
  // Master keys as 64 hexadecimal digits; empty before
  // UserAuthService::InitMk1AndMk2.
  std::string GetHMAC_MK1();
  std::string GetHMAC_MK2();
  // "countryCode", the account's country: two capital letters, or empty.
  std::wstring GetCountryCode();

  // What is shown and what is given back.
  bool GetDataHidePeriod();               // "dataHidePeriod", false: the user's data is hidden for a while
  bool GetIsHideData();                   // "hideData", false
  bool GetEnableShowLostCloudPhoto();     // "enableShowLostCloudPhoto", true
  bool GetEnableCloudPhotoAssetRefund();  // "enableCloudPhotoAssetRefund", true
  int GetCloudPhotoAssetRefundPeriod();   // "cloudPhotoAssetRefundPeriodDays", 7
  // Whether a status of a media record or an attachment means that its content
  // is lost: it stands in "statusesToRefund", [2].
  bool IsStatusThatNeedToBeRefunded(std::uint32_t status);

  // Properties of the user that the client keeps for others: a JSON text, and
  // whether they are shown.
  std::wstring GetOtherUserProperties();  // "otherUserProperties", ""
  bool GetUserPropertiesShow();           // "userPropertiesShow", false
  // Whether a function of the client is open to this user: it does not stand in
  // "closedFunctions", [].
  bool CheckFunctionOpen(const std::wstring& function);
  // Whether the client has an optional module, such as "SupportUpgrade", which sells
  // space: it stands in "modules", [].
  bool CheckModuleValid(const std::wstring& module);
  bool IsBaseServiceUser();  // "baseServiceUser", false: an account with the basic service only

  // Requests.
  std::wstring GetPackageName();   // "packageName", "com.zentara.cloud.desktop"
  std::wstring GetZtClientMode();  // "clientMode", "pc"
  long GetTimeoutConnect();        // "timeoutConnectMs", 15000
  // A transfer below this many bytes a second for this many seconds is given up.
  long GetLimitLowSpeed();    // "limitLowSpeedBytes", 1
  long GetTimeoutLowSpeed();  // "timeoutLowSpeedSeconds", 30
  // How many files are on their way at once, each way; from 1 to 16.
  std::size_t GetUploadWorkers();    // "uploadWorkers", 4
  std::size_t GetDownloadWorkers();  // "downloadWorkers", 4
  // Bytes a second of all transfers of one direction together, as a number or its digits;
  // 0 for no limit.
  std::int64_t GetUploadLimit();    // "uploadLimitBytes", 0
  std::int64_t GetDownloadLimit();  // "downloadLimitBytes", 0
  // The user's pause of all transfers; it holds over restarts and for all processes
  // of the profile: Get looks at the file again when that has changed. Set stores it
  // and is false, logged, when it cannot.
  bool GetTransfersPaused();  // "transfersPaused", false
  bool SetTransfersPaused(bool paused);
  // A file of certificate authorities that the user trusts for the service in
  // place of the system's; empty: the system's. Set stores it and is false, logged,
  // when it cannot.
  std::wstring GetCloudCaFile();  // "cloudCaFile", ""
  bool SetCloudCaFile(const std::wstring& file);
  // Whether certificates are checked with the system's store. Set stores it.
  bool GetIsUseLocalCertificate();  // "useLocalCertificate", false
  void SetIsUseLocalCertificate(bool use);

  // What a window of the client keeps for its user, by a name of its own; empty when
  // it was never set. Set stores it and is false, logged, when it cannot.
  std::string GetUserProperty(const std::string& name);
  bool SetUserProperty(const std::string& name, const std::string& value);

  // Countries that write a decimal comma: "replaceCommaCountries", a list of
  // country codes.
  bool IsReplaceCommaCountry();
  // `number` with its decimal point as a comma in such a country, else as it is.
  std::wstring ReplaceComma(const std::wstring& number);

  // The host's frame window; null without one.
  HWND GetMainWnd();
  void SetMainWnd(HWND window);

  bool GetNetIsConnect();  // true until told otherwise
  void SetNetIsConnect(bool connected);

  // The service's time in seconds since 1970: the computer's clock, corrected by
  // the last answer that was told.
  std::int64_t GetServerTime();
  void SetServerTime(std::int64_t seconds);
  // By how many seconds that clock is behind the service; nothing before it was told.
  std::optional<std::int64_t> GetServerTimeOffset();

  // A drag that runs: ids of the selected items of the drive and of the selected
  // controls, and whether files are being dropped on the gallery.
  std::set<std::wstring> GetSelectCloudDriveSet();
  void SetSelectCloudDriveSet(std::set<std::wstring> ids);
  std::vector<std::wstring> GetSelectConTrols();
  std::size_t GetSelectConTrolsSize();
  void SetSelectConTrols(std::vector<std::wstring> ids);
  bool GetDropGallery();
  void SetDropGallery(bool dropping);

  // Told by UserAuthService. A user without an id is none.
  void SetUser(const st_UserInfo& user, const std::wstring& accountCountry);
  void SetMasterKeys(const std::string& mk1, const std::string& mk2);

 private:
  GlobalParamWrapper();
  ~GlobalParamWrapper() = delete;  // lives until the process ends
  struct State;
  State* const state;
};
