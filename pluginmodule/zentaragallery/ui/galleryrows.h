#pragma once

#include <array>
#include <vector>

#include "common/toolkit/label.h"
#include "common/toolkit/list.h"
#include "ui/gallerypictureui.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/gridgeometry.h"

// A row of the pool: twelve cells, filled anew at each scroll position.
class CFileInfoCellBase : public CListContainerElementUI {
 public:
  using Files = std::vector<GalleryFile::Ptr>;

  explicit CFileInfoCellBase(QWidget* parent = nullptr);

  // Binds the row to what a row of the view holds. Files without a thumbnail are
  // appended to `missing`. A row without files leaves everything as it is.
  virtual void SetFileInfoCell(const ViewRow& files, std::uint32_t rowIndex, bool isFirst, Files& missing);
  virtual void InitCells(int count);
  // Unbinds all cells.
  void Clear();

  void DoEvent(TEventUI& event) override;
  void SetPos(const QRect& rect, bool needInvalidate = true) override;
  void Restyle() override;
  void Select(bool) override {}  // The page's selection is of files.
  void PaintBkColor(QPainter&) override {}

  // The pointer moves over a picture of the row.
  virtual void HoverOver() {}
  CGalleryPictureUI* Cell(int index) const { return cells[static_cast<std::size_t>(index)]; }
  std::uint32_t RowIndex() const { return rowIndex; }
  int Columns() const { return columns; }
  // The cell of a file, or null.
  CGalleryPictureUI* CellOf(const GalleryFile* file) const;

 protected:
  // Where cell `index` stands, padding left out, in a row of this size.
  virtual QRect CellRect(int index, QSize size) const;
  virtual void ShowCell(int index, bool visible);
  virtual void FillCell(int index, const GalleryFile::Ptr& file, Files& missing);
  virtual void BlankCell(int index);
  virtual QString MenuKey() const { return QStringLiteral("ThumbPic"); }
  void FillCells(const ViewRow& files, Files& missing);
  void PlaceCells();
  // Places everything in the row, which has another size, direction or number of cells.
  virtual void PlaceParts() { PlaceCells(); }
  QRect Column(int index, QSize size) const;

  std::array<CGalleryPictureUI*, GridGeometry::kRowCells> cells{};
  std::uint32_t rowIndex = 0;
  int columns = 0;

 private:
  struct Placed {
    QSize size;
    Qt::LayoutDirection direction{};
    int columns = -1;
    bool operator==(const Placed&) const = default;
  };
  Placed placed;  // what the parts stand for
};

class CNormalAlbumRow : public CFileInfoCellBase {
 public:
  using CFileInfoCellBase::CFileInfoCellBase;
  CControlUI* GetInterface(const QString& name) override;
};

// A row of the time line: the header of a day, or pictures.
class CTimeAlbumRow : public CFileInfoCellBase {
 public:
  using CFileInfoCellBase::CFileInfoCellBase;

  CControlUI* GetInterface(const QString& name) override;
  void InitCells(int count) override;
  void SetFileInfoCell(const ViewRow& files, std::uint32_t index, bool isFirst, Files& missing) override;
  void DoEvent(TEventUI& event) override;
  void HoverOver() override;
  void Restyle() override;

  bool IsHeader() const { return isHeader; }
  // A header's day in seconds, else the time of the first file in ms.
  std::int64_t Date() const { return date; }
  CLabelUI* ChooseLabel() const { return choose; }
  CLabelUI* DateLabel() const { return dateLabel; }

 protected:
  QRect CellRect(int index, QSize size) const override;
  void PlaceParts() override;

 private:
  void ShowHeader(std::int64_t day);
  void OnChoose();

  CLabelUI* dateLabel = nullptr;
  CLabelUI* choose = nullptr;
  std::int64_t date = 0;
  bool isHeader = false;
};

// A row of the bin: under each picture the days that it has left.
class CDeleteAlbumRow : public CFileInfoCellBase {
 public:
  using CFileInfoCellBase::CFileInfoCellBase;

  CControlUI* GetInterface(const QString& name) override;
  void InitCells(int count) override;
  CLabelUI* DaysLabel(int index) const { return days[static_cast<std::size_t>(index)]; }

 protected:
  QRect CellRect(int index, QSize size) const override;
  void PlaceParts() override;
  void ShowCell(int index, bool visible) override;
  void FillCell(int index, const GalleryFile::Ptr& file, Files& missing) override;
  void BlankCell(int index) override;
  QString MenuKey() const override { return QStringLiteral("DelPic"); }

 private:
  std::array<CLabelUI*, GridGeometry::kRowCells> days{};
};
