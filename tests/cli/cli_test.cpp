// The gallery on the command line, as a script sees it.

#include "clitest.h"

#include <sys/mount.h>

#include <csignal>
#include <filesystem>
#include <set>

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0, kFailed = 1, kUsage = 2;

TEST_F(CliTest, FolderBecomesAGalleryThatANewProcessFindsAgain) {
  WritePictures("Trip", 5);
  WritePictures("Trip/Day", 3);
  folder.Write("Trip/notes.txt", "not chosen by anybody");
  const auto import = Run({"import", (folder / "Trip").string()});
  EXPECT_EQ(import.status, kDone);
  const auto albums = Documents({"albums"});
  ASSERT_EQ(albums.size(), 2u);
  std::set<std::string> names{albums[0]["name"].asString(), albums[1]["name"].asString()};
  EXPECT_EQ(names, (std::set<std::string>{"Trip", "Day"}));
  // Pictures of one moment stand in an order that each process has for itself.
  auto first = Run({"ls"}).Lines(), second = Run({"ls"}).Lines();
  std::sort(first.begin(), first.end());
  std::sort(second.begin(), second.end());
  EXPECT_EQ(first.size(), 8u);
  EXPECT_EQ(first, second);
  std::uint64_t counted = 0;
  for (const auto& day : Documents({"timeline"})) counted += day["count"].asUInt64();
  EXPECT_EQ(counted, 8u);
}

TEST_F(CliTest, SecondImportRefusesEachFileAsAlreadyThere) {
  WritePictures("Trip", 4);
  Run({"import", (folder / "Trip").string()});
  const auto again = Run({"import", (folder / "Trip").string()});
  EXPECT_EQ(again.status, kFailed);
  const auto lines = again.Lines();
  ASSERT_EQ(lines.size(), 5u);
  for (int i = 0; i < 4; ++i)
    EXPECT_NE(lines[static_cast<std::size_t>(i)].find("IDS_GALLERT_FILE_ALREADY_EXIST"), std::string::npos);
  EXPECT_EQ(Run({"ls"}).Lines().size(), 4u);
}

TEST_F(CliTest, RefusedFileIsToldWithPathKeyAndWords) {
  folder.Write("a.jpg", "no picture");
  const auto documents = Documents({"import", (folder / "a.jpg").string()});
  ASSERT_EQ(documents.size(), 2u);
  EXPECT_EQ(documents[0]["path"].asString(), (folder / "a.jpg").string());
  EXPECT_EQ(documents[0]["refused"].asString(), "IDS_GALLERT_INCOR_FILE_FORMAT");
  EXPECT_EQ(documents[0]["text"].asString(), "This is no picture or video that the gallery can show.");
}

TEST_F(CliTest, WrongUsageIsItsOwnStatus) {
  EXPECT_EQ(Run({"fly"}).status, kUsage);
  EXPECT_EQ(Run({"move", "some-id"}).status, kUsage);
  EXPECT_EQ(Run({}).status, kUsage);
  EXPECT_EQ(Run({"show", "no-such-file"}).status, kFailed);
}

TEST_F(CliTest, FileGoesThroughTheBinAndBack) {
  WritePictures("Trip", 2);
  Run({"import", (folder / "Trip").string()});
  // A file that was never uploaded does not go through the bin.
  const std::string id = IdOf("p0.jpg");
  ASSERT_FALSE(id.empty());
  EXPECT_EQ(Run({"recycle", id}).status, kDone);
  EXPECT_EQ(Run({"ls"}).Lines().size(), 1u);
  EXPECT_EQ(Run({"show", id}).status, kFailed);  // The cloud never saw it: nobody has to be told.
  EXPECT_EQ(Run({"recover", id}).status, kFailed);
  EXPECT_EQ(Run({"delete", "nobody"}).status, kFailed);
}

