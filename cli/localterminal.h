#pragma once

#include "host/profile/commandterminal.h"

// The terminal, or whatever else stands in its place, of this process.
class LocalTerminal : public CommandTerminal {
 public:
  LocalTerminal();

  void Write(std::string_view text) override;
  void Flush() override;
  void WriteError(std::string_view text) override;
  bool IsGood() const override { return good; }
  bool InputIsTerminal() const override;
  bool ErrorIsTerminal() const override;
  std::optional<std::string> ReadLine(const std::string& prompt, Echo echo) override;
  std::error_code ReadFile(const std::filesystem::path& file, std::string& content) override;

 private:
  std::optional<std::string> TypedLine() const;

  std::atomic<bool> good{true};
};
