#include "session.h"

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "host/push/cserverpushservice.h"
#include "resources/resourcetext.h"
#include "store/sqlitedb.h"
#include "sync/synchelper.h"

namespace {

// How soon a wait notices that its command was stopped.
constexpr std::chrono::milliseconds kStopStep{100};

}  // namespace

std::filesystem::path Session::DataFolder() { return platform::DataRoot() / "ZentaraCloud"; }

bool Session::ChooseProfile(const std::filesystem::path& folder, bool usersOwn, Output& output) {
  if (!usersOwn) platform::SetProfileRoot(folder);
  const auto data = DataFolder();
  std::error_code failed;
  std::filesystem::create_directories(data, failed);
  if (!failed && platform::CanWrite(data)) return true;
  output.Error("cannot write to the profile folder " + data.string() +
               (failed ? ": " + failed.message() : ""));
  return false;
}

bool Session::Open(Output& output) {
  (void)Logger::CloudLogger::GetInstance()->Open(DataFolder() / "logs" / "zentaractl.log");
  (void)GlobalParamWrapper::GetInstance()->Load();
  if (!UserAuthService::GetInstance()->Load()) {
    output.Error("cannot read or make the account of the profile in " + platform::ConfigRoot().string());
    return false;
  }
  auto& sync = SyncHelper::GetInstance();
  sync.SetServices(HostSyncServices());
  sync.SetCallback(&listeners);
  return Load(output);
}

bool Session::Load(Output& output) {
  object->InitWnd();
  loaded = SyncHelper::GetInstance().LoadDataToMemory();
  if (loaded) return true;
  output.Error("cannot read the gallery's database " +
               platform::NativePath(platform::Utf8ToWide(SQLiteDB::GetInstance().Path())).string() +
               "; the log in " + (DataFolder() / "logs").string() + " tells why");
  return false;
}

void Session::Close() {
  loaded = false;
  object->CloseWndClear();
}

bool Session::OpenAgain(Output& output) {
  SyncHelper::GetInstance().Reopen();
  return Load(output);
}

bool Session::IsLoaded(Output& output) const {
  if (!loaded) output.Error("the gallery is not open; end the zentaractl that runs and begin again");
  return loaded;
}

Session::Turn::Turn(Session& owner, Work what, Output& output) : session(owner), work(what) {
  platform::MutexLock hold(session.turnLock);
  bool& busy = session.busy[static_cast<std::size_t>(work)];
  if (busy) output.Hint("waiting for the same work of another terminal");
  while (busy && !output.Stopped()) session.turnEnded.wait_for(session.turnLock, kStopStep);
  if (busy) return;
  busy = held = true;
}

Session::Turn::~Turn() {
  if (!held) return;
  platform::MutexLock hold(session.turnLock);
  session.busy[static_cast<std::size_t>(work)] = false;
  session.turnEnded.notify_all();
}

void Session::BeginTicks() {
  platform::MutexLock hold(ticksLock);
  if (tickUsers++ > 0) return;
  CServerPushService::GetInstance()->Start();
  SyncHelper::GetInstance().StartSync();
}

void Session::EndTicks() {
  platform::MutexLock hold(ticksLock);
  if (--tickUsers > 0) return;
  CServerPushService::GetInstance()->Stop();
  SyncHelper::GetInstance().StopTicks();
}

Album::Ptr Session::FindAlbum(const std::string& name) const {
  auto& gallery = Gallery::GetInstance();
  if (auto album = gallery.GetAlbum(name)) return album;
  if (auto album = gallery.AlbumNameIsExist(platform::Utf8ToWide(name))) return album;
  Gallery::Albums albums;
  gallery.GetAlbums(albums, true);
  if (const auto bin = gallery.GetAlbum(kRecycleAlbumId)) albums.push_back(bin);
  for (const AlbumKind kind : {AlbumKind::TimeLine, AlbumKind::RecentlyUpload, AlbumKind::AllPictures,
                               AlbumKind::AllVideos, AlbumKind::Favorite}) {
    if (auto view = gallery.GetOrCreateSystemAlbum(kind)) albums.push_back(view);
  }
  const auto found = std::find_if(albums.begin(), albums.end(),
                                  [&name](const Album::Ptr& album) { return ShownName(*album) == name; });
  return found == albums.end() ? nullptr : *found;
}

GalleryFile::Ptr Session::FindFile(const std::string& id) const { return Gallery::GetInstance().GetFile(id); }

std::string ShownName(const Album& album) {
  if (album.Kind() == AlbumKind::None) return platform::DisplayText(album.AlbumName.Get());
  return platform::WideToUtf8(ResourceText::Get(album.displayName.Get()));
}

Json::Value FileSummary(const GalleryFile& file) {
  Json::Value json(Json::objectValue);
  json["id"] = file.UniqueId();
  PutExact(json, "fileName", platform::ExactText(file.FileName()));
  json["createTime"] = Json::Int64{file.CreateTime};
  json["size"] = Json::Int64{file.Size};
  json["albumId"] = file.AlbumId();
  json["fileType"] = file.SavedFileType.Get();
  json["favorite"] = file.IsFavorite.Get();
  json["inBin"] = file.IsInBin();
  json["state"] = file.GalleryState.Get();
  if (file.ContinuousType == 1) json["shots"] = static_cast<Json::UInt64>(file.GetMembers().size() + 1);
  return json;
}

std::string FileLine(const GalleryFile& file) {
  std::string marks;
  if (file.IsFavorite) marks += " *";
  if (file.ContinuousType == 1) marks += " [" + std::to_string(file.GetMembers().size() + 1) + " shots]";
  return file.UniqueId() + "  " + TimeTextShort(file.CreateTime) + "  " + Padded(SizeText(file.Size), 8) +
         "  " + platform::DisplayText(file.FileName()) + marks;
}
