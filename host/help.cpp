// kp — help, list and the Markdown reference, from the records and the tables.
#include "help.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

#include "names.h"
#include "text.h"

namespace kphost {
namespace {

using ref::Record;

// The records by folded French name, one map per kind.
struct Index {
  std::map<std::string, const Record*> functions, constants;
};

const Index& Records() {
  static const Index index = [] {
    Index i;
    for (const auto& r : ref::Embedded().records)
      (r.kind == Record::Kind::Function ? i.functions : i.constants).emplace(FoldName(r.name), &r);
    return i;
  }();
  return index;
}

const char* Word(bool french, const char* en, const char* fr) { return french ? fr : en; }

enum class Availability { All, Some, None };

Availability Available(const FunctionInfo& f) {
  size_t n = 0;
  for (const auto& s : f.syntaxes) n += s.entry != nullptr;
  return n == 0 ? Availability::None : n == f.syntaxes.size() ? Availability::All : Availability::Some;
}

std::string AvailabilityWords(Availability a, bool french) {
  switch (a) {
    case Availability::All: return Word(french, "available here", "disponible ici");
    case Availability::Some: return Word(french, "partly available here", "en partie disponible ici");
    case Availability::None: break;
  }
  return Word(french, "not available on this platform", "non disponible sur cette plate-forme");
}

std::string ShortAvailability(Availability a, bool french) {
  switch (a) {
    case Availability::All: return Word(french, "yes", "oui");
    case Availability::Some: return Word(french, "partly", "en partie");
    case Availability::None: break;
  }
  return Word(french, "no", "non");
}

const std::string& NameIn(const FunctionInfo& f, bool french) { return french ? f.french : f.english; }

// "Easter(year: integer) -> text": the syntax with the record's parameter
// names where it has them.
std::string Signature(const FunctionInfo& f, size_t i, const Record* r, bool french) {
  const SyntaxInfo& s = f.syntaxes[i];
  const ref::SyntaxDoc* doc = r && i < r->syntaxes.size() ? &r->syntaxes[i] : nullptr;
  std::string text = NameIn(f, french) + "(";
  for (size_t p = 0; p < s.params.size(); ++p) {
    if (p) text += ", ";
    if (doc && p < doc->names.size()) text += doc->names[p] + ": ";
    text += TypeWord(s.params[p], french);
  }
  text += ")";
  if (s.result != KL_T_NONE) text += " -> " + TypeWord(s.result, french);
  return text;
}

std::string ConstantValue(const ConstantInfo& c, bool french) {
  if (c.kind == KL_CONST_KIND_TEXT)
    return Word(french, "text \"", "texte « ") + Utf8(c.text) + Word(french, "\"", " »");
  if (c.kind == KL_CONST_KIND_NONE)
    return Word(french, "not available on this platform", "non disponible sur cette plate-forme");
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%x", static_cast<uint32_t>(c.value));
  return Word(french, "integer ", "entier ") + std::to_string(c.value) + " (" + hex + ")";
}

std::string FunctionHelp(const FunctionInfo& f, bool french) {
  const Record* r = FunctionRecord(f);
  const Availability a = Available(f);
  std::string out = NameIn(f, french) + " / " + NameIn(f, !french) + " — " + Word(french, "function", "fonction") +
                    ", " + AvailabilityWords(a, french) + "\n";
  if (!r) {
    out += Word(french, "  (no reference record yet)\n", "  (pas encore de fiche de référence)\n");
  } else if (!r->summary.empty()) {
    out += "  " + r->summary.In(french) + "\n";
  }
  if (r && !r->unavailable.empty()) out += "  " + r->unavailable.In(french) + "\n";
  out += "\n";
  out +=
      f.syntaxes.size() == 1 ? Word(french, "Syntax:\n", "Syntaxe :\n") : Word(french, "Syntaxes:\n", "Syntaxes :\n");
  for (size_t i = 0; i < f.syntaxes.size(); ++i) {
    out += "  " + Signature(f, i, r, french);
    const ref::SyntaxDoc* doc = r && i < r->syntaxes.size() ? &r->syntaxes[i] : nullptr;
    if (!f.syntaxes[i].entry && a != Availability::None) {
      out += Word(french, "   [not available here", "   [non disponible ici");
      if (doc && !doc->unavailable.empty()) out += ": " + doc->unavailable.In(french);
      out += "]";
    }
    out += "\n";
    if (doc)
      for (const auto& p : doc->params) out += "      " + p.name + ": " + p.meaning.In(french) + "\n";
  }
  if (r) {
    if (!r->result.empty()) out += Word(french, "Result: ", "Résultat : ") + r->result.In(french) + "\n";
    if (!r->fails.empty()) out += Word(french, "Fails: ", "Échec : ") + r->fails.In(french) + "\n";
    for (const auto& e : r->examples) {
      out += Word(french, "Example: ", "Exemple : ");
      out += e.none ? Word(french, "none", "aucun") : e.expression + "  =>  " + e.output;
      out += "\n";
    }
    for (const auto& n : r->notes) out += Word(french, "Note: ", "Note : ") + n.In(french) + "\n";
  }
  return out;
}

std::string ConstantHelp(const ConstantInfo& c, bool french) {
  const Record* r = ConstantRecord(c);
  std::string out = (french ? c.french : c.english) + " / " + (french ? c.english : c.french) + " — " +
                    Word(french, "constant, ", "constante, ") + ConstantValue(c, french) + "\n";
  if (!r) return out + Word(french, "  (no reference record yet)\n", "  (pas encore de fiche de référence)\n");
  out += "  " + r->valueMeaning.In(french) + "\n";
  for (const auto& n : r->notes) out += Word(french, "Note: ", "Note : ") + n.In(french) + "\n";
  return out;
}

bool Holds(const std::string& haystack, const std::string& foldedNeedle) {
  return FoldAccents(haystack).find(foldedNeedle) != std::string::npos;
}

std::string MarkdownCell(std::string s) {
  std::string out;
  for (char c : s) {
    if (c == '|')
      out += "\\|";
    else
      out += c;
  }
  return out;
}

// Every generated page says so near its top; only such pages are replaced.
constexpr const char* kGeneratedMark = "Generated by `kp reference --markdown docs/reference`";

// The page a row's record lives on; rows without one are listed on "undocumented".
std::string PageOf(const Record* r) { return r ? r->file : "undocumented"; }

}  // namespace

std::string TypeWord(uint32_t code, bool french) {
  switch (code & ~uint32_t{KL_T_FLAG_8000}) {
    case KL_T_NONE: return Word(french, "nothing", "rien");
    case KL_T_BOOL: return Word(french, "boolean", "booléen");
    case KL_T_INT: return Word(french, "integer", "entier");
    case KL_T_INT64: return Word(french, "8-byte integer", "entier sur 8 octets");
    case KL_T_CURRENCY: return Word(french, "currency", "monétaire");
    case KL_T_REAL: return Word(french, "real", "réel");
    case KL_T_INSTANCE: return Word(french, "instance", "instance");
    case KL_T_WINDOW: return Word(french, "window", "fenêtre");
    case KL_T_TEXT_CELL:
    case KL_T_TEXT:
    case KL_T_TEXT_DIRECT: return Word(french, "text", "texte");
    case KL_T_DATE: return "date";
    case KL_T_TIME: return Word(french, "time", "heure");
    case KL_T_DATETIME: return Word(french, "date-time", "date-heure");
    case KL_T_DURATION: return Word(french, "duration", "durée");
    case KL_T_BUFFER: return Word(french, "buffer", "buffer");
    case KL_T_VARIANT: return Word(french, "any type", "tout type");
    case KL_T_ARRAY: return Word(french, "array", "tableau");
    default: return Word(french, "type ", "type ") + std::to_string(code);
  }
}

const ref::Record* FunctionRecord(const FunctionInfo& function) {
  const auto& m = Records().functions;
  auto it = m.find(FoldName(function.french));
  return it == m.end() ? nullptr : it->second;
}

const ref::Record* ConstantRecord(const ConstantInfo& constant) {
  const auto& m = Records().constants;
  auto it = m.find(FoldName(constant.french));
  return it == m.end() ? nullptr : it->second;
}

bool RenderHelp(const Library& library, std::string_view name, bool french, std::string& out) {
  if (const FunctionInfo* f = library.FindFunction(name)) {
    out = FunctionHelp(*f, french);
    return true;
  }
  if (const ConstantInfo* c = library.FindConstant(name)) {
    out = ConstantHelp(*c, french);
    return true;
  }
  out = Word(french, "no function or constant is named ", "aucune fonction ni constante ne s'appelle ") +
        std::string(name) + DidYouMean(library, name) + "\n";
  return false;
}

std::string RenderList(const Library& library, std::string_view pattern, bool french) {
  const std::string needle = FoldAccents(pattern);
  struct Line {
    std::string name, other, kind, available, what;
  };
  std::vector<Line> lines;
  for (const auto& f : library.functions()) {
    const Record* r = FunctionRecord(f);
    const std::string summary = r ? r->summary.In(french) : "";
    const std::string other = r ? r->summary.In(!french) : "";
    if (!needle.empty() && !Holds(f.french, needle) && !Holds(f.english, needle) && !Holds(summary, needle) &&
        !Holds(other, needle))
      continue;
    lines.push_back({NameIn(f, french), NameIn(f, !french), Word(french, "function", "fonction"),
                     ShortAvailability(Available(f), french), summary});
  }
  for (const auto& c : library.constants()) {
    const Record* r = ConstantRecord(c);
    const std::string meaning = r ? r->valueMeaning.In(french) : "";
    const std::string other = r ? r->valueMeaning.In(!french) : "";
    if (!needle.empty() && !Holds(c.french, needle) && !Holds(c.english, needle) && !Holds(meaning, needle) &&
        !Holds(other, needle))
      continue;
    lines.push_back(
        {french ? c.french : c.english, french ? c.english : c.french, Word(french, "constant", "constante"),
         ShortAvailability(c.kind == KL_CONST_KIND_NONE ? Availability::None : Availability::All, french), meaning});
  }
  if (lines.empty()) return "";
  // Columns as wide as their longest entry, counted in code points.
  auto width = [](const std::string& s) { return Utf16(s).size(); };
  const Line header{Word(french, "name", "nom"), Word(french, "other name", "autre nom"), Word(french, "kind", "genre"),
                    Word(french, "here", "ici"), Word(french, "description", "description")};
  size_t w[4] = {width(header.name), width(header.other), width(header.kind), width(header.available)};
  for (const auto& l : lines) {
    w[0] = std::max(w[0], width(l.name));
    w[1] = std::max(w[1], width(l.other));
    w[2] = std::max(w[2], width(l.kind));
    w[3] = std::max(w[3], width(l.available));
  }
  auto pad = [&](const std::string& s, size_t n) { return s + std::string(n - width(s) + 2, ' '); };
  std::string out;
  auto put = [&](const Line& l) {
    std::string text = pad(l.name, w[0]) + pad(l.other, w[1]) + pad(l.kind, w[2]) + pad(l.available, w[3]) + l.what;
    while (!text.empty() && text.back() == ' ') text.pop_back();
    out += text + "\n";
  };
  put(header);
  for (const auto& l : lines) put(l);
  return out;
}

bool WriteMarkdown(const Library& library, const std::string& dir, std::string& error) {
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) {
    error = "cannot make " + dir + ": " + ec.message();
    return false;
  }
  std::map<std::string, std::string> pages;  // file stem -> body
  std::string index =
      "# Function reference\n\n"
      "Generated by `kp reference --markdown docs/reference` from the records in src/component/reference/\n"
      "(their format: host/reference.h) and the library's tables; do not edit by hand. \"Here\" is Linux:\n"
      "whether the row has an implementation.\n"
      "Constants: [constants.md](constants.md). `kp help NAME` shows the same text.\n\n"
      "| Row | French | English | Here | Page |\n|---:|---|---|---|---|\n";
  for (const auto& f : library.functions()) {
    const Record* r = FunctionRecord(f);
    const std::string page = PageOf(r);
    index += "| " + std::to_string(f.index) + " | " + MarkdownCell(f.french) + " | " + MarkdownCell(f.english) + " | " +
             ShortAvailability(Available(f), false) + " | [" + page + "](" + page + ".md) |\n";
    std::string& body = pages[page];
    body += "## " + f.french + " / " + f.english + "\n\n```\n" + FunctionHelp(f, false) + "```\n\n";
    if (r && !r->summary.empty()) body += "*" + r->summary.fr + "*\n\n";
  }
  std::string constants =
      "# Constants\n\nGenerated by `kp reference --markdown docs/reference`; do not edit by hand.\n\n"
      "| French | English | Value | Meaning |\n|---|---|---|---|\n";
  for (const auto& c : library.constants()) {
    const Record* r = ConstantRecord(c);
    constants += "| " + MarkdownCell(c.french) + " | " + MarkdownCell(c.english) + " | " +
                 MarkdownCell(ConstantValue(c, false)) + " | " + MarkdownCell(r ? r->valueMeaning.en : "") + " |\n";
  }
  pages["constants"];  // written below; listed so that it is not taken for a stale page
  auto write = [&](const std::string& stem, const std::string& text) {
    const std::string path = dir + "/" + stem + ".md";
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    if (!out) {
      error = "cannot write " + path;
      return false;
    }
    return true;
  };
  // Pages this generator wrote before and no longer makes (a record file
  // renamed) go; any other file in the directory is left alone.
  for (const auto& entry : std::filesystem::directory_iterator(dir, ec)) {
    const auto path = entry.path();
    if (path.extension() != ".md" || pages.count(path.stem().string()) || path.stem() == "index") continue;
    std::ifstream in(path, std::ios::binary);
    std::string head(400, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    in.close();
    if (head.find(kGeneratedMark) != std::string::npos) std::filesystem::remove(path, ec);
  }
  if (!write("index", index) || !write("constants", constants)) return false;
  for (const auto& [stem, body] : pages) {
    if (stem == "constants") continue;
    if (!write(stem, "# Functions: " + stem +
                         "\n\nGenerated by `kp reference --markdown docs/reference`; do not edit by hand. "
                         "Index: [index.md](index.md).\n\n" +
                         body))
      return false;
  }
  return true;
}

}  // namespace kphost
