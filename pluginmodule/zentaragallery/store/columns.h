#pragma once

#include <array>
#include <string>
#include <string_view>

// Columns of a table, from which its statements are put together: a parameter
// is named like its column.
struct Column {
  std::string_view sql;         // as it stands in a statement, brackets included
  std::wstring_view parameter;  // with the leading colon
  std::string_view declaration;
};

std::string ParameterText(const Column& column);

template <std::size_t count>
std::string ColumnList(const std::array<Column, count>& columns, std::string_view leaveOut = {}) {
  std::string list;
  for (const auto& column : columns) {
    if (column.sql == leaveOut) continue;
    list += (list.empty() ? "" : ",") + std::string(column.sql);
  }
  return list;
}

template <std::size_t count>
std::string CreateStatement(std::string_view table, const std::array<Column, count>& columns) {
  std::string list;
  for (const auto& column : columns) {
    list += (list.empty() ? "" : ",") + std::string(column.sql) + " " + std::string(column.declaration);
  }
  return "CREATE TABLE IF NOT EXISTS " + std::string(table) + "(" + list + ");";
}

// "INSERT" or "INSERT OR REPLACE" of all columns but `leaveOut`.
template <std::size_t count>
std::string InsertStatement(std::string_view verb, std::string_view table,
                            const std::array<Column, count>& columns, std::string_view leaveOut = {}) {
  std::string values;
  for (const auto& column : columns) {
    if (column.sql == leaveOut) continue;
    values += (values.empty() ? "" : ",") + ParameterText(column);
  }
  return std::string(verb) + " INTO " + std::string(table) + " (" + ColumnList(columns, leaveOut) +
         ") VALUES (" + values + ");";
}

template <std::size_t count>
std::string UpdateStatement(std::string_view table, const std::array<Column, count>& columns,
                            std::string_view where) {
  std::string assignments;
  for (const auto& column : columns) {
    assignments += (assignments.empty() ? "" : ",") + std::string(column.sql) + " = " + ParameterText(column);
  }
  return "UPDATE " + std::string(table) + " SET " + assignments + " WHERE " + std::string(where) + ";";
}

template <std::size_t count>
std::string SelectStatement(std::string_view table, const std::array<Column, count>& columns,
                            std::string_view tail = {}, std::string_view leaveOut = {}) {
  return "SELECT " + ColumnList(columns, leaveOut) + " FROM " + std::string(table) + std::string(tail) + ";";
}
