// kp — the reference host of the KL standard-function library.
//
//   kp eval [--json] [--lang fr|en] 'EXPR' ['EXPR' ...]
//   kp run [--lang fr|en] FILE.kl | -
//   kp [repl [--lang fr|en]]
//   kp tables
//   kp help [--lang en|fr] NAME
//   kp list [--lang en|fr] [PATTERN]
//   kp reference --markdown DIR
//   kp --version
//
// The library is found beside the host (../libkp160std.so from the host's
// directory; KP160STD.DLL on Windows) unless KP_LIBRARY names it.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "eval.h"
#include "help.h"
#include "names.h"
#include "os.h"
#include "prompt.h"
#include "script_eval.h"
#include "script_parser.h"
#include "text.h"
#include "vm.h"

using namespace kphost;

namespace {

int Usage(int status) {
  std::fprintf(status ? stderr : stdout,
               "usage: kp eval [--json] [--lang fr|en] 'EXPR' ['EXPR' ...]\n"
               "       kp run [--lang fr|en] FILE.kl   (- reads the script from stdin)\n"
               "       kp [repl [--lang fr|en]]        the interactive prompt\n"
               "       kp tables\n"
               "       kp help [--lang en|fr] NAME     a function or constant: syntaxes, meaning, example\n"
               "       kp list [--lang en|fr] [PATTERN]  names and descriptions holding PATTERN\n"
               "       kp reference --markdown DIR     writes the reference pages (docs/reference)\n"
               "       kp --version                    the host's and the library's versions\n"
               "\n"
               "EXPR: a KL call by French or English name, nested calls, \"text\", integers,\n"
               "x\"0A1B\" buffers, True/False (Vrai/Faux), KL constants, NAME = EXPR.\n"
               "eval prints one line per expression: a refused one prints an empty line\n"
               "(the reason, with its number, on stderr); line ends in a text show as \\n.\n"
               "Scripts: docs/scripts.md. Exit status: 0, 1 when a call left an error\n"
               "record, 2 when kp refused the input or the script stopped.\n"
               "KP_LIBRARY names the library to load; KP_PREFIX the device directory.\n");
  return status;
}

std::string LibraryPath() {
  if (const char* path = std::getenv("KP_LIBRARY"); path && *path) return path;
  // Beside the host, or one directory up (build/<preset>/host/kp beside
  // build/<preset>/<library>).
  const std::string dir = os::ProgramDirectory();
  if (dir.empty()) return os::kLibraryName;
  const size_t slash = dir.find_last_of(os::kSeparators);
  const std::string parent = slash == std::string::npos ? dir : dir.substr(0, slash);
  for (const std::string& candidate : {parent + "/" + os::kLibraryName, dir + "/" + os::kLibraryName})
    if (os::FileReadable(candidate)) return candidate;
  // Installed: the name the system's loader finds (the SONAME on POSIX).
  return os::kInstalledLibraryName;
}

int32_t DefaultLanguage() {
  for (const char* var : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* v = std::getenv(var);
    if (v && *v) return std::strncmp(v, "fr", 2) == 0 ? KL_LANGUAGE_FRENCH : 9;
  }
  return 9;
}

std::unique_ptr<Library> Open(int32_t language) {
  std::string error;
  auto lib = Library::Load(LibraryPath(), error, language);
  if (!lib) std::fprintf(stderr, "kp: %s\n", error.c_str());
  // The runtime's answer to information question 82, the location that
  // AppliDéclencheMAJ hands the updater.
  if (const char* location = std::getenv("KP_UPDATE_LOCATION"); location && *location)
    Library::VMInformation()[KL_VM_INFO_UPDATE_LOCATION] = kphost::Utf16(location);
  return lib;
}

// Line ends inside a text shown as \n and \r, so that a result stays on
// its line (--json gives the exact value).
std::string OneLine(const std::string& shown) {
  std::string out;
  for (char c : shown) {
    if (c == '\n')
      out += "\\n";
    else if (c == '\r')
      out += "\\r";
    else
      out += c;
  }
  return out;
}

int Eval(std::vector<std::string> args) {
  bool json = false;
  int32_t language = DefaultLanguage();
  std::vector<std::string> expressions;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--json") {
      json = true;
    } else if (args[i] == "--lang" && i + 1 < args.size()) {
      const std::string& l = args[++i];
      if (l != "fr" && l != "en") return Usage(2);
      language = l == "fr" ? KL_LANGUAGE_FRENCH : 9;
    } else {
      expressions.push_back(args[i]);
    }
  }
  if (expressions.empty()) return Usage(2);
  auto lib = Open(language);
  if (!lib) return 2;
  Evaluator evaluator(*lib);
  int status = 0;
  for (size_t n = 0; n < expressions.size(); ++n) {
    const Outcome o = evaluator.Evaluate(expressions[n]);
    // One stdout line per expression, as with --json, so results line up
    // with the expressions even when one is refused.
    if (json) {
      std::printf("%s\n", Json(o).c_str());
    } else if (!o.ok()) {
      std::printf("\n");
      std::fflush(stdout);
      std::fprintf(stderr, "kp: expression %zu: %s\n%s", n + 1, o.failure.c_str(), o.excerpt.c_str());
    } else {
      std::printf("%s\n", OneLine(Display(o.value)).c_str());
    }
    if (!o.ok()) {
      status = 2;
    } else if (o.error.present()) {
      // After the value's line, also when both streams go to one pipe.
      std::fflush(stdout);
      if (!json) std::fprintf(stderr, "%s\n", DescribeError(o.error).c_str());
      if (status == 0) status = 1;
    }
    std::fflush(stdout);
  }
  return status;
}

