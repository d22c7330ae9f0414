// Bursts: from names to groups behind a cover.

#include <algorithm>
#include <map>
#include <random>
#include <regex>

#include "support/gallerytest.h"

namespace {

class BurstTest : public GalleryTest {
 protected:
  FilePtr Shot(const std::string& id, int number, bool cover = false,
               const std::string& albumId = "default-album-1", const std::wstring& stem = L"IMG_1") {
    auto file = CloudFile(id, albumId, 1'600'000'000'000 + number);
    wchar_t digits[8];
    std::swprintf(digits, 8, L"%03d", number);
    file->SetFileName(stem + L"_BURST" + digits + (cover ? L"_COVER" : L"") + L".jpg");
    file->ParseBurstName();
    return file;
  }
  Album::Ptr Camera() { return gallery.GetAlbum("default-album-1"); }
  Album::Ptr TimeLine() { return AlbumOf(AlbumKind::TimeLine); }
  static int Parse(const std::wstring& name, GalleryFile& file) {
    file.SetFileName(name);
    return file.ParseBurstName();
  }
};

TEST_F(BurstTest, NameOfACoverAndOfAMember) {
  GalleryFile cover, member;
  EXPECT_TRUE(Parse(L"IMG_2024_BURST001_COVER.jpg", cover));
  EXPECT_EQ(cover.ContinuousType, 1);
  EXPECT_EQ(cover.ContinuousNo, 1);
  EXPECT_EQ(cover.ContinuousName(), L"IMG_2024");
  EXPECT_TRUE(Parse(L"IMG_2024_BURST002.jpg", member));
  EXPECT_EQ(member.ContinuousType, 2);
  EXPECT_EQ(member.ContinuousNo, 2);
  EXPECT_EQ(member.ContinuousName(), L"IMG_2024");
}

TEST_F(BurstTest, TwoDigitsAreNoBurst) {
  GalleryFile file;
  EXPECT_FALSE(Parse(L"IMG_BURST12.jpg", file));
  EXPECT_EQ(file.ContinuousType, 0);
}

TEST_F(BurstTest, KnownBurstIsNotReadAgain) {
  GalleryFile file;
  Parse(L"A_BURST001.jpg", file);
  EXPECT_TRUE(Parse(L"plain.jpg", file));
  EXPECT_EQ(file.ContinuousName(), L"A");
}

// The reading by hand gives what the standard library's expression gives.
TEST_F(BurstTest, NamesReadAsTheExpressionSays) {
  const std::wregex expression(L"([^/]*)_BURST(\\d{3})(_COVER)*.jpg$");
  std::vector<std::wstring> names{L"",
                                  L"_BURST001.jpg",
                                  L"a_BURST001xjpg",
                                  L"a_BURST001jpg",
                                  L"a/b_BURST001.jpg",
                                  L"a_BURST001/b_BURST002.jpg",
                                  L"a_BURST001_BURST002.jpg",
                                  L"a_burst001.jpg",
                                  L"a_BURST001.JPG",
                                  L"a_BURST001_COVER_COVER.jpg",
                                  L"a_BURST001_COVE.jpg",
                                  L"a_BURST001.jpg.jpg",
                                  L"a_BURST0011.jpg",
                                  L"a_BURST001\n.jpg",
                                  L"a_BURST001\njpg"};
  const std::vector<std::wstring> pieces{L"_BURST", L"_COVER", L".jpg", L"jpg", L"001",
                                         L"12",     L"/",      L"a",    L"."};
  std::mt19937 random(3);
  for (int i = 0; i < 20'000; ++i) {
    std::wstring name;
    for (unsigned n = 1 + random() % 7; n > 0; --n) name += pieces[random() % pieces.size()];
    names.push_back(name);
  }
  for (const auto& name : names) {
    std::wsmatch match;
    const bool expected = std::regex_search(name, match, expression);
    GalleryFile file;
    ASSERT_EQ(Parse(name, file) != 0, expected) << std::string(name.begin(), name.end());
    if (!expected) continue;
    ASSERT_EQ(file.ContinuousName(), match[1].str());
    ASSERT_EQ(file.ContinuousNo, std::stoi(match[2].str()));
    ASSERT_EQ(file.ContinuousType, match[3].length() > 0 ? 1 : 2);
  }
}

TEST_F(BurstTest, NameOfAnyLengthIsRead) {
  GalleryFile file;
  EXPECT_TRUE(Parse(std::wstring(1'000'000, L'a') + L"_BURST001.jpg", file));
}

TEST_F(BurstTest, TenShotsFoldInAnyOrderOfArrival) {
  std::mt19937 random(11);
  for (int round = 0; round < 30; ++round) {
    SCOPED_TRACE(round);
    Restart();
    Files shots{Shot("cover", 1, true)};
    for (int i = 2; i <= 10; ++i) shots.push_back(Shot("m" + std::to_string(i), i));
    std::shuffle(shots.begin(), shots.end(), random);
    for (std::size_t at = 0; at < shots.size();) {
      const std::size_t count = std::min<std::size_t>(1 + random() % 4, shots.size() - at);
      gallery.AddFiles({shots.begin() + static_cast<std::ptrdiff_t>(at),
                        shots.begin() + static_cast<std::ptrdiff_t>(at + count)});
      at += count;
    }
    ASSERT_EQ(Ids(Camera()), std::vector<std::string>{"cover"});
    ASSERT_EQ(Ids(TimeLine()), std::vector<std::string>{"cover"});
    ASSERT_EQ(Ids(AlbumOf(AlbumKind::AllPictures)), std::vector<std::string>{"cover"});
    ASSERT_EQ(gallery.GetFile("cover")->GetMembers().size(), 9u);
    ASSERT_EQ(Camera()->pictureCount, 1u);
  }
}

TEST_F(BurstTest, MemberIsListedUntilItsCoverComes) {
  const auto member = Shot("m", 2);
  Add({member});
  EXPECT_TRUE(Holds(Camera(), member));
  EXPECT_TRUE(Holds(TimeLine(), member));
  const auto cover = Shot("c", 1, true);
  Add({cover});
  EXPECT_FALSE(Holds(Camera(), member));
  EXPECT_FALSE(Holds(TimeLine(), member));
  EXPECT_TRUE(cover->HasMember(member));
}

TEST_F(BurstTest, SecondCoverJoinsTheFirst) {
  const auto first = Shot("c1", 1, true), second = Shot("c2", 5, true);
  Add({first});
  Add({second});
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"c1"});
  EXPECT_TRUE(first->HasMember(second));
}

