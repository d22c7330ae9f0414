#pragma once

#include "photocloud/store/sqliteconnections.h"

namespace photocloud {

// Brings the tables of a file to the present layout. Called inside a transaction.
// Throws StoreFailure, also for a file of a later version, which this one could
// only damage.
void BringUpToDate(SqliteConnection& connection);

}  // namespace photocloud
