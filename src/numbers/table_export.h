// kp160std — TableVersTexte/TableToText: the content of a table control as
// text (TableVersPressePapier/TableToClipboard puts the same text on the
// clipboard), columns separated by "\t" (or a separator of the caller's) and lines
// by "\r\n", without a trailing separator, as every list of this library.
//
// The content comes from the VM (the table operations of its services
// object); this file only chooses the columns and writes the text. A tab or
// a line break inside a cell would break the layout, so each becomes a space.
//
// Thread-safety: no state of its own; the VM's table is read on the
// program's thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "abi/error_ids.h"
#include "kp160std/abi.h"

namespace kp::numbers {

// Options: the titles line comes first (the default of the syntaxes without
// options). No other bit is defined.
constexpr int32_t kTableWithTitles = 1;

// The column list: empty (or blanks) for every column in order; else items
// separated by "," or ";", each a column number from 1 or a range "a-b"
// (a <= b), blanks around items allowed, a column may come twice. False when
// the list is not of that form or names a column past `columnCount`.
bool ParseColumnList(std::u16string_view text, int32_t columnCount, std::vector<int32_t>* columns);

std::u16string TableToText(ExecContext* context, std::u16string_view table);
std::u16string TableToTextOptions(ExecContext* context, std::u16string_view table, int32_t options);
std::u16string TableToTextOptionsColumns(ExecContext* context, std::u16string_view table, int32_t options,
                                         std::u16string_view columns);
std::u16string TableToTextFull(ExecContext* context, std::u16string_view table, int32_t options,
                               std::u16string_view columns, std::u16string_view separator);
std::u16string TableToTextColumns(ExecContext* context, std::u16string_view table, std::u16string_view columns);
std::u16string TableToTextColumnsSeparator(ExecContext* context, std::u16string_view table, std::u16string_view columns,
                                           std::u16string_view separator);

// TableVersPressePapier/TableToClipboard: the same text as TableToText*, put
// on the clipboard through the desktop family. False with the export's error
// (nothing put on the clipboard) or with the clipboard's.
bool TableToClipboard(ExecContext* context, std::u16string_view table);
bool TableToClipboardOptions(ExecContext* context, std::u16string_view table, int32_t options);
bool TableToClipboardOptionsColumns(ExecContext* context, std::u16string_view table, int32_t options,
                                    std::u16string_view columns);
bool TableToClipboardFull(ExecContext* context, std::u16string_view table, int32_t options, std::u16string_view columns,
                          std::u16string_view separator);
bool TableToClipboardColumns(ExecContext* context, std::u16string_view table, std::u16string_view columns);
bool TableToClipboardColumnsSeparator(ExecContext* context, std::u16string_view table, std::u16string_view columns,
                                      std::u16string_view separator);

}  // namespace kp::numbers