TEST_F(BurstTest, MemberOfAnotherAlbumStaysAlone) {
  CloudAlbum("other", L"Other");
  const auto cover = Shot("c", 1, true), member = Shot("m", 2, false, "other");
  Add({cover, member});
  EXPECT_FALSE(cover->HasMembers());
  EXPECT_TRUE(Holds(TimeLine(), member));
}

TEST_F(BurstTest, TwoShotsOfOneNumberStayBothInSight) {
  const auto cover = Shot("c", 1, true), member = Shot("m", 2), twin = Shot("t", 2);
  twin->SetFileName(L"IMG_1_BURST002.jpg");
  Add({cover, member});
  twin->SetFileName(L"IMG_1_BURST002 .jpg");  // another name, so that the burst stays
  Add({twin});
  EXPECT_TRUE(cover->HasMember(member));
  EXPECT_TRUE(Holds(Camera(), twin));
  EXPECT_TRUE(Holds(TimeLine(), twin));
  EXPECT_TRUE(Holds(AlbumOf(AlbumKind::AllPictures), twin));
}

TEST_F(BurstTest, AdoptedMembersAreNoFavorites) {
  const auto member = Shot("m", 2);
  Add({member});
  ASSERT_TRUE(gallery.FavoriteFiles(member, true));
  Add({Shot("c", 1, true)});
  EXPECT_FALSE(member->IsFavorite);
  EXPECT_FALSE(Holds(AlbumOf(AlbumKind::Favorite), member));
  EXPECT_FALSE(Row("m")->IsFavorite);
}

class WholeBurst : public BurstTest {
 protected:
  void SetUp() override {
    BurstTest::SetUp();
    Add({cover, first, second});
  }
  FilePtr cover = Shot("c", 1, true);
  FilePtr first = Shot("m2", 2);
  FilePtr second = Shot("m3", 3);
  Album::Ptr Bin() { return gallery.GetAlbum("default-album-3"); }
};

