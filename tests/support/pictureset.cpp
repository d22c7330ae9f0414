// zentara-pictureset FOLDER COUNT: the demonstration set with its burst, its moving picture
// and its film, and COUNT small pictures of every other kind that the gallery shows, for
// tests that drive the real program.

#include <vips/vips.h>

#include <QColor>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QImage>
#include <cstdio>

#include "tests/support/picturefiles.h"
#include "utils/demopictures.h"

namespace {

constexpr int kWidth = 320, kHeight = 240;

QImage Picture(int number) {
  QImage image(kWidth, kHeight, QImage::Format_RGB888);
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x)
      image.setPixelColor(x, y, QColor::fromHsv((number * 37 + x / 4) % 360, 160, 100 + y / 2));
  return image;
}

bool SaveHeic(const QImage& image, const QString& path) {
  VipsImage* picture =
      vips_image_new_from_memory(image.constBits(), static_cast<std::size_t>(image.sizeInBytes()),
                                 image.width(), image.height(), 3, VIPS_FORMAT_UCHAR);
  const bool saved = picture && vips_heifsave(picture, path.toLocal8Bit().constData(), nullptr) == 0;
  if (picture) g_object_unref(picture);
  return saved;
}

bool SaveRaw(int number, const QString& path) {
  QFile file(path);
  // Each its own content: what is behind the last of its blocks is not looked at.
  const std::string bytes = RawWithPreview(1) + std::to_string(number);
  return file.open(QIODevice::WriteOnly) &&
         file.write(bytes.data(), static_cast<qint64>(bytes.size())) == static_cast<qint64>(bytes.size());
}

bool Save(int number, const QString& name) {
  switch (number % 6) {
    case 0:
      return SaveHeic(Picture(number), name + QStringLiteral(".heic"));
    case 1:
      return SaveRaw(number, name + QStringLiteral(".nef"));
    case 2:
      return Picture(number).save(name + QStringLiteral(".bmp"));
    case 3:
      return Picture(number).save(name + QStringLiteral(".jpg"), nullptr, 90);
    default:
      return Picture(number).save(name + QStringLiteral(".png"));
  }
}

// A minute apart, the last name the oldest: what says no time of its own goes by that of
// its file. And a file of this second may still be being written.
bool MakeOld(const QString& folder) {
  QDateTime time(QDate(2020, 1, 1), QTime(12, 0));
  for (const QFileInfo& info : QDir(folder).entryInfoList(QDir::Files, QDir::Name)) {
    time = time.addSecs(-60);
    QFile file(info.filePath());
    if (!file.open(QIODevice::ReadWrite) || !file.setFileTime(time, QFileDevice::FileModificationTime))
      return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: zentara-pictureset FOLDER COUNT\n");
    return 2;
  }
  const QString folder = QString::fromLocal8Bit(argv[1]);
  bool good = VIPS_INIT(argv[0]) == 0 && !MakeDemoPictures(argv[1]).empty();
  for (int number = 0; good && number < atoi(argv[2]); ++number)
    good = Save(number, folder + QStringLiteral("/kind_%1").arg(number, 3, 10, QLatin1Char('0')));
  if (!good || !MakeOld(folder)) {
    std::fprintf(stderr, "cannot write the pictures\n");
    return 1;
  }
  return 0;
}
