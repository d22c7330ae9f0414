#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cloud/syncrecords.h"
#include "host/requests/ns/request.h"
#include "model/records/galleryfile.h"

// The calls of the photo cloud's second generation, one operation each. Static,
// synchronous, any thread. Null or false is an error that was logged already.
//
// An answer of the service is looked at in this order: no answer, an error record,
// a payload, anything else. A listing whose cursor has expired (code "...4100")
// empties the tables but for rows with changes of this computer, so that the next
// cycle starts from the beginning. Codes about the user ("4977", "4052", "4933")
// tell the host's frame window.
class CloudPhotoV2Helper {
 public:
  struct Lock {
    std::string token;
    std::int32_t expiresInSeconds = 0;
  };
  // Media in the order of the answer.
  struct MediaPage {
    std::vector<CloudFileInfo> media;  // `otype` is not set
    std::vector<std::string> status;   // of each media, in the service's words
    std::vector<std::int64_t> editedTime;
  };

  // The generation that serves this user, kept in GlobalData::cloudGeneration; a
  // lost connection leaves the last answer.
  static std::int32_t GetCutStatus();

  // What the last about answer said of the photo cloud itself. No request.
  struct ServiceState {
    bool known = false;                                // there was an answer
    bool disabled = false;                             // the photo cloud is switched off for the account
    std::int64_t disableTimeMs = 0, deleteTimeMs = 0;  // since 1970; 0 not told
    std::string clearVersion{};                        // GetSuspendCursor
  };
  static ServiceState GetServiceState();

  static std::unique_ptr<CloudVersion> GetAllVersion();
  // "suspendCursor" of the last about answer, or empty.
  static std::string GetSuspendCursor();

  static std::unique_ptr<std::vector<Album::Ptr>> GetAlbums(const std::string& cursor);
  // One page; kind 1 asks only for what a comparison needs. `cursor` takes the
  // next page's, empty behind the last. A cursor that the service knows no longer is
  // forgotten at once, or with `expired` told there.
  static std::unique_ptr<MediaPage> GetFiles(std::string& cursor, int kind, bool* expired = nullptr);
  // Forgets what the cloud told, so that the next cycle lists all of it anew. Behind a
  // backup it compares instead.
  static void ForgetCursor();
  static std::unique_ptr<MediaPage> GetFilesByAlbumId(const std::string& albumId);
  // Those of the media that the cloud has; null when one could not be looked up.
  static std::unique_ptr<std::vector<CloudFileInfo>> GetFileDetail(const std::vector<std::string>& ids);
  // One page of changes with `otype`, `device` and what the change holds.
  static std::unique_ptr<std::vector<CloudFileInfo>> GetChangeFiles(const std::string& startCursor,
                                                                    std::string& nextCursor);

  // Takes the account's lock with an empty token, else renews it.
  static std::unique_ptr<Lock> GetV2Lock(const std::string& token);
  static bool DeleteV2Lock(const std::string& token);

  // Changes under the lock `lockToken`, all in one request: one answer for each
  // item, in the order of the items. Callers keep to maxBatchNumber.
  using BatchResult = std::unique_ptr<std::vector<NS::SingleAnswer>>;
  static BatchResult BatchCreateAlbum(const std::vector<Album::Ptr>& albums, const std::string& lockToken);
  static BatchResult BatchModifyAlbum(const std::vector<Album::Ptr>& albums, const std::string& lockToken);
  static BatchResult BatchDeleteAlbum(const std::vector<std::string>& albumIds, const std::string& lockToken);
  static BatchResult BatchModifyFile(const std::vector<CloudFileInfo>& files, const std::string& lockToken);
  static BatchResult BatchDeleteFile(const std::vector<CloudFileInfo>& files, const std::string& lockToken);

  // The frame is told once that the user's data is hidden ("4052"); this makes it
  // told once more. Armed at the start of the process.
  static void ArmDataHideNotice();

  // Forgets what the service told about itself and how it failed, for the next user.
  static void Forget();

  // How often the media listing was answered with 503, and when last (ms). Not
  // lowered before the user logs out.
  static std::atomic<std::int32_t> failures503;
  static std::atomic<std::int64_t> last503Ms;
  // Items of a batch that the service takes; told by the about answer.
  static std::atomic<std::int32_t> maxBatchNumber;
};
