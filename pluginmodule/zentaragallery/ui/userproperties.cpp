#include "ui/userproperties.h"

#include <charconv>
#include <map>

#include "common/platform/mutex.h"
#include "host/base/drivethreadpool.h"
#include "host/base/globalparamwrapper.h"

namespace UserProperties {
namespace {

// What was set since the start: the newest value holds, whether or not it has
// reached the disk.
struct Fresh {
  platform::Mutex lock;
  std::map<std::string, std::string> values GUARDED_BY(lock);
  platform::Mutex writing;

  void Write(const std::string& name) {
    platform::MutexLock one(writing);
    std::string value;
    {
      platform::MutexLock hold(lock);
      value = values[name];
    }
    (void)GlobalParamWrapper::GetInstance()->SetUserProperty(name, value);
  }
};

Fresh& Values() {
  static Fresh& fresh = *new Fresh;  // Workers may still write.
  return fresh;
}

}  // namespace

std::string GetText(const char* name) {
  Fresh& fresh = Values();
  {
    platform::MutexLock hold(fresh.lock);
    if (const auto found = fresh.values.find(name); found != fresh.values.end()) return found->second;
  }
  return GlobalParamWrapper::GetInstance()->GetUserProperty(name);
}

int GetNumber(const char* name, int otherwise) {
  const std::string text = GetText(name);
  int value = otherwise;
  (void)std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

bool GetFlag(const char* name) { return GetNumber(name, 0) != 0; }

void Set(const char* name, int value) { Set(name, std::to_string(value)); }

void Set(const char* name, const std::string& value) {
  Fresh& fresh = Values();
  {
    platform::MutexLock hold(fresh.lock);
    fresh.values[name] = value;
  }
  const auto write = [name = std::string(name)] { Values().Write(name); };
  if (!CommonAbility::DriveThreadPool::GetInstance().Add(write)) write();
}

}  // namespace UserProperties