TEST_F(CliTest, FavoritesAndMovesAreKept) {
  WritePictures("Trip", 2);
  Run({"import", (folder / "Trip").string()});
  const std::string id = IdOf("p0.jpg");
  EXPECT_EQ(Run({"favorite", id}).status, kDone);
  EXPECT_EQ(Documents({"ls", "--album", "Favourites"}).size(), 1u);
  EXPECT_EQ(Run({"unfavorite", id}).status, kDone);
  EXPECT_EQ(Documents({"ls", "--album", "Favourites"}).size(), 0u);
  EXPECT_EQ(Run({"album", "create", "Best"}).status, kDone);
  EXPECT_EQ(Run({"album", "create", "Best"}).status, kFailed);
  EXPECT_EQ(Run({"album", "create", "Recently uploaded"}).status, kFailed);  // a system album is called so
  EXPECT_EQ(Run({"move", id, "--to", "Best"}).status, kDone);
  EXPECT_EQ(Documents({"ls", "--album", "Best"})[0]["id"].asString(), id);
  EXPECT_EQ(Run({"move", id, "--to", "Nowhere"}).status, kFailed);
  EXPECT_EQ(Run({"album", "rename", "Best", "Top"}).status, kDone);
  EXPECT_EQ(Run({"album", "delete", "Top"}).status, kDone);
  EXPECT_EQ(Run({"album", "delete", "Pictures"}).status, kFailed);
  EXPECT_EQ(Documents({"ls"}).size(), 1u);
}

TEST_F(CliTest, HomeListsTheNewestFiles) {
  WritePictures("Trip", 3);
  Run({"import", (folder / "Trip").string()});
  const auto home = Documents({"home"});
  ASSERT_EQ(home.size(), 1u);
  ASSERT_EQ(home[0].size(), 3u);
  EXPECT_EQ(home[0][0]["fileName"].asString(), "p2.jpg");
}

TEST_F(CliTest, ProfilesShareNothing) {
  WritePictures("Trip", 2);
  Run({"import", (folder / "Trip").string()});
  EXPECT_TRUE(RunProgram(Command({"ls"}, "other")).Lines().empty());
  EXPECT_EQ(Run({"ls"}).Lines().size(), 2u);
}

TEST_F(CliTest, DirectoryLoopEnds) {
  WritePictures("Trip", 2);
  fs::create_directory_symlink(folder / "Trip", folder / "Trip/again");
  EXPECT_EQ(Run({"import", (folder / "Trip").string()}).status, kDone);
  EXPECT_EQ(Run({"ls"}).Lines().size(), 2u);
}

TEST_F(CliTest, ThousandFilesOfOneNameAllComeIn) {
  for (int i = 0; i < 1010; ++i) folder.Write("Trip/" + std::to_string(i) + "/same.jpg", Picture(i));
  EXPECT_EQ(Run({"import", (folder / "Trip").string(), "--album", "One"}).status, kDone);
  EXPECT_EQ(Run({"ls", "--album", "One"}).Lines().size(), 1010u);
}

TEST_F(CliTest, ProfileThatCannotBeWrittenIsAnError) {
  folder.Write("profile", "a file stands where the profile should");
  EXPECT_EQ(Run({"ls"}).status, kFailed);
}

// A disk that is full while the import runs: nothing half, and room again later
// completes the set.
TEST_F(CliTest, FullDiskRefusesTheRestAndLosesNothing) {
  const auto profile = folder / "profile";
  fs::create_directories(profile);
  if (mount("tmpfs", profile.c_str(), "tmpfs", 0, "size=9500k") != 0) GTEST_SKIP() << "mounting needs root";
  struct Unmount {
    fs::path path;
    ~Unmount() { umount2(path.c_str(), MNT_DETACH); }
  } const unmount{profile};
  for (int i = 0; i < 300; ++i) {
    folder.Write("Trip/p" + std::to_string(i) + ".jpg",
                 JpegWith(Exif({TextTag(271, "Maker" + std::to_string(i))}), 1600, 1200));
  }
  const auto import = Run({"import", (folder / "Trip").string()});
  EXPECT_EQ(import.status, kFailed);
  EXPECT_NE(import.output.find("IDS_GALLERT_INSUF_CACHE_SPACE"), std::string::npos);
  const auto kept = Run({"ls"}).Lines().size();
  EXPECT_LT(kept, 300u);
  ASSERT_EQ(mount("tmpfs", profile.c_str(), "tmpfs", MS_REMOUNT, "size=200m"), 0);
  Run({"import", (folder / "Trip").string()});
  EXPECT_EQ(Run({"ls"}).Lines().size(), 300u);
}