TEST_F(WholeBurst, GoesToTheBinAndBackTogether) {
  EXPECT_EQ(gallery.RecycleFiles({cover}, false), 3u);
  for (const auto& file : {cover, first, second}) {
    EXPECT_TRUE(file->IsInBin());
    EXPECT_TRUE(Row(file->UniqueId())->IsInBin());
  }
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"c"});
  EXPECT_EQ(cover->GetMembers().size(), 2u);
  EXPECT_TRUE(Ids(Camera()).empty());
  EXPECT_EQ(gallery.RecoverFiles({cover}, false), 3u);
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"c"});
  EXPECT_EQ(Ids(TimeLine()), std::vector<std::string>{"c"});
  EXPECT_TRUE(Ids(Bin()).empty());
  EXPECT_EQ(cover->GetMembers().size(), 2u);
}

TEST_F(WholeBurst, OfTheBinAndOneOutsideStayApart) {
  gallery.RecycleFiles({cover}, false);
  const auto outside = Shot("outside", 4);
  Add({outside});
  EXPECT_TRUE(Holds(Camera(), outside));
  EXPECT_FALSE(cover->HasMember(outside));
}

TEST_F(WholeBurst, StaysFoldedInTheBinAfterARestart) {
  gallery.RecycleFiles({cover}, false);
  Restart();
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"c"});
  EXPECT_EQ(gallery.GetFile("c")->GetMembers().size(), 2u);
}

TEST_F(WholeBurst, MovesTogether) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  gallery.MoveFiles({cover}, target, false);
  for (const auto& file : {cover, first, second}) {
    EXPECT_EQ(file->AlbumId(), target->AlbumId.Get());
    EXPECT_EQ(Row(file->UniqueId())->AlbumId(), target->AlbumId.Get());
    EXPECT_FALSE(Camera()->HasFileNamed(file->FileName()));
    EXPECT_TRUE(target->HasFileNamed(file->FileName()));
  }
  EXPECT_EQ(Ids(target), std::vector<std::string>{"c"});
  EXPECT_EQ(cover->GetMembers().size(), 2u);
}

TEST_F(WholeBurst, IsDeletedTogether) {
  gallery.RecycleFiles({cover}, false);
  gallery.DeleteFiles({cover}, false);
  for (const auto& file : {cover, first, second}) {
    EXPECT_TRUE(file->IsDeleted);
    EXPECT_TRUE(Row(file->UniqueId())->IsDeleted);
  }
}

TEST_F(WholeBurst, StaysFoldedWhenAMemberIsNamedBeforeItsCover) {
  gallery.RecycleFiles({first, cover}, false);
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"c"});
  gallery.RecoverFiles({second, cover}, false);
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"c"});
  EXPECT_EQ(Ids(TimeLine()), std::vector<std::string>{"c"});
  EXPECT_EQ(cover->GetMembers().size(), 2u);
}

TEST_F(WholeBurst, MemberMovedAloneIsShownOnItsOwn) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  gallery.MoveFiles({first}, target, false);
  EXPECT_EQ(Ids(target), std::vector<std::string>{"m2"});
  EXPECT_TRUE(Holds(TimeLine(), first));
  EXPECT_TRUE(Holds(AlbumOf(AlbumKind::AllPictures), first));
  EXPECT_FALSE(cover->HasMember(first));
}

TEST_F(WholeBurst, MembersGoAndComeWithTheirCover) {
  gallery.RemoveFiles({cover});
  EXPECT_EQ(gallery.FileCount(), 0u);
  EXPECT_TRUE(Ids(TimeLine()).empty());
  gallery.AddFiles({cover, first, second});
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"c"});
  EXPECT_EQ(cover->GetMembers().size(), 2u);
  gallery.DeleteFiles({cover}, true);
  EXPECT_EQ(gallery.FileCount(), 0u);
  EXPECT_EQ(Row("m2"), nullptr);
}

