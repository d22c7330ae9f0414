#include "transfer/gallerytransmanager.h"

#include "utils/gallerylog.h"

GalleryTransManager& GalleryTransManager::GetInstance() {
  static GalleryTransManager instance;
  return instance;
}

void GalleryTransManager::SetEngine(Engine next) {
  platform::MutexLock hold(engineLock);
  engine = std::move(next);
}

GalleryTransManager::Engine GalleryTransManager::CurrentEngine() const {
  platform::MutexLock hold(engineLock);
  return engine;
}

void GalleryTransManager::GalleryInit() { LogInfo("GalleryTransManager::GalleryInit", "GalleryInit"); }

void GalleryTransManager::GalleryUpload(const Files& files) {
  const Engine now = CurrentEngine();
  if (now.upload) now.upload(files);
}

std::size_t GalleryTransManager::RunningTasks() const {
  const Engine now = CurrentEngine();
  return now.runningTasks ? now.runningTasks() : 0;
}

void GalleryTransManager::StopAllTask(std::int32_t kind) {
  const Engine now = CurrentEngine();
  if (now.stopAllTasks) now.stopAllTasks(kind);
}
