// kp160std — TableVersTexte and TableVersPressePapier: a table control's
// content as text, returned or put on the clipboard.
#include "numbers/table_export.h"

#include "abi/error.h"
#include "abi/vm.h"
#include "desktop/clipboard.h"

namespace kp::numbers {
namespace {

// A text result must fit a string block whose length is counted in bytes.
constexpr size_t kMaxTextUnits = 0x3FFFFFFF;

bool Blank(char16_t c) { return c == u' ' || c == u'\t'; }

std::u16string_view Trim(std::u16string_view s) {
  while (!s.empty() && Blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && Blank(s.back())) s.remove_suffix(1);
  return s;
}

// A column number from 1: digits only, at most nine of them.
bool Number(std::u16string_view s, int32_t* out) {
  if (s.empty() || s.size() > 9) return false;
  int32_t n = 0;
  for (char16_t c : s) {
    if (c < u'0' || c > u'9') return false;
    n = n * 10 + (c - u'0');
  }
  *out = n;
  return true;
}

void AppendCell(std::u16string& out, std::u16string_view cell) {
  const size_t start = out.size();
  out.append(cell);
  for (size_t i = start; i < out.size(); ++i)
    if (out[i] == u'\t' || out[i] == u'\r' || out[i] == u'\n') out[i] = u' ';
}

}  // namespace

bool ParseColumnList(std::u16string_view text, int32_t columnCount, std::vector<int32_t>* columns) {
  columns->clear();
  if (Trim(text).empty()) {
    for (int32_t c = 1; c <= columnCount; ++c) columns->push_back(c);
    return true;
  }
  while (true) {
    const size_t end = text.find_first_of(u",;");
    const std::u16string_view item = Trim(text.substr(0, end));
    const size_t dash = item.find(u'-');
    int32_t first, last;
    if (dash == std::u16string_view::npos) {
      if (!Number(item, &first)) return false;
      last = first;
    } else if (!Number(Trim(item.substr(0, dash)), &first) || !Number(Trim(item.substr(dash + 1)), &last) ||
               first > last) {
      return false;
    }
    if (first < 1 || last > columnCount) return false;
    // A list may name more columns than the table has, but not without end.
    if (columns->size() + static_cast<size_t>(last - first + 1) > 65536) return false;
    for (int32_t c = first; c <= last; ++c) columns->push_back(c);
    if (end == std::u16string_view::npos) return true;
    text.remove_prefix(end + 1);
  }
}

namespace {

// The text of the export into `out`; false, with the error raised, when it
// cannot be made (the empty text alone cannot tell: an empty table without
// its titles line gives it too).
bool MakeText(ExecContext* context, std::u16string_view tableName, int32_t options, std::u16string_view columnList,
              std::u16string_view separator, std::u16string& out) {
  out.clear();
  const std::u16string table(tableName);
  if (options & ~kTableWithTitles) {
    Raise(context, kErrBadTableOptions, {options});
    return false;
  }
  const int32_t columnCount = VMTableColumnCount(context, table);
  if (columnCount == kNoTableService) {
    Raise(context, kErrNoTableService);
    return false;
  }
  const int32_t rowCount = columnCount < 0 ? -1 : VMTableRowCount(context, table);
  if (columnCount < 0 || rowCount < 0) {
    Raise(context, kErrUnknownTable, {tableName});
    return false;
  }
  std::vector<int32_t> columns;
  if (!ParseColumnList(columnList, columnCount, &columns)) {
    Raise(context, kErrBadColumnList, {columnList});
    return false;
  }
  const std::u16string_view between = separator.empty() ? std::u16string_view(u"\t") : separator;

  std::u16string cell;
  bool firstLine = true;
  // row -1 is the titles line.
  for (int32_t row = (options & kTableWithTitles) ? -1 : 0; row < rowCount; ++row) {
    if (!firstLine) out += u"\r\n";
    firstLine = false;
    for (size_t i = 0; i < columns.size(); ++i) {
      if (i) out += between;
      const int32_t column = columns[i] - 1;
      const bool ok =
          row < 0 ? VMTableTitle(context, table, column, cell) : VMTableCell(context, table, row, column, cell);
      if (!ok) {
        // The table changed under the export (rows removed meanwhile).
        Raise(context, kErrUnknownTable, {tableName});
        return false;
      }
      AppendCell(out, cell);
    }
    if (out.size() > kMaxTextUnits) {
      Raise(context, kErrTableTextTooLong, {tableName});
      return false;
    }
  }
  return true;
}

}  // namespace

std::u16string TableToTextFull(ExecContext* context, std::u16string_view table, int32_t options,
                               std::u16string_view columns, std::u16string_view separator) {
  std::u16string out;
  if (!MakeText(context, table, options, columns, separator, out)) return {};
  return out;
}

std::u16string TableToText(ExecContext* context, std::u16string_view table) {
  return TableToTextFull(context, table, kTableWithTitles, {}, {});
}
std::u16string TableToTextOptions(ExecContext* context, std::u16string_view table, int32_t options) {
  return TableToTextFull(context, table, options, {}, {});
}
std::u16string TableToTextOptionsColumns(ExecContext* context, std::u16string_view table, int32_t options,
                                         std::u16string_view columns) {
  return TableToTextFull(context, table, options, columns, {});
}
std::u16string TableToTextColumns(ExecContext* context, std::u16string_view table, std::u16string_view columns) {
  return TableToTextFull(context, table, kTableWithTitles, columns, {});
}
std::u16string TableToTextColumnsSeparator(ExecContext* context, std::u16string_view table, std::u16string_view columns,
                                           std::u16string_view separator) {
  return TableToTextFull(context, table, kTableWithTitles, columns, separator);
}

bool TableToClipboardFull(ExecContext* context, std::u16string_view table, int32_t options, std::u16string_view columns,
                          std::u16string_view separator) {
  std::u16string text;
  if (!MakeText(context, table, options, columns, separator, text)) return false;
  // An empty export still replaces the clipboard: the caller asked for the
  // table's content, and an old text left there would be taken for it.
  return desktop::SetClipboardText(context, text);
}

bool TableToClipboard(ExecContext* context, std::u16string_view table) {
  return TableToClipboardFull(context, table, kTableWithTitles, {}, {});
}
bool TableToClipboardOptions(ExecContext* context, std::u16string_view table, int32_t options) {
  return TableToClipboardFull(context, table, options, {}, {});
}
bool TableToClipboardOptionsColumns(ExecContext* context, std::u16string_view table, int32_t options,
                                    std::u16string_view columns) {
  return TableToClipboardFull(context, table, options, columns, {});
}
bool TableToClipboardColumns(ExecContext* context, std::u16string_view table, std::u16string_view columns) {
  return TableToClipboardFull(context, table, kTableWithTitles, columns, {});
}
bool TableToClipboardColumnsSeparator(ExecContext* context, std::u16string_view table, std::u16string_view columns,
                                      std::u16string_view separator) {
  return TableToClipboardFull(context, table, kTableWithTitles, columns, separator);
}

}  // namespace kp::numbers