TEST_F(WholeBurst, RenamedMemberLeavesTheCoverInOrder) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  const auto there = CloudFile("there", target->AlbumId.Get());
  there->SetFileName(L"IMG_1_BURST002.jpg");
  Add({there});
  std::map<FilePtr, int> states;
  gallery.MoveFiles({cover}, target, false, [&](int state, const FilePtr& file) { states[file] = state; });
  EXPECT_EQ(states, (std::map<FilePtr, int>{{cover, 0}, {first, 0}, {second, 0}}));
  EXPECT_EQ(first->FileName(), L"IMG_1_BURST002(1).jpg");
  EXPECT_FALSE(cover->HasMember(first));
  EXPECT_TRUE(cover->HasMember(second));
  EXPECT_TRUE(Holds(target, first));
  EXPECT_TRUE(Holds(TimeLine(), first));
  EXPECT_TRUE(target->HasFileNamed(L"IMG_1_BURST002(1).jpg"));
  EXPECT_EQ(target->FilesNamed(L"IMG_1_BURST002.jpg"), Files{there});
  EXPECT_FALSE(Camera()->HasFileNamed(L"IMG_1_BURST002.jpg"));
  EXPECT_EQ(Row("m2")->FileName(), L"IMG_1_BURST002(1).jpg");
}

TEST_F(WholeBurst, StaysTogetherWhenItsCoverMayNotMove) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  const auto there = CloudFile("there", target->AlbumId.Get());
  there->SetFileName(cover->FileName());
  there->ContinuousType = 0;
  Add({there});
  EXPECT_EQ(gallery.MoveFiles({cover}, target, false), 0u);
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"c"});
  EXPECT_EQ(cover->GetMembers().size(), 2u);
}

TEST_F(WholeBurst, MemberThatIsRenamedInItsAlbumIsShownOnItsOwn) {
  ASSERT_TRUE(Camera()->RenameToFreeName(first));
  EXPECT_TRUE(Camera()->HasFileNamed(L"IMG_1_BURST002(1).jpg"));
  EXPECT_FALSE(Camera()->HasFileNamed(L"IMG_1_BURST002.jpg"));
  EXPECT_FALSE(cover->HasMember(first));
  EXPECT_TRUE(Holds(Camera(), first));
  EXPECT_TRUE(Holds(TimeLine(), first));
}

TEST_F(WholeBurst, MembersAreShownWhenTheirCoverIsRenamed) {
  ASSERT_TRUE(Camera()->RenameToFreeName(cover));
  for (const auto& file : {cover, first, second}) {
    EXPECT_TRUE(Holds(Camera(), file));
    EXPECT_TRUE(Holds(TimeLine(), file));
  }
}

TEST_F(WholeBurst, FoldedMemberTakesNoFavoriteMark) {
  EXPECT_FALSE(gallery.FavoriteFiles(first, true));
  EXPECT_FALSE(first->IsFavorite);
  EXPECT_EQ(first->GalleryState, 0);
}

class TwoCovers : public WholeBurst {
 protected:
  void SetUp() override {
    WholeBurst::SetUp();
    Add({other});
    ASSERT_TRUE(cover->HasMember(other));
  }
  FilePtr other = Shot("c4", 4, true);
};

TEST_F(TwoCovers, SecondOneThatWasRecycledAloneOutlivesTheFirst) {
  gallery.RecycleFiles({other}, false);
  EXPECT_FALSE(cover->HasMember(other));
  ASSERT_TRUE(gallery.DeleteGone({"c"}));
  EXPECT_EQ(gallery.GetFile("c4"), other);
  EXPECT_FALSE(other->IsDeleted);
  EXPECT_EQ(Ids(Bin()), std::vector<std::string>{"c4"});
}

TEST_F(TwoCovers, SecondOneThatWasMovedAloneStaysWhereItIs) {
  const auto target = gallery.CreateAlbum(L"Target", false, -1);
  gallery.MoveFiles({other}, target, false);
  EXPECT_FALSE(cover->HasMember(other));
  gallery.RecycleFiles({cover}, false);
  gallery.DeleteFiles({cover}, false);
  EXPECT_FALSE(other->IsDeleted);
  EXPECT_EQ(Ids(target), std::vector<std::string>{"c4"});
}

TEST_F(TwoCovers, SecondOneLeadsTheMembersWhenTheFirstIsGone) {
  ASSERT_TRUE(gallery.DeleteGone({"c"}));
  EXPECT_EQ(Ids(Camera()), std::vector<std::string>{"c4"});
  EXPECT_EQ(Ids(TimeLine()), std::vector<std::string>{"c4"});
  EXPECT_TRUE(other->HasMember(first));
}

TEST_F(TwoCovers, SecondOneAskedForByIdShowsTheFirst) {
  EXPECT_EQ(gallery.GetVisibleFile("c4"), cover);
  EXPECT_EQ(gallery.GetVisibleFile("m2"), cover);
}

