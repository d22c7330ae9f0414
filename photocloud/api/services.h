#pragma once

#include <cstdint>
#include <memory>

#include "photocloud/accounts/accountservice.h"
#include "photocloud/api/metrics.h"
#include "photocloud/base/background.h"
#include "photocloud/base/clock.h"
#include "photocloud/content/assetlayout.h"
#include "photocloud/content/objectvault.h"
#include "photocloud/content/urlsigner.h"
#include "photocloud/faults/faultplan.h"
#include "photocloud/push/pushhub.h"
#include "photocloud/store/metadatastore.h"
#include "photocloud/store/objectstore.h"

namespace photocloud {

struct ServiceSettings {
  ContentLimits content;
  int maxBatchNumber = 50;
  // A holder renews at half of it, so one lost renewal does not lose the lock.
  std::int64_t lockSeconds = 60;
  std::int64_t uploadKeepMs = std::int64_t{24} * 3600 * 1000;
  // Of uploads whose device went no further than to open them.
  std::int64_t emptyUploadKeepMs = std::int64_t{6} * 3600 * 1000;
  // A device that stayed away longer has to compare everything.
  std::int64_t tombstoneKeepMs = std::int64_t{180} * 24 * 3600 * 1000;
};

// Everything that handlers work with. The owner keeps it alive while requests
// run; each member says its own threading rule, the settings are constant.
struct Services {
  Services(MetadataStore& store, ObjectStore& objects, Clock& clock, const ServiceSettings& settings,
           PasswordCost cost);

  // Removes what nobody waits for any more: uploads, tombstones, sessions,
  // files of removed objects.
  void Sweep();

  // Looks for files without a record, in the background: once at the start and
  // then every day.
  void SweepLeftOvers();

  // Ends the push streams of sessions that are gone, also of those that another
  // process has ended.
  void EndLostStreams();

  MetadataStore& store;
  ObjectStore& objects;
  Clock& clock;
  const ServiceSettings settings;
  AccountService accounts;
  ObjectVault vault;
  UrlSigner signer;
  PushHub push;
  Metrics metrics;
  std::unique_ptr<FaultPlan> faults;  // Null unless the server was started for tests.
  // Last, so that its tasks find all of the above.
  Background background;
};

}  // namespace photocloud
