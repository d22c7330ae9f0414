#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/temporaryfolder.h"

// Films that ffmpeg makes, once for the program each.
class Films {
 public:
  // `picture` is a source of ffmpeg ("color=red:s=320x180:r=25"), `more` goes in front of
  // the name.
  static std::filesystem::path Make(const std::string& name, const std::string& picture, int seconds,
                                    const std::string& more = {}) {
    static const TemporaryFolder folder;
    const auto path = folder / name;
    if (std::filesystem::exists(path)) return path;
    const std::string length = ":d=" + std::to_string(seconds);
    const std::string command =
        "ffmpeg -v error -nostdin -y -f lavfi -i " + picture + length + " -f lavfi -i sine=440" + length +
        " -c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac " + more + " '" + path.string() + "'";
    return std::system(command.c_str()) == 0 ? path : std::filesystem::path();
  }
  static std::filesystem::path Red(int seconds) {
    return Make("red" + std::to_string(seconds) + ".mp4", "color=red:s=320x180:r=25", seconds);
  }
  static std::filesystem::path Blue(int seconds) {
    return Make("blue" + std::to_string(seconds) + ".mp4", "color=blue:s=320x180:r=25", seconds);
  }
  // Writes a quarter turn into the head of the first track, as a phone that was held upright
  // does (ISO/IEC 14496-12, 8.3.2: the matrix is 40 bytes behind the box's type).
  static void TurnRight(const std::filesystem::path& path) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const auto head = bytes.find("tkhd");
    ASSERT_NE(head, std::string::npos);
    const unsigned char matrix[36] = {0, 0, 0, 0, 0, 1, 0, 0,   0, 0, 0, 0, 0xFF, 0xFF, 0,    0, 0, 0,
                                      0, 0, 0, 0, 0, 0, 0, 180, 0, 0, 0, 0, 0,    0,    0x40, 0, 0, 0};
    file.clear();
    file.seekp(static_cast<std::streamoff>(head + 4 + 40));
    file.write(reinterpret_cast<const char*>(matrix), sizeof matrix);
  }
  // So much happens in it that it is not small: about 3 MB in 30 s.
  static std::filesystem::path Busy(const std::string& more = {}) {
    return Make(more.empty() ? "busy.mp4" : "busy-fast.mp4", "testsrc2=s=320x180:r=25", 30, more);
  }
};