TEST_F(CliTest, SamplesOfRealCamerasComeInOrAreRefusedWithAReason) {
  const fs::path samples = fs::path(SOURCE_ROOT).parent_path() / "shared/samples";
  if (!fs::exists(samples)) GTEST_SKIP() << "no samples here";
  const auto import = Documents({"import", samples.string()});
  ASSERT_FALSE(import.empty());
  std::size_t pictures = 0;
  for (const auto& entry : fs::recursive_directory_iterator(samples)) {
    pictures += entry.is_regular_file() && entry.path().extension() != ".md";
  }
  EXPECT_EQ(import.back()["added"].asUInt64() + import.back()["refusedCount"].asUInt64(), pictures);
  EXPECT_GE(import.back()["added"].asUInt64(), pictures - 3);
  std::size_t upright = 0;
  for (const auto& file : Documents({"ls", "--album", "orientation"})) {
    const auto fields = Documents({"show", file["id"].asString()})[0];
    EXPECT_TRUE(fs::exists(fields["thumbnail"].asString()));
    upright += fields["thumbnail"].asString().empty() ? 0 : 1;
  }
  EXPECT_EQ(upright, 16u);
}

TEST_F(CliTest, StartPassesOverWhatIsThereAlready) {
  WritePictures("pics", 3);
  EXPECT_EQ(Run({"start", (folder / "pics").string()}).status, 0);
  folder.Write("pics/new.jpg", Picture(99));
  const Finished again = Run({"start", (folder / "pics").string()});
  EXPECT_EQ(again.status, 0);
  EXPECT_NE(again.output.find("\"added\":1"), std::string::npos) << again.output;
  EXPECT_NE(again.output.find("\"thereAlready\":3"), std::string::npos) << again.output;
}

TEST_F(CliTest, NamesInJsonAreThoseOfTheDisk) {
  const std::string strange = "a\tb\x1b[31m.jpg", bytes = "caf\xe9.jpg";
  folder.Write("Trip/" + strange, Picture(1));
  folder.Write("Trip/" + bytes, Picture(2));
  folder.Write("Trip/no\xe9picture.jpg", "nothing");
  const auto import = Documents({"import", (folder / "Trip").string()});
  EXPECT_EQ(import[0]["pathBytes"].asString().substr(import[0]["pathBytes"].asString().size() - 28),
            "6e6fe9706963747572652e6a7067");
  std::set<std::string> names, exact;
  for (const auto& file : Documents({"ls"})) {
    names.insert(file["fileName"].asString());
    exact.insert(file["fileNameBytes"].asString());
  }
  EXPECT_EQ(names, (std::set<std::string>{strange, "caf\xef\xbf\xbd.jpg"}));
  EXPECT_EQ(exact, (std::set<std::string>{"", "636166e92e6a7067"}));
}

TEST_F(CliTest, LinkThatLeadsNowhereIsCalledThat) {
  WritePictures("Trip", 1);
  fs::create_symlink(folder / "nowhere", folder / "Trip/link.jpg");
  for (const fs::path& path : {folder / "Trip", folder / "Trip/link.jpg"}) {
    const auto import = Run({"import", path.string()});
    EXPECT_EQ(import.status, kFailed);
    EXPECT_NE(import.output.find("IDS_GALLERY_DANGLING_LINK"), std::string::npos) << import.output;
  }
}

}  // namespace
