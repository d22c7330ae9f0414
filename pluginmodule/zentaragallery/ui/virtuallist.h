#pragma once

#include <memory>
#include <vector>

#include "common/toolkit/list.h"
#include "model/records/galleryfile.h"
#include "ui/galleryrows.h"

class CTimeScrollBarUINew;
class CVirtualListBodyUI;

// What a virtual list shows: makes row controls and fills them.
class IVirtualDataProvider {
 public:
  using Files = std::vector<GalleryFile::Ptr>;

  virtual ~IVirtualDataProvider() = default;
  // A new row control; unowned until the body adds it.
  virtual CFileInfoCellBase* CreateElement() = 0;
  // Binds the row to row `rowIndex` of the current view; files without a thumbnail
  // are appended to `missing`.
  virtual void FillElement(CFileInfoCellBase& row, std::uint32_t rowIndex, bool isFirst, Files& missing) = 0;
  // Rows of the current view, headers included; 0 without one.
  virtual std::uint32_t GetElementCount() = 0;
};

// "TimeAlbumProvider", "NormalAlbumProvider", "DeleteAlbumProvider"; null for others.
std::unique_ptr<IVirtualDataProvider> MakeProvider(const QString& name);

// The grid: a pool of rows that are filled anew at each scroll position, whatever the
// number of pictures.
//
// Three of them make up the page, told apart by the attributes `body` and `database`;
// `cellHeight` is the height of a row. User-interface thread.
class CGalleryVListUI : public CListUI {
 public:
  explicit CGalleryVListUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("GalleryVList"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void DoInit() override;
  void DoEvent(TEventUI& event) override;
  void SetPos(const QRect& rect, bool needInvalidate = true) override;

  virtual void SetDataProvider(std::unique_ptr<IVirtualDataProvider> next);
  virtual IVirtualDataProvider* GetDataProvider() const { return provider.get(); }
  virtual void SetElementHeight(int height);
  // After every change of the data or the layout: makes or refreshes the rows.
  virtual void InitElement(int count, int height);
  // Keys that the window routes back.
  virtual void OnCtrlKey();
  virtual void OnShiftKey();
  virtual void OnEscapeKey();
  virtual void OnSelectAllKey(int kind);
  virtual void OnKeyRelease();
  virtual void OnBlankClick();
  virtual void RedrawRows(bool rearrange);
  // Rows, not pictures: see CVirtualListBodyUI.
  virtual void SelectRange(std::uint32_t from, std::uint32_t to);

  // Rows are the body's. With all of them the provider goes too.
  bool Remove(CControlUI* row) override;
  bool RemoveAt(int index) override;
  void RemoveAll() override;

  // Moves the keyboard's ring by cells, or by rows, and keeps it in sight.
  void MoveFocus(int cells);
  void MoveFocusRows(int rows);
  // Puts the row of a file into sight.
  void EnsureFileVisible(const GalleryFile::Ptr& file);
  void ScrollToRow(std::uint32_t rowIndex);
  CVirtualListBodyUI* Body() const { return virtualBody; }
  bool IsTimeLine() const { return bodyName == QStringLiteral("TimeAlbumBodyUI"); }
  // The cell under a point of the list, or null.
  CGalleryPictureUI* CellAt(QPoint point) const;
  CGalleryPictureUI* CellOf(const GalleryFile* file) const;

 private:
  bool OnKey(TEventUI& event);
  void OnWheel(TEventUI& event);
  void LogWheel(const char* direction) const;
  void FocusOn(const GalleryFile::Ptr& file);
  void Band(TEventUI& event);
  void ChooseInBand();

  std::unique_ptr<IVirtualDataProvider> provider;
  CVirtualListBodyUI* virtualBody = nullptr;
  int elementHeight = 0;
  QString database, bodyName;
  int touchAt = 0;
  int wheelRest = 0;
  QWidget* band = nullptr;
  QPoint bandFrom;
};

// The part of the list that scrolls. Rows stand below each other from the first one in
// sight, shifted by less than a row.
class CVirtualListBodyUI : public CListBodyUI {
 public:
  static constexpr int kScrollStep = 64;

  explicit CVirtualListBodyUI(CGalleryVListUI& list);

  virtual void SetDataProvider(IVirtualDataProvider* next) { provider = next; }
  virtual IVirtualDataProvider* GetDataProvider() const { return provider; }
  virtual void SetElementHeight(int height) { elementHeight = height; }
  int ElementHeight() const { return elementHeight; }
  virtual void InitElement(int count);
  virtual void Refresh();
  // Fills and places the rows; unforced calls are skipped while the rows do not match
  // the data.
  virtual void ReArrangeChild(bool force);
  virtual void ArrangeScrollBars(const QRect& rect);

