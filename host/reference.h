// kp — the reference records: one documentation record per function row and
// per constant, written in src/component/reference/*.ref and embedded into kp
// at build time. The records hold only words (what a parameter means, what a
// call returns, an example); the names' other language, the syntax counts and
// the types come from the tables the library hands out, joined at run time.
//
// The format, one record a block:
//   function <French name>          constant <French name>
//     summary: english | français     value-meaning: english | français
//     syntax: a, b                    (one per syntax, in table order)
//       a: english | français         (one per parameter named)
//       unavailable: english | français
//     result: / fails: / unavailable: / note: english | français
//     example: EXPRESSION => what kp eval prints
//
// Thread-safety: the parser is a plain function; Embedded() is built once
// (a function-local static) and read-only afterwards.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kphost::ref {

// A text in both languages.
struct Text {
  std::string en, fr;
  bool empty() const { return en.empty() && fr.empty(); }
  const std::string& In(bool french) const { return french && !fr.empty() ? fr : en; }
};

struct Param {
  std::string name;
  Text meaning;
};

struct SyntaxDoc {
  std::vector<std::string> names;  // as listed on the syntax line
  std::vector<Param> params;       // the meaning lines that followed it
  Text unavailable;                // this syntax's own reason, when it has one
  int line = 0;
};

struct Example {
  std::string expression, output;
  bool none = false;  // "none | aucun": every call acts outside the device
};

struct Record {
  enum class Kind { Function, Constant } kind = Kind::Function;
  std::string name;  // the French name, as written after the keyword
  std::string file;  // the .ref file's stem ("datetime"): the reference page
  int line = 0;
  Text summary, result, fails, unavailable, valueMeaning;
  std::vector<SyntaxDoc> syntaxes;
  std::vector<Example> examples;
  std::vector<Text> notes;
};

struct Parsed {
  std::vector<Record> records;
  std::vector<std::string> errors;  // "file:line: what is wrong"
};

// Parses one .ref file's text into `out` (records appended, errors too).
// Never throws on bad input: a line it cannot read becomes an error.
void ParseRecords(std::string_view text, const std::string& file, Parsed& out);

// Every embedded .ref file, parsed (errors included).
const Parsed& Embedded();

// The embedded files as the build found them: stem and text.
struct EmbeddedFile {
  const char* stem;
  const char* text;
};
extern const EmbeddedFile kEmbeddedFiles[];
extern const size_t kEmbeddedFileCount;

}  // namespace kphost::ref
