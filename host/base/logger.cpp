#include "host/base/logger.h"

#include <json/json.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>

#include "common/platform/clock.h"
#include "common/platform/files.h"
#include "common/platform/mutex.h"
#include "host/base/credentialmask.h"

namespace Logger {
namespace {

constexpr char kLinePattern[] = "%Y-%m-%d %H:%M:%S.%e %L [%t] %v";
constexpr char kBarePattern[] = "%v";

struct Level {
  Severity severity;
  spdlog::level::level_enum level;
};
constexpr std::array<Level, 4> kLevels{{{Severity::Error, spdlog::level::err},
                                        {Severity::Warning, spdlog::level::warn},
                                        {Severity::Information, spdlog::level::info},
                                        {Severity::Debug, spdlog::level::debug}}};

spdlog::level::level_enum LevelOf(Severity severity) {
  for (const Level& known : kLevels) {
    if (severity >= known.severity) return known.level;
  }
  return spdlog::level::debug;
}

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

void AppendEscaped(char c, std::string& line) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  switch (c) {
    case '\n':
      line += "\\n";
      return;
    case '\r':
      line += "\\r";
      return;
    case '\t':
      line += "\\t";
      return;
    default:
      line += "\\x";
      line += kDigits[static_cast<unsigned char>(c) >> 4];
      line += kDigits[c & 0x0F];
  }
}

std::string OnOneLine(const std::string& text) {
  std::string line;
  line.reserve(text.size());
  for (const char c : text) IsControl(c) ? AppendEscaped(c, line) : line.push_back(c);
  return line;
}

std::filesystem::path OperationsFile(const std::filesystem::path& file) {
  std::filesystem::path name = file.stem();
  name += "-operations";
  name += file.extension();
  return file.parent_path() / name;
}

std::shared_ptr<spdlog::logger> MakeLog(const std::filesystem::path& file, const LogLimits& limits,
                                        const char* pattern) {
  // The library counts the rotated files beside the one being written.
  const std::size_t rotated = limits.files > 1 ? limits.files - 1 : 1;
  auto sink =
      std::make_shared<spdlog::sinks::rotating_file_sink_mt>(file.string(), limits.fileBytes, rotated);
  auto log = std::make_shared<spdlog::logger>("zentara", std::move(sink));
  log->set_pattern(pattern);
  log->set_level(spdlog::level::debug);
  log->flush_on(spdlog::level::warn);
  return log;
}

void ToStandardError(std::string_view text) {
  (void)std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
}

}  // namespace

struct CloudLogger::State {
  struct Logs {
    std::shared_ptr<spdlog::logger> lines;
    std::shared_ptr<spdlog::logger> operations;
  };

  Logs Present() {
    platform::ReaderLock hold(lock);
    return logs;
  }

  void Use(Logs next) {
    {
      platform::WriterLock hold(lock);
      std::swap(logs, next);
      opened.store(logs.lines != nullptr, std::memory_order_relaxed);
    }
    Flush(next);
  }

  static void Flush(const Logs& flushed) {
    if (flushed.lines) flushed.lines->flush();
    if (flushed.operations) flushed.operations->flush();
  }

  std::atomic<bool> opened{false};
  std::atomic<Severity> lowest{Severity::Information};
  platform::SharedMutex lock;
  Logs logs GUARDED_BY(lock);
};

CloudLogger::CloudLogger() : state(new State) {}

CloudLogger* CloudLogger::GetInstance() {
  static CloudLogger* const instance = new CloudLogger;
  return instance;
}

bool CloudLogger::Open(const std::filesystem::path& file, const LogLimits& limits) {
  Close();
  std::string reason;
  if (const auto error = platform::MakeFolder(file.parent_path())) {
    reason = error.message();
  } else {
    try {
      state->Use({MakeLog(file, limits, kLinePattern), MakeLog(OperationsFile(file), limits, kBarePattern)});
      return true;
    } catch (const std::exception& failure) {
      reason = failure.what();
    }
  }
  ToStandardError("Cannot open the log " + file.string() + ": " + reason);
  return false;
}

void CloudLogger::Close() { state->Use({}); }

void CloudLogger::SetLevel(Severity lowest) { state->lowest.store(lowest, std::memory_order_relaxed); }

bool CloudLogger::Enabled(Severity severity) const {
  if (severity < state->lowest.load(std::memory_order_relaxed)) return false;
  return severity >= Severity::Error || state->opened.load(std::memory_order_relaxed);
}

void CloudLogger::Output(std::string_view module, Severity severity, int line, std::string_view tag,
                         std::string_view text) {
  if (!Enabled(severity)) return;
  // Masked before line breaks go: a header's value ends at one.
  const std::string safe = OnOneLine(MaskCredentials(text));
  const auto log = state->Present().lines;
  if (log) {
    log->log(LevelOf(severity), "{} {}:{} {}", module, tag, line, safe);
  } else if (severity >= Severity::Error) {
    ToStandardError(std::string(tag) + ": " + safe);
  }
}

void CloudLogger::ReportLog() { State::Flush(state->Present()); }

void CloudLogger::OutputOperation(const std::string& json) {
  const auto log = state->Present().operations;
  if (log) log->log(spdlog::level::info, MaskCredentials(json));
}

void CloudLogger::ReportLog(int event, const std::string& json) {
  OutputOperation("{\"event\":" + std::to_string(event) + ",\"report\":" + json +
                  ",\"time\":" + std::to_string(platform::NowMs()) + "}");
}

void OutputOperationLog(int event, int type, int action, const std::map<std::string, std::string>& values) {
  Json::Value entry;
  entry["time"] = Json::Int64{platform::NowMs()};
  entry["event"] = event;
  entry["type"] = type;
  entry["action"] = action;
  Json::Value& details = entry["values"] = Json::Value(Json::objectValue);
  for (const auto& [name, value] : values) details[name] = value;
  Json::StreamWriterBuilder compact;
  compact["indentation"] = "";
  compact["emitUTF8"] = true;
  CloudLogger::GetInstance()->OutputOperation(Json::writeString(compact, entry));
}

}  // namespace Logger
