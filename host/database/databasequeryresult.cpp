#include "host/database/databasequeryresult.h"

#include <sqlite3.h>

#include "common/platform/text.h"

namespace {

std::string_view ColumnText(sqlite3_stmt* statement, int column) {
  // The text comes first: asking for it may convert the value and change its length.
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  if (!text) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
}

}  // namespace

DatabaseQueryResult DatabaseQueryResult::Copy(sqlite3_stmt* statement) {
  DatabaseQueryResult row;
  row.columnCount = sqlite3_data_count(statement);
  row.cells.resize(static_cast<std::size_t>(row.columnCount));
  for (int column = 0; column < row.columnCount; ++column) {
    Cell& cell = row.cells[static_cast<std::size_t>(column)];
    const int type = sqlite3_column_type(statement, column);
    cell.number = sqlite3_column_int64(statement, column);
    cell.isText = type != SQLITE_INTEGER && type != SQLITE_NULL;
    cell.isNull = type == SQLITE_NULL;
    if (cell.isText) cell.text = ColumnText(statement, column);
  }
  return row;
}

DatabaseQueryResult DatabaseQueryResult::View(sqlite3_stmt* statement) {
  DatabaseQueryResult row;
  row.statement = statement;
  row.columnCount = sqlite3_data_count(statement);
  return row;
}

std::int64_t DatabaseQueryResult::GetInt() {
  if (next >= columnCount) return 0;
  const int column = next++;
  return statement ? sqlite3_column_int64(statement, column) : cells[static_cast<std::size_t>(column)].number;
}

bool DatabaseQueryResult::GetBoolean() { return GetInt() != 0; }

std::string_view DatabaseQueryResult::GetText() {
  if (next >= columnCount) return {};
  const int column = next++;
  if (statement) return ColumnText(statement, column);
  Cell& cell = cells[static_cast<std::size_t>(column)];
  if (!cell.isText && !cell.isNull) {
    cell.text = std::to_string(cell.number);
    cell.isText = true;
  }
  return cell.text;
}

std::string DatabaseQueryResult::GetString() { return std::string(GetText()); }

std::wstring DatabaseQueryResult::GetWstring() { return platform::Utf8ToWide(GetText()); }
