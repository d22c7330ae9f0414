#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "photocloud/base/mutex.h"

namespace photocloud {

// The messages that wait for one device, as text of server-sent events.
//
// The hub writes, the connection reads. Safe to call from any thread; the
// listener is called outside the lock.
class PushStream {
 public:
  // `listener` is called whenever there is something to take or the end has
  // come. An empty one ends the calls.
  void SetListener(std::function<void()> listener);
  void Add(const std::string& event);
  void End();

  // Everything that waits, as one text.
  std::string Take();
  bool HasEnded() const;

 private:
  void Wake();

  mutable Mutex streamLock;
  std::function<void()> onReady GUARDED_BY(streamLock);
  std::deque<std::string> waiting GUARDED_BY(streamLock);
  bool ended GUARDED_BY(streamLock) = false;
};

// Carries messages to the devices of an account that are listening now. A
// device that is not listening misses them and finds out by its next pull.
// Safe to call from any thread.
class PushHub {
 public:
  std::shared_ptr<PushStream> Subscribe(std::int64_t account, const std::string& device,
                                        std::int64_t session);

  // Sends to all devices of the account but `exceptDevice`.
  void Publish(std::int64_t account, const std::string& exceptDevice, const std::string& cmd,
               const std::string& body);

  // Ends the streams of sessions that `holds` knows no more. It is called
  // outside the lock.
  void EndUnless(const std::function<bool(std::int64_t session)>& holds);

  // Ends all streams, and each new one at once.
  void Close();
  std::size_t Count();

 private:
  struct Subscriber {
    std::string device;
    std::int64_t session = 0;
    std::weak_ptr<PushStream> stream;
  };

  std::vector<std::pair<std::int64_t, std::shared_ptr<PushStream>>> All();

  Mutex hubLock;
  std::map<std::int64_t, std::vector<Subscriber>> subscribers GUARDED_BY(hubLock);
  bool closed GUARDED_BY(hubLock) = false;
};

}  // namespace photocloud
