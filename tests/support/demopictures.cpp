// zentara-demopictures FOLDER COUNT: landscapes that nobody took, for screenshots and
// for tests that drive the real program. The same ones in every run, spread over three
// years with a few full days; the date is that of the file, which the gallery goes by
// when a picture says nothing of its own.

#include <QColor>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <cstdio>
#include <random>

namespace {

using Random = std::mt19937;

double Between(Random& random, double low, double high) {
  return low +
         (high - low) * (static_cast<double>(random() - Random::min()) / (Random::max() - Random::min()));
}

struct Light {
  QColor zenith, horizon, far, near;
};

// Morning, noon, evening, night and mist.
const Light kLights[] = {
    {QColor(0x9fc7e8), QColor(0xfbe3c8), QColor(0xb9b6c9), QColor(0x33414e)},
    {QColor(0x3f8fd6), QColor(0xd5ecf7), QColor(0x9ec3d1), QColor(0x2c5a3c)},
    {QColor(0x3b3a6b), QColor(0xf39a5c), QColor(0xa8577a), QColor(0x1d1a33)},
    {QColor(0x0a1430), QColor(0x2c4a78), QColor(0x1e3357), QColor(0x070c1a)},
    {QColor(0xc3ccd0), QColor(0xeceae4), QColor(0xc4cbca), QColor(0x5d6b66)},
};

QColor Mix(const QColor& from, const QColor& to, double part) {
  const auto mixed = [part](int a, int b) { return static_cast<int>(a + (b - a) * part); };
  return {mixed(from.red(), to.red()), mixed(from.green(), to.green()), mixed(from.blue(), to.blue())};
}

// One line of hills from edge to edge around `height`.
QPainterPath Ridge(Random& random, QSize size, double height, double rise) {
  double phases[5];
  for (double& phase : phases) phase = Between(random, 0, 2 * M_PI);
  const double wave = Between(random, 0.7, 1.6);
  QPainterPath path(QPointF(0, size.height()));
  for (int x = 0; x <= size.width(); x += 4) {
    const double at = wave * x / size.width() * 2 * M_PI;
    double y = 0;
    for (int octave = 0; octave < 5; ++octave)
      y += std::sin(at * (1 << octave) * 0.7 + phases[octave]) / (1 << octave);
    path.lineTo(x, height - y * rise);
  }
  path.lineTo(size.width(), size.height());
  path.closeSubpath();
  return path;
}

void PaintSky(QPainter& painter, Random& random, QSize size, const Light& light) {
  QLinearGradient sky(0, 0, 0, size.height() * 0.7);
  sky.setColorAt(0, light.zenith);
  sky.setColorAt(1, light.horizon);
  painter.fillRect(QRect(QPoint(0, 0), size), sky);
  const QPointF sun(Between(random, 0.15, 0.85) * size.width(), Between(random, 0.15, 0.5) * size.height());
  const double radius = size.height() * Between(random, 0.03, 0.08);
  QRadialGradient glow(sun, radius * 7);
  glow.setColorAt(0, QColor(255, 246, 220, 150));
  glow.setColorAt(1, QColor(255, 246, 220, 0));
  painter.setPen(Qt::NoPen);
  painter.setBrush(glow);
  painter.drawEllipse(sun, radius * 7, radius * 7);
  painter.setBrush(QColor(255, 250, 235));
  painter.drawEllipse(sun, radius, radius);
}

void PaintWater(QPainter& painter, Random& random, QSize size, const Light& light) {
  const int shore = static_cast<int>(size.height() * Between(random, 0.7, 0.8));
  QLinearGradient water(0, shore, 0, size.height());
  water.setColorAt(0, Mix(light.horizon, light.far, 0.4));
  water.setColorAt(1, Mix(light.zenith, light.near, 0.6));
  painter.fillRect(0, shore, size.width(), size.height() - shore, water);
  for (int i = 0; i < 60; ++i) {
    const double y = Between(random, shore, size.height()), wide = Between(random, 20, 160);
    painter.setPen(QPen(QColor(255, 255, 255, 28), 2));
    const double x = Between(random, 0, size.width());
    painter.drawLine(QPointF(x, y), QPointF(x + wide, y));
  }
}

void PaintTrees(QPainter& painter, Random& random, QSize size, const Light& light) {
  painter.setPen(Qt::NoPen);
  for (int i = 0; i < 40; ++i) {
    const double x = Between(random, 0, size.width()), foot = size.height() * Between(random, 0.88, 1.02);
    const double tall = size.height() * Between(random, 0.08, 0.24);
    painter.setBrush(Mix(light.near, QColor(Qt::black), Between(random, 0.05, 0.45)));
    for (int tier = 0; tier < 3; ++tier) {
      const double top = foot - tall + tier * tall * 0.24, wide = tall * (0.14 + 0.08 * tier);
      painter.drawPolygon(
          QPolygonF({{x, top}, {x - wide, top + tall * 0.42}, {x + wide, top + tall * 0.42}}));
    }
  }
}

QImage Picture(int number) {
  Random random(static_cast<unsigned>(number) * 2654435761U + 7);
  const bool tall = number % 4 == 2;
  const QSize size = tall ? QSize(1067, 1600) : QSize(1600, 1067);
  const Light& light = kLights[random() % std::size(kLights)];
  QImage image(size, QImage::Format_RGB32);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  PaintSky(painter, random, size, light);
  const int ridges = 3 + static_cast<int>(random() % 3);
  for (int i = 0; i < ridges; ++i) {
    const double part = (i + 1.0) / ridges;
    painter.fillPath(
        Ridge(random, size, size.height() * (0.45 + 0.4 * part), size.height() * (0.14 - 0.07 * part)),
        Mix(light.far, light.near, part));
  }
  random() % 3 == 0 ? PaintWater(painter, random, size, light) : PaintTrees(painter, random, size, light);
  return image;
}

// Every ninth day has pictures, some of them many.
QDateTime TimeOf(int number) {
  const int day = number < 60 ? number / 20 : 3 + (number - 60) / 7;
  return {QDate(2024, 6, 14).addDays(-9LL * day), QTime(19, 30).addSecs(-97 * number)};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: zentara-demopictures FOLDER COUNT\n");
    return 2;
  }
  const QDir folder(QString::fromLocal8Bit(argv[1]));
  const int count = atoi(argv[2]);
  if (!folder.mkpath(QStringLiteral("."))) return 1;
  for (int number = 0; number < count; ++number) {
    QFile file(folder.filePath(QStringLiteral("IMG_%1.jpg").arg(2001 + number)));
    if (!Picture(number).save(file.fileName(), "JPG", 88) || !file.open(QIODevice::ReadWrite) ||
        !file.setFileTime(TimeOf(number), QFileDevice::FileModificationTime)) {
      std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
      return 1;
    }
  }
  return 0;
}