// --lang fr|en among `args`, removed; false when the value is wrong.
bool TakeLanguage(std::vector<std::string>& args, int32_t& language) {
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] != "--lang") continue;
    if (i + 1 >= args.size() || (args[i + 1] != "fr" && args[i + 1] != "en")) return false;
    language = args[i + 1] == "fr" ? KL_LANGUAGE_FRENCH : 9;
    args.erase(args.begin() + static_cast<long>(i), args.begin() + static_cast<long>(i) + 2);
    --i;
  }
  return true;
}

int RunScript(Library& lib, const std::string& source, const std::string& file) {
  Interpreter interpreter(lib);
  interpreter.trace = [](const std::string& line) { std::printf("%s\n", line.c_str()); };
  interpreter.onLibraryError = [](const ErrorState& error, const std::string& where) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", where.c_str(), DescribeError(error).c_str());
  };
  try {
    interpreter.Run(Parse(source, file));
  } catch (const ScriptError& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", e.Describe().c_str());
    return 2;
  }
  std::fflush(stdout);
  return interpreter.libraryErrors() ? 1 : 0;
}

int Run(std::vector<std::string> args) {
  int32_t language = DefaultLanguage();
  if (!TakeLanguage(args, language) || args.size() != 1) return Usage(2);
  std::string source;
  const std::string& file = args[0];
  if (file == "-") {
    std::ostringstream in;
    in << std::cin.rdbuf();
    source = in.str();
  } else {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "kp: cannot read %s: %s\n", file.c_str(), std::strerror(errno));
      return 2;
    }
    std::ostringstream text;
    text << in.rdbuf();
    source = text.str();
  }
  auto lib = Open(language);
  if (!lib) return 2;
  return RunScript(*lib, source, file == "-" ? "<stdin>" : file);
}

int Repl(std::vector<std::string> args) {
  int32_t language = DefaultLanguage();
  if (!TakeLanguage(args, language) || !args.empty()) return Usage(2);
  auto lib = Open(language);
  if (!lib) return 2;
  if (!os::StdinIsTerminal()) {
    // Piped in: the lines are a script, without prompts or editing.
    std::ostringstream in;
    in << std::cin.rdbuf();
    return RunScript(*lib, in.str(), "<stdin>");
  }
  return Prompt(*lib);
}

