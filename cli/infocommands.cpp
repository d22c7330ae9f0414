#include <CLI/CLI.hpp>

#include "commands.h"
#include "common/platform/paths.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "model/gallerymetadata.h"
#include "store/sqlitedb.h"
#include "utils/picturemetadata.h"

namespace {

Exit ListFiles(const Session& session, const std::string& albumName, bool all, Output& output) {
  const auto album = session.FindAlbum(albumName);
  if (!album) {
    output.Error("no album \"" + albumName + "\"");
    return Exit::Failed;
  }
  for (const auto& file : album->Files()) {
    output.Print(FileSummary(*file), FileLine(*file));
    if (!all) continue;
    for (const auto& member : file->GetMembers())
      output.Print(FileSummary(*member), "  " + FileLine(*member));
  }
  return Exit::Done;
}

Exit ShowHome(Session& session, Output& output) {
  bool empty = false;
  const Json::Value items = session.Object().GetGalleryHomeData(empty);
  output.Print(items, CompactJson(items));
  return Exit::Done;
}

Json::Value AllFields(const GalleryFile& file) {
  Json::Value json(Json::objectValue);
  json["UniqueId"] = file.UniqueId();
  json["FileId"] = file.FileId();
  json["VideoThumbId"] = file.VideoThumbId();
  json["Hash"] = file.Hash();
  json["CreateTime"] = Json::Int64{file.CreateTime};
  json["FirstUpdateTime"] = Json::Int64{file.FirstUpdateTime};
  json["ThumbFileId"] = file.ThumbFileId();
  json["LcdFileId"] = file.LcdFileId();
  json["Size"] = Json::Int64{file.Size};
  json["RecycleAlbumId"] = file.RecycleAlbumId();
  json["RecycleTime"] = Json::Int64{file.RecycleTime};
  json["Guid"] = file.Guid();
  json["Expand"] = file.Expand();
  json["GalleryState"] = file.GalleryState.Get();
  json["IsLocalUpload"] = file.IsLocalUpload.Get();
  json["Offset"] = Json::Int64{file.Offset};
  PutExact(json, "LocalPath", platform::NativePath(file.LocalPath()).string());
  json["OperateTime"] = Json::Int64{file.OperateTime};
  json["ContinuousNo"] = file.ContinuousNo.Get();
  json["ContinuousType"] = file.ContinuousType.Get();
  PutExact(json, "ContinuousName", platform::ExactText(file.ContinuousName()));
  json["IsDeleted"] = file.IsDeleted.Get();
  PutExact(json, "FileName", platform::ExactText(file.FileName()));
  json["AlbumId"] = file.AlbumId();
  json["IsFavorite"] = file.IsFavorite.Get();
  json["SavedFileType"] = file.SavedFileType.Get();
  json["CheckSumn"] = file.CheckSumn();
  json["Sdsmtime"] = Json::Int64{file.Sdsmtime};
  json["PictureMetadata"] = ParseJson(file.PictureMetadata());
  json["VideoMetadata"] = ParseJson(file.VideoMetadata());
  json["cloudContentStatus"] = file.cloudContentStatus.Get();
  return json;
}

void SayFields(const Json::Value& fields, const std::string& indent, Output& output) {
  for (const auto& name : fields.getMemberNames()) {
    const Json::Value& value = fields[name];
    if (value.isObject()) {
      output.Say(indent + name);
      SayFields(value, indent + "  ", output);
    } else {
      output.Say(indent + Padded(name, 20) + Shown(value.asString()));
    }
  }
}

Exit ShowFile(const Session& session, const std::string& id, Output& output) {
  const auto file = session.FindFile(id);
  if (!file) {
    output.Error(id + ": not in the gallery");
    return Exit::Failed;
  }
  Json::Value fields = AllFields(*file);
  fields["thumbnail"] = platform::NativePath(file->ThumbnailPath()).string();
  fields["rotateAngle"] = RotationOfFile(file);
  if (output.IsJson()) output.Print(fields, "");
  SayFields(fields, "", output);
  return Exit::Done;
}

Exit ShowStatus(Output& output) {
  auto& gallery = Gallery::GetInstance();
  Gallery::Files files;
  Gallery::Albums albums;
  gallery.GetAllFiles(files);
  gallery.GetAlbums(albums, true);
  const auto count = [&files](auto test) {
    return static_cast<Json::UInt64>(
        std::count_if(files.begin(), files.end(), [&](const auto& file) { return test(*file); }));
  };
  Json::Value status(Json::objectValue);
  status["database"] = platform::NativePath(platform::Utf8ToWide(SQLiteDB::GetInstance().Path())).string();
  status["userId"] = platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentUserID());
  status["server"] = UserAuthService::GetInstance()->GetServerUrl();
  status["userName"] = UserAuthService::GetInstance()->GetUserName();
  status["albums"] = static_cast<Json::UInt64>(albums.size());
  status["files"] = static_cast<Json::UInt64>(files.size());
  status["inBin"] = count([](const GalleryFile& file) { return file.IsInBin() && !file.IsDeleted; });
  status["waitingForUpload"] =
      count([](const GalleryFile& file) { return file.IsLocalOnly() && !file.IsDeleted; });
  status["changedHere"] =
      count([](const GalleryFile& file) { return file.GalleryState == 2 && !file.IsDeleted; });
  status["deletedHere"] = count([](const GalleryFile& file) { return file.IsDeleted.Get(); });
  if (output.IsJson()) output.Print(status, "");
  SayFields(status, "", output);
  PrintSyncState(output);
  return Exit::Done;
}

}  // namespace

void PrintTimeLine(Output& output) {
  const auto timeLine = Gallery::GetInstance().GetAlbum(SystemAlbumId(AlbumKind::TimeLine));
  if (!timeLine) return;
  for (const auto& group : timeLine->ViewCache()->dateGroups) {
    Json::Value json(Json::objectValue);
    const std::string day = DayText(group.date * 1000);
    json["day"] = day;
    json["count"] = Json::UInt64{group.count};
    output.Print(json, day + "  " + std::to_string(group.count));
  }
}

void AddInfoCommands(CLI::App& app, const Choose& choose) {
  auto album = std::make_shared<std::string>(SystemAlbumId(AlbumKind::TimeLine));
  auto all = std::make_shared<bool>(false);
  auto* list = app.add_subcommand("ls", "List files, newest first");
  list->add_option("--album", *album, "Only this album, by id or name")->type_name("NAME");
  list->add_flag("--all", *all, "Show the shots behind a burst's cover too");
  list->callback([choose, album, all] {
    choose(
        [album, all](Session& session, Output& output) { return ListFiles(session, *album, *all, output); });
  });
  app.add_subcommand("timeline", "List the days and how many files each has")->callback([choose] {
    choose([](Session&, Output& output) {
      PrintTimeLine(output);
      return Exit::Done;
    });
  });
  app.add_subcommand("home", "Print the newest files as JSON, as a home page shows them")->callback([choose] {
    choose([](Session& session, Output& output) { return ShowHome(session, output); });
  });
  auto id = std::make_shared<std::string>();
  auto* show = app.add_subcommand("show", "Show all fields and the metadata of a file");
  show->add_option("ID", *id)->required();
  show->callback([choose, id] {
    choose([id](Session& session, Output& output) { return ShowFile(session, *id, output); });
  });
  app.add_subcommand("status", "Show where the gallery lies and what it holds")->callback([choose] {
    choose([](Session&, Output& output) { return ShowStatus(output); });
  });
}
