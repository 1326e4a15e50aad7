// kp — the reference records' parser (see reference.h for the format).
#include "reference.h"

#include <algorithm>

namespace kphost::ref {
namespace {

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
  return s;
}

class Parser {
 public:
  Parser(const std::string& file, Parsed& out) : file_(file), out_(out) {}

  void Line(std::string_view raw, int number) {
    line_ = number;
    if (!raw.empty() && raw.back() == '\r') raw.remove_suffix(1);
    const std::string_view body = Trim(raw);
    if (body.empty() || body.front() == '#') return;
    size_t indent = 0;
    while (indent < raw.size() && raw[indent] == ' ') ++indent;
    if (indent < raw.size() && raw[indent] == '\t') return Error("indent with spaces, not tabs");
    if (indent == 0) return Header(body);
    if (!current_) return Error("a key outside any record");
    if (indent == 2) return Key(body);
    if (indent == 4) return ParamLine(body);
    Error("indented by " + std::to_string(indent) + " spaces; keys take 2, parameter lines 4");
  }

  void Finish() { Close(); }

 private:
  Record& Current() { return out_.records[current_ - 1]; }
  void Error(const std::string& what) { out_.errors.push_back(file_ + ".ref:" + std::to_string(line_) + ": " + what); }
  void Error(const Record& r, const std::string& what) {
    out_.errors.push_back(file_ + ".ref:" + std::to_string(r.line) + ": " + r.name + ": " + what);
  }

  // `key: value` split at the first colon; false when there is none.
  static bool SplitKey(std::string_view body, std::string_view& key, std::string_view& value) {
    const size_t colon = body.find(':');
    if (colon == std::string_view::npos) return false;
    key = Trim(body.substr(0, colon));
    value = Trim(body.substr(colon + 1));
    return true;
  }

  // "english | français": both halves required.
  bool Bilingual(std::string_view value, Text& text, std::string_view key) {
    const size_t bar = value.find(" | ");
    if (bar == std::string_view::npos) {
      Error(std::string(key) + ": English, then \" | \", then French");
      return false;
    }
    text.en = Trim(value.substr(0, bar));
    text.fr = Trim(value.substr(bar + 3));
    if (text.en.empty() || text.fr.empty()) {
      Error(std::string(key) + ": both the English and the French are needed");
      return false;
    }
    return true;
  }

  void Header(std::string_view body) {
    Close();
    const size_t space = body.find(' ');
    const std::string_view keyword = body.substr(0, space);
    const std::string_view name = space == std::string_view::npos ? std::string_view() : Trim(body.substr(space));
    if (keyword != "function" && keyword != "constant") return Error("a record starts with function or constant");
    if (name.empty() || name.find(' ') != std::string_view::npos)
      return Error(std::string(keyword) + " takes one name");
    out_.records.emplace_back();
    current_ = out_.records.size();
    Current().kind = keyword == "function" ? Record::Kind::Function : Record::Kind::Constant;
    Current().name = name;
    Current().file = file_;
    Current().line = line_;
    single_.clear();
  }

  void Key(std::string_view body) {
    std::string_view key, value;
    if (!SplitKey(body, key, value)) return Error("expected key: value");
    Record& r = Current();
    const bool function = r.kind == Record::Kind::Function;
    const bool repeats = key == "syntax" || key == "note" || key == "example";
    if (!repeats) {
      if (std::find(single_.begin(), single_.end(), key) != single_.end())
        return Error(std::string(key) + " given twice");
      single_.emplace_back(key);
    }
    if (key != "syntax") syntax_ = nullptr;
    if (key == "value-meaning") {
      if (function) return Error("value-meaning belongs to a constant");
      Bilingual(value, r.valueMeaning, key);
      return;
    }
    if (!function && key != "note") return Error(std::string(key) + " belongs to a function, not a constant");
    if (key == "summary")
      Bilingual(value, r.summary, key);
    else if (key == "result")
      Bilingual(value, r.result, key);
    else if (key == "fails")
      Bilingual(value, r.fails, key);
    else if (key == "unavailable")
      Bilingual(value, r.unavailable, key);
    else if (key == "note")
      Bilingual(value, r.notes.emplace_back(), key);
    else if (key == "syntax")
      Syntax(value);
    else if (key == "example")
      ExampleLine(value);
    else
      Error("unknown key " + std::string(key));
  }

