#include "sync/synccycle.h"

#include "host/requests/cloudtrouble.h"
#include "sync/modelload.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"
#include "utils/methodfunction.h"

SyncCycle::SyncCycle(const SyncServices& given, std::function<void()> wake)
    : services(given), localOperation(given, wake), wakeTimer(std::move(wake)) {}

void SyncCycle::Tell(SyncStatus next, std::int64_t count) {
  if (ISyncCallback* listener = callback) listener->OnSyncStatus(next, count);
}

void SyncCycle::TellLoaded(bool loaded) {
  if (ISyncCallback* listener = callback) listener->Notify(loaded ? 0 : 1);
}

void SyncCycle::Enter(SyncStatus next) {
  std::int32_t now = status;
  while (now != static_cast<std::int32_t>(SyncStatus::PAUSE) &&
         !status.compare_exchange_weak(now, static_cast<std::int32_t>(next))) {
  }
}

void SyncCycle::Begin() {
  troublesBefore = CloudTrouble::Count();
  lastError.Set({});
}

bool SyncCycle::Fail(const char* step, const std::string& text, const std::string& item) {
  LogWarning(step, text + (item.empty() ? "" : " " + item));
  if (!HasFailed())
    lastError.Set({step, text, item, MethodFunction::CurrentTime(), CloudTrouble::Since(troublesBefore)});
  return false;
}

std::shared_ptr<ICloudListing> SyncCycle::Listing() const {
  return services.listing ? services.listing() : nullptr;
}

std::int32_t SyncCycle::CutStatus() {
  const auto listing = Listing();
  return listing ? listing->GetCutStatus() : GlobalData::cloudGeneration.load();
}

std::unique_ptr<CloudVersion> SyncCycle::QueryVersion() {
  const auto listing = Listing();
  if (GlobalData::cloudGeneration != GlobalData::kGenerationV2 || !listing) return nullptr;
  auto version = listing->GetAllVersion();
  return version && version->code == 0 ? std::move(version) : nullptr;
}

bool SyncCycle::TakeService() {
  ISyncServiceOperation* next = localOperation.ChooseService(CutStatus());
  if (next) serviceOperation = next;
  return next != nullptr;
}

bool SyncCycle::LoadDataToMemory() {
  if (dataLoaded) return true;
  if (!LoadModel([this](bool loaded) { TellLoaded(loaded); }))
    return Fail("SyncHelper::LoadDataToMemory", "the database could not be read");
  dataLoaded = true;
  return true;
}

std::int64_t SyncCycle::PendingUploads() {
  return static_cast<std::int64_t>(localOperation.GetUploadFiles().size());
}

void SyncCycle::Forget() {
  serviceOperation = nullptr;
  localOperation.ForgetUnsaved();
  localOperation.ForgetServices();
  lastError.Set({});
  uploadPending = 0;
  dataLoaded = false;
}
