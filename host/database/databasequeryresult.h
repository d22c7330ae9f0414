#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3_stmt;

// One row of an answer. Each Get returns the next column, in the order of the
// statement, so the order of columns is part of the contract between a statement
// and its reader. NULL and columns past the end read as 0, false or empty; a
// column of another type is converted as SQLite converts it.
//
// A row either owns its values (rows of a result list) or looks at a running
// statement (rows given to a visitor), and then lives only during the visit.
class DatabaseQueryResult {
 public:
  // Copies the present row of `statement`.
  static DatabaseQueryResult Copy(sqlite3_stmt* statement);
  // Looks at the present row of `statement`.
  static DatabaseQueryResult View(sqlite3_stmt* statement);

  std::int64_t GetInt();
  bool GetBoolean();
  std::string GetString();
  std::wstring GetWstring();
  // The next column's text without a copy: valid until the row goes away.
  std::string_view GetText();

 private:
  struct Cell {
    bool isText = false;  // `text` is filled
    bool isNull = false;
    std::int64_t number = 0;
    std::string text;
  };
  sqlite3_stmt* statement = nullptr;  // null for a row that owns its values
  int columnCount = 0;
  int next = 0;
  std::vector<Cell> cells;
};

using DatabaseQueryResultList = std::vector<DatabaseQueryResult>;