  void Syntax(std::string_view value) {
    SyntaxDoc& s = Current().syntaxes.emplace_back();
    s.line = line_;
    syntax_ = &s;
    while (!value.empty()) {
      const size_t comma = value.find(',');
      const std::string_view name = Trim(value.substr(0, comma));
      if (name.empty() || name.find_first_of(" |:") != std::string_view::npos) {
        Error("syntax: parameter names are single words separated by commas");
        s.names.clear();
        return;
      }
      if (std::find(s.names.begin(), s.names.end(), name) != s.names.end())
        Error("syntax: parameter " + std::string(name) + " named twice");
      s.names.emplace_back(name);
      if (comma == std::string_view::npos) break;
      value.remove_prefix(comma + 1);
      if (Trim(value).empty()) Error("syntax: a comma with no name after it");
    }
  }

  void ExampleLine(std::string_view value) {
    Example& e = Current().examples.emplace_back();
    if (value == "none | aucun" || value == "none") {
      e.none = true;
      return;
    }
    const size_t arrow = value.find(" => ");
    if (arrow == std::string_view::npos) {
      // An expression whose output is empty ends with "=>".
      if (value.size() >= 3 && value.substr(value.size() - 3) == " =>") {
        e.expression = Trim(value.substr(0, value.size() - 3));
        if (!e.expression.empty()) return;
      }
      Current().examples.pop_back();
      return Error("example: EXPRESSION => what kp eval prints");
    }
    e.expression = Trim(value.substr(0, arrow));
    e.output = value.substr(arrow + 4);  // kept as is: trailing blanks are part of an output
    if (e.expression.empty()) {
      Current().examples.pop_back();
      Error("example: the expression is missing");
    }
  }

  void ParamLine(std::string_view body) {
    if (!syntax_) return Error("a parameter line belongs under a syntax: line");
    std::string_view key, value;
    if (!SplitKey(body, key, value)) return Error("expected name: meaning-en | meaning-fr");
    const bool isName = std::find(syntax_->names.begin(), syntax_->names.end(), key) != syntax_->names.end();
    if (key == "unavailable" && !isName) {
      if (!syntax_->unavailable.empty()) return Error("unavailable given twice for one syntax");
      Bilingual(value, syntax_->unavailable, key);
      return;
    }
    if (!isName) return Error(std::string(key) + " is not among this syntax's parameters");
    for (const auto& p : syntax_->params)
      if (p.name == key) return Error(std::string(key) + " described twice");
    Param p;
    p.name = key;
    if (Bilingual(value, p.meaning, key)) syntax_->params.push_back(std::move(p));
  }

  // Checks what a finished record must hold.
  void Close() {
    if (!current_) return;
    const Record& r = Current();
    if (r.kind == Record::Kind::Constant) {
      if (r.valueMeaning.empty()) Error(r, "a constant needs value-meaning");
    } else if (!r.unavailable.empty()) {
      if (!r.result.empty() || !r.fails.empty() || !r.examples.empty())
        Error(r, "an unavailable row has no result, fails or example");
    } else {
      if (r.summary.empty()) Error(r, "summary missing");
      if (r.syntaxes.empty()) Error(r, "no syntax: line");
      if (r.result.empty()) Error(r, "result missing");
      if (r.fails.empty()) Error(r, "fails missing");
      if (r.examples.empty()) Error(r, "example missing");
    }
    for (const auto& s : r.syntaxes)
      for (const auto& name : s.names) {
        const bool described =
            std::any_of(s.params.begin(), s.params.end(), [&](const Param& p) { return p.name == name; });
        if (!described)
          out_.errors.push_back(file_ + ".ref:" + std::to_string(s.line) + ": " + r.name + ": parameter " + name +
                                " has no meaning line");
      }
    current_ = 0;
    syntax_ = nullptr;
  }

  const std::string& file_;
  Parsed& out_;
  // The open record, by position + 1 (0: none), since records grow.
  size_t current_ = 0;
  SyntaxDoc* syntax_ = nullptr;
  std::vector<std::string> single_;
  int line_ = 0;
};

}  // namespace

void ParseRecords(std::string_view text, const std::string& file, Parsed& out) {
  Parser parser(file, out);
  int number = 0;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    parser.Line(text.substr(0, end), ++number);
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  parser.Finish();
}

}  // namespace kphost::ref
