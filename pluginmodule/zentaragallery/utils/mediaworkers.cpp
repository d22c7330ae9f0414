#include "utils/mediaworkers.h"

#include "utils/filereading.h"
#include "utils/galleryutilslog.h"
#include "utils/picturemetadata.h"

namespace fs = std::filesystem;

namespace {

constexpr char kTag[] = "MediaWorkers";
constexpr char kProgram[] = "zentara-mediaworker";
// Thumbnails of the largest pictures that are taken come about in a few seconds.
constexpr std::chrono::seconds kDeadline{15};
// A program whose libraries are missing ends so before it begins.
constexpr int kCannotLoad = 127;

fs::path FindProgram() {
  std::error_code error;
  for (const fs::path& folder : platform::ProgramFolders())
    if (fs::exists(folder / kProgram, error)) return folder / kProgram;
  return {};
}

std::atomic<MediaWorkers*> replacement{nullptr};

}  // namespace

MediaWorkers& MediaWorkers::GetInstance() {
  if (MediaWorkers* other = replacement) return *other;
  // Never destroyed: its processes end when they see that this one is gone.
  static MediaWorkers* const instance = new MediaWorkers(FindProgram(), kDeadline);
  return *instance;
}

void MediaWorkers::Replace(MediaWorkers* other) { replacement = other; }

MediaWorkers::MediaWorkers(fs::path helper, std::chrono::milliseconds deadline)
    : program(std::move(helper)), patience(deadline) {}

MediaWorkers::~MediaWorkers() = default;

MediaWorkers::Outcome MediaWorkers::Ask(const Json::Value& request, Json::Value& answer) {
  Json::Value whole = request;
  // A host may change its zone while the process lives.
  if (const char* zone = std::getenv("TZ")) whole["zone"] = zone;
  const std::string text = CompactJson(whole);
  for (;;) {
    bool isFresh = false;
    Worker worker = Take(isFresh);
    if (!worker) return Outcome::NoWorker;
    Outcome outcome = AskOnce(worker, text, answer);
    if (outcome == Outcome::Died) {
      const int status = worker->Wait();
      if (status == 0 && !isFresh) continue;  // It was idle for too long just now.
      if (status == kCannotLoad && isFresh) outcome = Outcome::NoWorker;
      LogUtilsError(__LINE__, kTag, "the helper program ended: " + std::to_string(status));
    }
    if (outcome != Outcome::Answered) return outcome;
    platform::MutexLock hold(lock);
    idle.push_back(std::move(worker));
    return outcome;
  }
}

void MediaWorkers::Prepare() {
  bool isFresh = false;
  Worker worker = Take(isFresh);
  if (!worker) return;
  const platform::MutexLock hold(lock);
  idle.push_back(std::move(worker));
}

MediaWorkers::Worker MediaWorkers::Take(bool& isFresh) {
  {
    platform::MutexLock hold(lock);
    if (!idle.empty()) {
      Worker worker = std::move(idle.back());
      idle.pop_back();
      return worker;
    }
  }
  isFresh = true;
  Worker worker = program.empty() ? nullptr : platform::ChildProcess::Start(program);
  if (!worker) NoteMissing();
  return worker;
}

MediaWorkers::Outcome MediaWorkers::AskOnce(Worker& worker, const std::string& request,
                                            Json::Value& answer) const {
  using Received = platform::ChildProcess::Received;
  if (!worker->Send(request)) return Outcome::Died;
  std::string text;
  switch (worker->Receive(text, patience, &FileReading::GoesOn)) {
    case Received::Message:
      answer = ParseJson(text);
      return answer.isObject() ? Outcome::Answered : Outcome::Died;
    case Received::Ended:
      return Outcome::Died;
    case Received::Stopped:
      return Outcome::Stopped;
    case Received::TooLate:
      break;
  }
  FileReading::NoteTooSlow();
  LogUtilsError(__LINE__, kTag, "a reading took longer than " + std::to_string(patience.count()) + " ms");
  return Outcome::TooSlow;
}

void MediaWorkers::NoteMissing() {
  platform::MutexLock hold(lock);
  if (isMissingTold) return;
  isMissingTold = true;
  LogUtilsError(__LINE__, kTag, "no helper program: files are read in this process, without a deadline");
}
