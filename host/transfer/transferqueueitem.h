#pragma once

#include "host/transfer/transferqueue.h"

// A task in the list. Guarded by the queue's lock.
struct TransferQueue::Item {
  // Callbacks: the run has ended and its outcome is settled.
  enum class Phase { AtRest, Run, Callbacks };

  Item(std::uint64_t arrival, TransferTask::Ptr given)
      : number(arrival), id(given->GetTransferId()), task(std::move(given)) {}

  // Its outcome is known, but for a retry that would change it.
  bool HasFailed() const { return phase != Phase::Run && task->Status() == TaskStatus::Failed; }

  const std::uint64_t number;
  const std::string id;  // as it was on arrival: a run may learn another
  TransferTask::Ptr task;
  Phase phase = Phase::AtRest;
  std::size_t tries = 0;        // that have failed since somebody asked for the task
  std::optional<Time> due;      // stands in `later`
  bool leaving = false;         // somebody takes it out
  bool gone = false;            // out of the list
  TransferTask::Ptr successor;  // comes into the list when this one is gone
  SpeedMeter meter;
};
