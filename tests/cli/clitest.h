#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <sstream>

#include "support/process.h"
#include "tests/support/picturefiles.h"
#include "tests/support/temporaryfolder.h"

// The program on a profile of its own.
class CliTest : public testing::Test {
 protected:
  std::vector<std::string> Command(std::vector<std::string> words,
                                   const std::string& profileName = "profile") {
    words.insert(words.begin(), {ZENTARACTL, "--profile", (folder / profileName).string(), "--json"});
    return words;
  }
  Finished Run(const std::vector<std::string>& words) { return RunProgram(Command(words)); }
  // The documents that a command prints, one a line.
  std::vector<Json::Value> Documents(const std::vector<std::string>& words) {
    std::vector<Json::Value> documents;
    for (const auto& line : Run(words).Lines()) documents.push_back(Parsed(line));
    return documents;
  }
  static Json::Value Parsed(const std::string& line) {
    std::istringstream text(line);
    Json::Value document;
    Json::CharReaderBuilder builder;
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(builder, text, &document, &errors)) << line;
    return document;
  }
  // A small picture unlike every other.
  static std::string Picture(int number) {
    char date[32];
    std::snprintf(date, sizeof date, "2020:%02d:%02d 10:11:12", 1 + number / 28 % 12, 1 + number % 28);
    return JpegWith(Exif({TextTag(271, "Maker" + std::to_string(number))}, {TextTag(36867, date)}), 16, 16);
  }
  void WritePictures(const std::string& name, int count) {
    for (int i = 0; i < count; ++i) folder.Write(name + "/p" + std::to_string(i) + ".jpg", Picture(i));
  }
  std::string IdOf(const std::string& fileName) {
    for (const auto& file : Documents({"ls"})) {
      if (file["fileName"].asString() == fileName) return file["id"].asString();
    }
    return "";
  }

  TemporaryFolder folder;
};
