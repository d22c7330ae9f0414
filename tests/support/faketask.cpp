#include "support/faketask.h"

#include <gtest/gtest.h>

bool FakeTask::StartTask() {
  if (!TransferTask::StartTask() || Status() != TaskStatus::Running) {
    OnStop();
    return false;
  }
  const Outcome outcome = WaitForOutcome();
  Note("end");
  if (outcome == kNone) return OnComplete();
  if (Status() == TaskStatus::Running)
    AddErr(outcome, kError, "FakeTask::StartTask", __LINE__, {},
           outages.contains(outcome) ? Outage::Yes : Outage::No);
  OnStop();
  return false;
}

FakeTask::Outcome FakeTask::WaitForOutcome() {
  std::unique_lock hold(lock);
  EXPECT_FALSE(inRun) << "two runs at once";
  inRun = true;
  ++runs;
  events.push_back("run");
  changed.notify_all();
  changed.wait(hold, [this] {
    const bool stopped = stop || Status() != TaskStatus::Running;
    return !outcomes.empty() || (stopped && onStop == OnStopTask::EndRun);
  });
  inRun = stop = false;
  if (outcomes.empty()) return kGeneral;
  const Outcome outcome = outcomes.front();
  outcomes.pop_front();
  return outcome;
}

void FakeTask::StopTask(TaskStatus status, std::int32_t reason) {
  TransferTask::StopTask(status, reason);
  const std::lock_guard hold(lock);
  if (inRun) stop = true;
  changed.notify_all();
}

bool FakeTask::DeleteFromDB() {
  Note("delete");
  return true;
}

std::shared_ptr<CompleteTask> FakeTask::GetCompleteTask() {
  if (!keepsFinished) return nullptr;
  auto complete = std::make_shared<FakeComplete>();
  complete->UniqueId = id;
  return complete;
}

void FakeTask::Let(Outcome outcome) {
  const std::lock_guard hold(lock);
  outcomes.push_back(outcome);
  changed.notify_all();
}

void FakeTask::WaitForRun(int number) {
  std::unique_lock hold(lock);
  changed.wait(hold, [&] { return runs >= number; });
}

void FakeTask::EndWhenStopped() {
  const std::lock_guard hold(lock);
  onStop = OnStopTask::EndRun;
  changed.notify_all();
}

int FakeTask::Runs() {
  const std::lock_guard hold(lock);
  return runs;
}

std::vector<std::string> FakeTask::Events() {
  const std::lock_guard hold(lock);
  return events;
}

void FakeTask::Note(const std::string& event) {
  const std::lock_guard hold(lock);
  events.push_back(event);
}
