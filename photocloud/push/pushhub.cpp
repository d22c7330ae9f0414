#include "photocloud/push/pushhub.h"

#include <algorithm>

#include "photocloud/base/json.h"

namespace photocloud {
namespace {

// A device that does not read keeps the newest ones: every message only says
// that it has to look again.
constexpr std::size_t kMostWaiting = 64;

}  // namespace

void PushStream::SetListener(std::function<void()> listener) {
  {
    const MutexLock guard(streamLock);
    onReady = std::move(listener);
  }
  Wake();
}

void PushStream::Add(const std::string& event) {
  {
    const MutexLock guard(streamLock);
    waiting.push_back(event);
    if (waiting.size() > kMostWaiting) waiting.pop_front();
  }
  Wake();
}

void PushStream::End() {
  {
    const MutexLock guard(streamLock);
    ended = true;
  }
  Wake();
}

std::string PushStream::Take() {
  const MutexLock guard(streamLock);
  std::string text;
  for (const std::string& event : waiting) text += event;
  waiting.clear();
  return text;
}

bool PushStream::HasEnded() const {
  const MutexLock guard(streamLock);
  return ended;
}

void PushStream::Wake() {
  std::function<void()> listener;
  {
    const MutexLock guard(streamLock);
    listener = onReady;
  }
  if (listener) listener();
}

std::shared_ptr<PushStream> PushHub::Subscribe(std::int64_t account, const std::string& device,
                                               std::int64_t session) {
  auto stream = std::make_shared<PushStream>();
  stream->Add(": listening\n\n");
  const MutexLock guard(hubLock);
  if (closed) stream->End();
  subscribers[account].push_back({device, session, stream});
  return stream;
}

void PushHub::Publish(std::int64_t account, const std::string& exceptDevice, const std::string& cmd,
                      const std::string& body) {
  Json::Value message(Json::objectValue);
  message["cmd"] = cmd;
  message["body"] = body;
  const std::string event = "data: " + WriteJson(message) + "\n\n";
  std::vector<std::shared_ptr<PushStream>> targets;
  {
    const MutexLock guard(hubLock);
    auto& list = subscribers[account];
    std::erase_if(list, [](const Subscriber& entry) { return entry.stream.expired(); });
    for (const Subscriber& entry : list) {
      if (!exceptDevice.empty() && entry.device == exceptDevice) continue;
      if (auto stream = entry.stream.lock()) targets.push_back(std::move(stream));
    }
  }
  for (const auto& stream : targets) stream->Add(event);
}

std::vector<std::pair<std::int64_t, std::shared_ptr<PushStream>>> PushHub::All() {
  std::vector<std::pair<std::int64_t, std::shared_ptr<PushStream>>> all;
  const MutexLock guard(hubLock);
  for (auto& [account, list] : subscribers) {
    for (const Subscriber& entry : list) {
      if (auto stream = entry.stream.lock()) all.emplace_back(entry.session, std::move(stream));
    }
  }
  return all;
}

void PushHub::EndUnless(const std::function<bool(std::int64_t session)>& holds) {
  for (const auto& [session, stream] : All()) {
    if (!holds(session)) stream->End();
  }
}

void PushHub::Close() {
  {
    const MutexLock guard(hubLock);
    closed = true;
  }
  for (const auto& [session, stream] : All()) stream->End();
}

std::size_t PushHub::Count() {
  const MutexLock guard(hubLock);
  std::size_t count = 0;
  for (const auto& [account, list] : subscribers) {
    count += static_cast<std::size_t>(std::count_if(
        list.begin(), list.end(), [](const Subscriber& entry) { return !entry.stream.expired(); }));
  }
  return count;
}

}  // namespace photocloud
