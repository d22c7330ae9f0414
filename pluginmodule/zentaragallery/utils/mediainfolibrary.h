#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

// The media library, loaded at run time, so that the gallery starts without it.
//
// Only its buffer interface is used. Given a path, it would convert the wide text
// by the locale's character set, which loses names in a "C" locale, and take
// "http://" and list files for something to follow.
class MediaInfoLibrary {
 public:
  // The library of this process, loaded at the first call; null when it is not
  // there. Safe from any thread.
  static const MediaInfoLibrary* Get();
  // Null when there is no library of that name or it lacks a function.
  static std::unique_ptr<MediaInfoLibrary> Load(const char* name);

  // Stream and information kinds of Get.
  static constexpr int kGeneral = 0;
  static constexpr int kVideo = 1;
  static constexpr int kValue = 1;
  static constexpr int kName = 0;
  // Bit of BufferContinue: the library has seen enough.
  static constexpr std::size_t kFinished = 8;
  // BufferWanted: go on where reading stopped.
  static constexpr std::uint64_t kNoJump = UINT64_MAX;

  void* (*New)() = nullptr;
  void (*Delete)(void* handle) = nullptr;
  void (*Close)(void* handle) = nullptr;
  std::size_t (*BufferInit)(void* handle, std::uint64_t fileSize, std::uint64_t offset) = nullptr;
  std::size_t (*BufferContinue)(void* handle, const std::uint8_t* bytes, std::size_t count) = nullptr;
  std::uint64_t (*BufferWanted)(void* handle) = nullptr;
  std::size_t (*BufferFinalize)(void* handle) = nullptr;
  const wchar_t* (*Value)(void* handle, int stream, std::size_t index, const wchar_t* parameter,
                          int information, int search) = nullptr;
};