class LocalCover : public BurstTest {
 protected:
  void SetUp() override {
    BurstTest::SetUp();
    cover->SetGuid(cover->UniqueId());
    cover->GalleryState = 1;
    Add({first, second});
    Add({cover});
    ASSERT_TRUE(cover->HasMember(first));
  }
  void ExpectMembersInTheBinOnly() {
    for (const auto& file : {first, second}) {
      const auto row = Row(file->UniqueId());
      ASSERT_TRUE(row);
      EXPECT_FALSE(row->IsDeleted);
      EXPECT_TRUE(row->IsInBin());
    }
    EXPECT_EQ(Ids(gallery.GetAlbum("default-album-3")).size(), 2u);
    EXPECT_TRUE(Row("c")->IsDeleted);
  }
  FilePtr cover = Shot("c", 1, true);
  FilePtr first = Shot("m2", 2);
  FilePtr second = Shot("m3", 3);
};

TEST_F(LocalCover, RecyclesItsUploadedMembersAndDeletesNone) {
  gallery.RecycleFiles({cover}, false);
  ExpectMembersInTheBinOnly();
}

TEST_F(LocalCover, DeletedTakesNoUploadedMemberPastTheBin) {
  gallery.DeleteFiles({cover}, false);
  ExpectMembersInTheBinOnly();
}

TEST_F(LocalCover, OfADeletedAlbumLeavesItsUploadedMembersInTheBin) {
  const auto album = gallery.CreateAlbum(L"Trip", false, -1);
  gallery.MoveFiles({cover}, album, false);
  ASSERT_TRUE(gallery.DeleteAlbum(album));
  ExpectMembersInTheBinOnly();
}

TEST_F(WholeBurst, MemberTakenAwayLeavesTheCover) {
  Camera()->DelFiles({first});
  EXPECT_FALSE(cover->HasMember(first));
  EXPECT_TRUE(cover->HasMember(second));
}

TEST_F(WholeBurst, FileRenamedForAClashIsNoBurstAnyMore) {
  const auto clash = Shot("clash", 3);
  Add({clash});
  EXPECT_EQ(clash->FileName(), L"IMG_1_BURST003(1).jpg");
  EXPECT_EQ(clash->ContinuousType, 0);
  EXPECT_EQ(clash->ContinuousName(), L"");
  EXPECT_TRUE(Holds(Camera(), clash));
  EXPECT_EQ(cover->GetMembers().size(), 2u);
}

// Views and albums take a batch at the same time: a view that comes first finds the
// members still behind the cover.
TEST_F(WholeBurst, MembersOfACoverRenamedOnItsWayBackAreShownInViewsThatCameFirst) {
  gallery.RecycleFiles({cover}, false);
  // Covers that took the cover's name and the members' numbers meanwhile.
  Add({Shot("clash", 1, true), Shot("c2", 2, true), Shot("c3", 3, true)});
  for (const auto& file : {cover, first, second}) (void)file->Recover(clock.ms, false);
  (void)TimeLine()->AddFilesInternal({cover, first, second});
  ASSERT_FALSE(Holds(TimeLine(), first));
  (void)Camera()->AddFilesInternal({cover, first, second});
  ASSERT_EQ(cover->ContinuousType, 0);
  for (const auto& file : {cover, first, second}) {
    EXPECT_TRUE(Holds(Camera(), file)) << file->UniqueId();
    EXPECT_TRUE(Holds(TimeLine(), file)) << file->UniqueId();
  }
}

TEST_F(WholeBurst, MemberAskedForByIdShowsItsCover) {
  EXPECT_EQ(gallery.GetVisibleFile("m3"), cover);
  EXPECT_EQ(gallery.burstIndex, 2);
  EXPECT_EQ(gallery.GetVisibleFile("c"), cover);
  EXPECT_EQ(gallery.GetVisibleFile("nothing"), nullptr);
  EXPECT_EQ(gallery.CoverOf(first), cover);
  EXPECT_EQ(gallery.CoverOf(cover), nullptr);
}

TEST_F(BurstTest, MemberWithoutACoverShowsItself) {
  const auto member = Shot("m", 2);
  Add({member});
  EXPECT_EQ(gallery.GetVisibleFile("m"), member);
}

}  // namespace
