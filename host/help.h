// kp — the reference as a person reads it: `kp help NAME`, `kp list
// [PATTERN]`, the prompt's :help and :list, and the Markdown pages of
// docs/reference. Each joins the embedded records (reference.h) with the
// tables the library hands out: the names in both languages, the syntaxes,
// their types (in words) and what is available on this platform.
//
// Thread-safety: plain functions over read-only data.
#pragma once

#include <string>
#include <string_view>

#include "reference.h"
#include "vm.h"

namespace kphost {

// "text", "integer", "boolean", … (French: "texte", "entier", …).
std::string TypeWord(uint32_t code, bool french);

// The record of a function row or a constant, by its French name; null
// when it has none.
const ref::Record* FunctionRecord(const FunctionInfo& function);
const ref::Record* ConstantRecord(const ConstantInfo& constant);

// The help of a function or constant named in either language (case and
// accents folded). False, with `out` saying so and suggesting the closest
// names, when nothing has that name.
bool RenderHelp(const Library& library, std::string_view name, bool french, std::string& out);

// One line per function and constant whose name (either language) or
// description holds `pattern` (accents and case folded; empty: all), with
// its availability here. `out` is empty when nothing matches.
std::string RenderList(const Library& library, std::string_view pattern, bool french);

// Writes DIR/index.md (every row and constant, both names, availability),
// one page per record file (DIR/<file>.md) and DIR/constants.md. False with
// `error` set when a file cannot be written.
bool WriteMarkdown(const Library& library, const std::string& dir, std::string& error);

}  // namespace kphost
