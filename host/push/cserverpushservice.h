#pragma once

#include <chrono>
#include <memory>

#include "host/push/cserverpushserviceevents.h"

// Keeps the service's push stream open while a user is logged in at a service, and
// hands its commands to the delegates. A stream that ends, fails or falls silent
// is opened again, after a pause that doubles with each failure in a row.
//
// Commands that come while no stream is open are lost; the next sync finds out
// what they were about. Safe from any thread; delegates are called on the push
// thread, outside all locks, in the order in which they were added.
class CServerPushService {
 public:
  // An object and its member that takes the messages. The object must stay until
  // RemoveDelegate has returned.
  class Delegate {
   public:
    template <typename Object>
    Delegate(Object* object, void (Object::*member)(const PushMessage&))
        : bound(std::make_shared<Bound<Object>>(object, member)) {}
    void operator()(const PushMessage& message) const { bound->Call(message); }
    // The same member of the same object.
    bool operator==(const Delegate& other) const { return bound->IsSame(*other.bound); }

   private:
    struct Binding {
      virtual ~Binding() = default;
      virtual void Call(const PushMessage& message) const = 0;
      virtual bool IsSame(const Binding& other) const = 0;
    };
    template <typename Object>
    struct Bound : Binding {
      Bound(Object* target, void (Object::*function)(const PushMessage&))
          : object(target), member(function) {}
      void Call(const PushMessage& message) const override { (object->*member)(message); }
      bool IsSame(const Binding& other) const override {
        const auto* same = dynamic_cast<const Bound*>(&other);
        return same && same->object == object && same->member == member;
      }
      Object* object;
      void (Object::*member)(const PushMessage&);
    };
    std::shared_ptr<const Binding> bound;
  };

  static CServerPushService* GetInstance();

  // Appends the delegate unless an equal one is there; false then.
  bool AddDelegate(const Delegate& delegate);
  // After the return it is not called any more; called from a delegate, the call
  // that runs goes on.
  void RemoveDelegate(const Delegate& delegate);

  // Starts the push thread; false when it runs already.
  bool Start();
  // Ends it, within a second or so, and waits for it.
  void Stop();

  // The pause after a first failure and the longest one. Holds from the next pause
  // on.
  void SetPauses(std::chrono::milliseconds first, std::chrono::milliseconds longest);

 private:
  CServerPushService();
  ~CServerPushService() = delete;  // lives until the process ends
  struct State;
  State* const state;
};
