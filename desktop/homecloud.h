#pragma once

#include <QObject>
#include <QProcess>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// A photo cloud of the user's own on this computer, started and looked after by the
// window. Its folder "home-cloud" in the profile's data holds the cloud's data, its log,
// the address at which it was last, and the password of its one account, made at random
// and readable by the user only; `./run --headless` uses the same.
// User-interface thread; the service ends with the object.
class HomeCloud : public QObject {
 public:
  explicit HomeCloud(std::filesystem::path dataFolder);
  ~HomeCloud() override;

  static constexpr char kUser[] = "home";

  // Whether it was made before.
  bool Exists() const;
  // Whether that service address is its last one.
  bool IsAt(const std::string& server) const;
  std::string Password() const;
  // "http://127.0.0.1:PORT" while it serves, else empty.
  std::string Address() const { return address; }

  // Makes what is missing and serves; `done` is called once, with what went wrong or
  // an empty text.
  void Start(std::function<void(const QString& error)> done);

 private:
  void Serve(const QString& at);
  void OnLine();
  void OnEnd();
  void Finish(const QString& error);
  QString Program() const;
  QString Failed(const QString& what) const;

  const std::filesystem::path folder;
  QProcess server;
  std::string address;
  std::vector<std::function<void(const QString&)>> told;
  bool starting = false;
  bool triedLast = false;
};