int Tables() {
  auto lib = Open(DefaultLanguage());
  if (!lib) return 2;
  size_t available = 0, syntaxes = 0, availableSyntaxes = 0, constantsAvailable = 0;
  for (const auto& f : lib->functions()) {
    available += f.available();
    syntaxes += f.syntaxes.size();
    for (const auto& s : f.syntaxes) availableSyntaxes += s.entry != nullptr;
  }
  for (const auto& c : lib->constants()) constantsAvailable += c.kind != KL_CONST_KIND_NONE;
  std::printf("functions: %zu (%zu with an implementation here; syntaxes %zu, %zu available)\n",
              lib->functions().size(), available, syntaxes, availableSyntaxes);
  std::printf("constants: %zu (%zu available)\n", lib->constants().size(), constantsAvailable);
  std::printf("variables: %zu\n", lib->variables().size());
  std::printf("types: %zu\n", lib->typeNames().size());
  for (const auto& t : lib->typeNames()) std::printf("  %s\n", t.c_str());
  return 0;
}

// kp help [--lang en|fr] NAME: the reference of one function or constant,
// in English unless asked otherwise.
int Help(std::vector<std::string> args) {
  int32_t language = 9;
  if (!TakeLanguage(args, language) || args.size() != 1) return Usage(2);
  auto lib = Open(language);
  if (!lib) return 2;
  std::string text;
  const bool found = RenderHelp(*lib, args[0], language == KL_LANGUAGE_FRENCH, text);
  std::fputs(text.c_str(), found ? stdout : stderr);
  return found ? 0 : 2;
}

// kp list [--lang en|fr] [PATTERN]: the functions and constants whose name
// or description holds PATTERN.
int List(std::vector<std::string> args) {
  int32_t language = 9;
  if (!TakeLanguage(args, language) || args.size() > 1) return Usage(2);
  auto lib = Open(language);
  if (!lib) return 2;
  const std::string pattern = args.empty() ? "" : args[0];
  const std::string text = RenderList(*lib, pattern, language == KL_LANGUAGE_FRENCH);
  if (text.empty()) {
    std::fprintf(stderr, "kp: nothing matches %s%s\n", pattern.c_str(), DidYouMean(*lib, pattern).c_str());
    return 1;
  }
  std::fputs(text.c_str(), stdout);
  return 0;
}

// kp reference --markdown DIR: the browsable reference (docs/reference).
int Reference(const std::vector<std::string>& args) {
  if (args.size() != 2 || args[0] != "--markdown") return Usage(2);
  auto lib = Open(9);
  if (!lib) return 2;
  std::string error;
  if (!WriteMarkdown(*lib, args[1], error)) {
    std::fprintf(stderr, "kp: %s\n", error.c_str());
    return 2;
  }
  return 0;
}

// The host's version is the header it was built with; the library's is
// the one of the file loaded, which KP_LIBRARY may point elsewhere.
int Version() {
  std::printf("kp %s\n", KP160STD_VERSION);
  const std::string path = LibraryPath();
  std::string error, file;
  void* library = os::OpenLibrary(path, error);
  if (!library) {
    std::fprintf(stderr, "kp: %s\n", error.c_str());
    return 2;
  }
  const std::string version = os::LibraryVersion(library, file);
  std::printf("library %s %s\n", version.empty() ? "(no version declared)" : version.c_str(),
              (file.empty() ? path : file).c_str());
  os::CloseLibrary(library);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  os::PrepareStandardStreams();
  const std::vector<std::string> arguments = os::Arguments(argc, argv);
  if (arguments.size() < 2) return Repl({});
  const std::string command = arguments[1];
  std::vector<std::string> rest(arguments.begin() + 2, arguments.end());
  if (command == "eval") return Eval(rest);
  if (command == "run") return Run(rest);
  if (command == "repl") return Repl(rest);
  if (command == "tables") return Tables();
  if (command == "help") return Help(rest);
  if (command == "list") return List(rest);
  if (command == "reference") return Reference(rest);
  if (command == "--help" || command == "-h") return Usage(0);
  if (command == "--version" && rest.empty()) return Version();
  return Usage(2);
}
