#include "photocloud/api/services.h"

#include "photocloud/base/log.h"

namespace photocloud {
namespace {

constexpr int kUploadsPerStep = 200;

using Uploads = std::vector<std::pair<std::int64_t, std::string>>;

void SweepUploads(Services& services, const std::function<Uploads()>& list) {
  while (true) {
    const Uploads uploads = list();
    for (const auto& [account, id] : uploads) {
      services.store.Atomically([&, owner = account, media = id] {
        services.vault.ReleaseMedia(owner, media);
        services.store.RemoveMedia(owner, media);
        return true;
      });
    }
    if (uploads.size() < kUploadsPerStep) return;
  }
}

}  // namespace

Services::Services(MetadataStore& metadata, ObjectStore& objectStore, Clock& serviceClock,
                   const ServiceSettings& serviceSettings, PasswordCost cost)
    : store(metadata),
      objects(objectStore),
      clock(serviceClock),
      settings(serviceSettings),
      accounts(metadata, serviceClock, cost),
      vault(metadata, objectStore, serviceClock),
      signer(metadata.Secret(), serviceClock) {}

void Services::Sweep() {
  try {
    const auto now = clock.NowMs();
    SweepUploads(*this,
                 [&] { return store.ListUploadsBefore(now - settings.uploadKeepMs, kUploadsPerStep); });
    SweepUploads(*this, [&] {
      return store.ListEmptyUploadsBefore(now - settings.emptyUploadKeepMs, kUploadsPerStep);
    });
    store.PruneTombstones(clock.NowMs() - settings.tombstoneKeepMs);
    accounts.SweepSessions();
    vault.SweepOrphans();
  } catch (const StoreFailure& failure) {
    Log(LogLevel::Error, "sweep failed", {{"reason", failure.what()}});
  }
}

void Services::SweepLeftOvers() {
  (void)background.Add(0, "left-overs",
                       [this] { vault.SweepLeftOvers([this] { return background.IsStopping(); }); });
}

void Services::EndLostStreams() {
  try {
    push.EndUnless([this](std::int64_t session) { return store.HasSession(session); });
  } catch (const StoreFailure& failure) {
    Log(LogLevel::Error, "streams not checked", {{"reason", failure.what()}});
  }
}

}  // namespace photocloud