  void SetScrollPos(QSize position) override;
  void SetPos(const QRect& rect, bool needInvalidate = true) override;
  void Restyle() override;

  // Height of everything, in the layout's pixels.
  virtual int ContentHeight() const;
  // The row at the scroll position and how far above the top it begins.
  virtual void FirstRow(std::uint32_t& row, int& offset) const;
  virtual int RowHeight(std::uint32_t row) const;
  // Scroll position at which a row stands at the top.
  virtual int PositionOfRow(std::uint32_t row) const;
  const std::vector<CFileInfoCellBase*>& Rows() const { return rows; }

  // The toolkit's selection of rows, by their index in the view: sends "itemselect"
  // and brings the row into sight. It does not outlive the use of a row for another
  // index; the page's selection is of files and kept elsewhere.
  virtual void SelectItem(std::uint32_t row);
  virtual void SelectMultiItem(std::uint32_t row);
  virtual void UnSelectItem(std::uint32_t row);
  virtual void ClearSelectedItems();
  virtual void SelectItemRange(std::uint32_t from, std::uint32_t to);
  virtual const std::vector<std::uint32_t>& GetSelectedItems() const { return selectedRows; }
  // The control of the row that was selected last, or null when it is out of sight.
  CFileInfoCellBase* CurrentRow() const;
  // Unbinds and deletes rows of the pool.
  void RemoveRow(CControlUI* row);
  void RemoveRows();
  CGalleryVListUI& List() const { return list; }
  // Files that lie just outside of the view in the direction of the scroll are decoded
  // ahead.
  void LoadAhead(bool down);
  void KeepRowsInSight(std::uint32_t first);

 protected:
  void ProcessScrollBar(const QRect& area, int cxRequired, int cyRequired) override;
  void Place(CControlUI&, int) override {}
  virtual void BeforeArrange() {}
  void AddRows(std::uint32_t count);
  std::uint32_t Wanted() const;
  void ShowBar(const QRect& area, int range, int keepClear);
  void Ask(const std::vector<GalleryFile::Ptr>& missing);

  CGalleryVListUI& list;
  IVirtualDataProvider* provider = nullptr;
  int elementHeight = 0;
  int maximumRows = 0;
  int previousPosition = 0;
  bool initialised = false;
  bool keepLayout = false;
  bool inScrollBarPass = false;
  bool adding = false;  // rows come in: they are placed when all are there
  std::vector<CFileInfoCellBase*> rows;

 private:
  // Where the rows in sight stand, by their index.
  using Places = std::vector<std::pair<std::uint32_t, int>>;
  Places PlacesOfRows() const;
  void MoveRowsQuietly();
  void MovePainted(const Places& before);
  CFileInfoCellBase* ControlOf(std::int64_t row) const;
  void ShowSelected(std::uint32_t row, bool on);

  std::int64_t aheadOf = -1;  // the first row that was loaded ahead of
  bool aheadDown = true;
  std::int64_t currentRow = -1;
  std::vector<std::uint32_t> selectedRows;
};

class CNormalGalleryBodyUI : public CVirtualListBodyUI {
 public:
  using CVirtualListBodyUI::CVirtualListBodyUI;
};

class CDeleteGalleryBodyUI : public CVirtualListBodyUI {
 public:
  using CVirtualListBodyUI::CVirtualListBodyUI;
};

// The time line: headers between the rows, a bar that floats in the rows.
class CTimeAlbumBodyUI : public CVirtualListBodyUI {
 public:
  using CVirtualListBodyUI::CVirtualListBodyUI;

  QString GetClass() const override { return QStringLiteral("TimeAlbumBodyUI"); }
  void EnableScrollBar(bool vertical = true, bool horizontal = false) override;
  void InitElement(int count) override;
  void Refresh() override;
  void ArrangeScrollBars(const QRect& rect) override;
  void LineUp() override;
  void LineDown() override;
  void TouchUp(int pixels) override;
  void TouchDown(int pixels) override;
  int ContentHeight() const override;
  void FirstRow(std::uint32_t& row, int& offset) const override;
  int RowHeight(std::uint32_t row) const override;
  int PositionOfRow(std::uint32_t row) const override;
  CTimeScrollBarUINew* TimeBar() const { return timeBar; }

 protected:
  void ProcessScrollBar(const QRect& area, int cxRequired, int cyRequired) override;
  void BeforeArrange() override;

 private:
  void FollowLayout();
  void TellBar();
  void JumpToSelection();
  void FloatDate();

  CTimeScrollBarUINew* timeBar = nullptr;
};
