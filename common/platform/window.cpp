#include "common/platform/window.h"

#include <condition_variable>
#include <memory>
#include <optional>
#include <thread>
#include <unordered_map>
#include <utility>

#include "common/platform/mutex.h"

namespace platform {
namespace {

struct Message {
  UINT number;
  WPARAM word;
  LPARAM value;
};

// One registered window. Its lock guards flags and counters only; handler and
// dispatcher run outside it.
class Window {
 public:
  Window(WindowHandler windowHandler, WindowDispatcher windowDispatcher)
      : handler(std::move(windowHandler)), dispatcher(std::move(windowDispatcher)) {}

  bool OnOwnThread() const { return std::this_thread::get_id() == owner; }

  // Runs `work` on the window's thread later; false when the window is closed.
  bool Dispatch(std::function<void()> work) {
    {
      MutexLock hold(lock);
      if (closed) return false;
      ++dispatching;
    }
    dispatcher(std::move(work));
    MutexLock hold(lock);
    --dispatching;
    changed.notify_all();
    return true;
  }

  // The handler's result; nothing when the window is closed.
  std::optional<LRESULT> Deliver(const Message& message) {
    {
      MutexLock hold(lock);
      if (closed) return std::nullopt;
      ++running;
    }
    const LRESULT result = handler(message.number, message.word, message.value);
    MutexLock hold(lock);
    --running;
    changed.notify_all();
    return result;
  }

  // From the return on neither handler nor dispatcher is called. A handler may
  // close its own window and then finishes on its own.
  void Close() {
    MutexLock hold(lock);
    closed = true;
    changed.notify_all();
    while (dispatching > 0 || (running > 0 && !OnOwnThread())) changed.wait(lock);
  }

  struct Reply {
    enum class Stage { Queued, Running, Done };
    Stage stage = Stage::Queued;
    LRESULT result = 0;
  };

  // A reply is guarded by the lock of its window.
  void Answer(const Message& message, Reply& reply) {
    {
      MutexLock hold(lock);
      if (closed) return;
      reply.stage = Reply::Stage::Running;
    }
    const LRESULT result = Deliver(message).value_or(0);
    MutexLock hold(lock);
    reply = {Reply::Stage::Done, result};
    changed.notify_all();
  }

  // A handler that has begun is waited for even when the window closes: the
  // message may point to memory of the sender.
  LRESULT WaitFor(const Reply& reply) {
    MutexLock hold(lock);
    while (reply.stage != Reply::Stage::Done && !(closed && reply.stage == Reply::Stage::Queued)) {
      changed.wait(lock);
    }
    return reply.result;
  }

 private:
  const WindowHandler handler;
  const WindowDispatcher dispatcher;
  const std::thread::id owner = std::this_thread::get_id();

  Mutex lock;
  std::condition_variable_any changed;
  bool closed GUARDED_BY(lock) = false;
  int dispatching GUARDED_BY(lock) = 0;
  int running GUARDED_BY(lock) = 0;
};

class Registry {
 public:
  // Never destroyed: workers may still post while the process ends.
  static Registry& Get() {
    static Registry& registry = *new Registry;
    return registry;
  }

  HWND Add(std::shared_ptr<Window> window) {
    WriterLock hold(lock);
    // Handles count up and are not addresses of the windows, so none is reused.
    const auto handle = reinterpret_cast<HWND>(nextHandle);  // NOLINT(performance-no-int-to-ptr)
    nextHandle += 4;
    windows.emplace(handle, std::move(window));
    return handle;
  }

  std::shared_ptr<Window> Find(HWND handle) {
    ReaderLock hold(lock);
    const auto found = windows.find(handle);
    return found == windows.end() ? nullptr : found->second;
  }

  std::shared_ptr<Window> Remove(HWND handle) {
    WriterLock hold(lock);
    const auto found = windows.find(handle);
    if (found == windows.end()) return nullptr;
    auto window = std::move(found->second);
    windows.erase(found);
    return window;
  }

 private:
  SharedMutex lock;
  std::unordered_map<HWND, std::shared_ptr<Window>> windows GUARDED_BY(lock);
  std::uintptr_t nextHandle GUARDED_BY(lock) = 0x10000;
};

}  // namespace

HWND RegisterWindow(WindowHandler handler, WindowDispatcher dispatcher) {
  return Registry::Get().Add(std::make_shared<Window>(std::move(handler), std::move(dispatcher)));
}

void UnregisterWindow(HWND window) {
  if (const auto found = Registry::Get().Remove(window)) found->Close();
}

bool IsWindow(HWND window) { return window && Registry::Get().Find(window); }

bool PostMessageW(HWND window, UINT message, WPARAM word, LPARAM value) {
  const auto found = Registry::Get().Find(window);
  if (!found) return false;
  return found->Dispatch([found, posted = Message{message, word, value}] { (void)found->Deliver(posted); });
}

LRESULT SendMessageW(HWND window, UINT message, WPARAM word, LPARAM value) {
  const auto found = Registry::Get().Find(window);
  if (!found) return 0;
  const Message sent{message, word, value};
  if (found->OnOwnThread()) return found->Deliver(sent).value_or(0);
  const auto reply = std::make_shared<Window::Reply>();
  if (!found->Dispatch([found, reply, sent] { found->Answer(sent, *reply); })) return 0;
  return found->WaitFor(*reply);
}

}  // namespace platform
