#include "model/records/recordtexts.h"

#include <cstring>
#include <unordered_set>

namespace {

using End = std::uint32_t;
constexpr std::size_t kHeaderBytes = kFileTextCount * sizeof(End);
constexpr std::size_t kLockCount = 64;

End EndOf(const char* block, std::size_t index) {
  End end;
  std::memcpy(&end, block + index * sizeof(End), sizeof(End));
  return end;
}

std::unique_ptr<char[]> Pack(const FileTexts& texts) {
  std::size_t bytes = kHeaderBytes;
  for (const auto text : texts) bytes += text.size();
  std::unique_ptr<char[]> block(new char[bytes]);
  End end = kHeaderBytes;
  for (std::size_t i = 0; i < kFileTextCount; ++i) {
    if (!texts[i].empty()) std::memcpy(block.get() + end, texts[i].data(), texts[i].size());
    end += static_cast<End>(texts[i].size());
    std::memcpy(block.get() + i * sizeof(End), &end, sizeof(End));
  }
  return block;
}

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

}  // namespace

platform::Mutex& RecordTexts::LockOf(const RecordTexts* texts) {
  static std::array<platform::Mutex, kLockCount> locks;
  return locks[(reinterpret_cast<std::uintptr_t>(texts) / 64) % kLockCount];
}

std::string_view RecordTexts::View(FileText which) const {
  if (!block) return {};
  const auto index = static_cast<std::size_t>(which);
  const std::size_t start = index == 0 ? kHeaderBytes : EndOf(block.get(), index - 1);
  return {block.get() + start, EndOf(block.get(), index) - start};
}

FileTexts RecordTexts::Views() const {
  FileTexts texts;
  for (std::size_t i = 0; i < kFileTextCount; ++i) texts[i] = View(static_cast<FileText>(i));
  return texts;
}

std::string RecordTexts::Get(FileText which) const {
  return With(which, [](std::string_view text) { return std::string(text); });
}

void RecordTexts::Set(FileText which, std::string_view text) {
  platform::MutexLock hold(LockOf(this));
  FileTexts texts = Views();
  texts[static_cast<std::size_t>(which)] = text;
  block = Pack(texts);
}

void RecordTexts::SetAll(const FileTexts& texts) {
  auto packed = Pack(texts);
  platform::MutexLock hold(LockOf(this));
  block = std::move(packed);
}

const std::string* InternText(std::string_view text) {
  static platform::SharedMutex lock;
  static std::unordered_set<std::string, TextHash, std::equal_to<>> texts;
  {
    platform::ReaderLock hold(lock);
    if (const auto found = texts.find(text); found != texts.end()) return &*found;
  }
  platform::WriterLock hold(lock);
  return &*texts.emplace(text).first;
}
