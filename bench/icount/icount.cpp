// kp_icount — runs one hot path of the library a fixed number of times with
// callgrind collecting only around the loop, so `./kp icount` can count the
// instructions one call costs. Instruction counts do not depend on what else
// the machine does, so a regression shows however loaded the machine is.
//
//   valgrind --tool=callgrind --collect-atstart=no kp_icount CASE ITERATIONS
//
// Integer and text results are taken as a lean VM takes them: the cells
// built once, the entry function called, SetResult copying the value.
// Variant results go through the host's own services (the variant object
// and its copy), so those counts include the host's share. The caller gives
// a fresh device prefix (KP_PREFIX) and removes it.
#include <valgrind/callgrind.h>

#include <cstring>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "vm.h"

namespace {

using kphost::Value;

// A VM's SetResult that copies what it is given, as a real VM must.
struct Sink {
  int64_t integer = 0;
  std::u16string text;
} gSink;

void KL_CALL SinkResult(IVMServices*, uint32_t, const void* cell, uint32_t code) {
  if (code == KL_T_TEXT) {
    auto* holder = *static_cast<const char16_t* const*>(cell);
    gSink.text.assign(holder ? holder : u"");
  } else {
    std::memcpy(&gSink.integer, cell, code == KL_T_INT64 ? 8 : 4);
  }
}
const IVMServicesOps kSinkOps = [] {
  IVMServicesOps ops{};
  ops.SetResult = &SinkResult;
  return ops;
}();
IVMServices gSinkServices{&kSinkOps};

// One syntax's entry function called on cells made once.
struct RawCall {
  KLEntryFunction entry = nullptr;
  ExecContext* context = nullptr;
  std::vector<void*> cells;
  void operator()() {
    CallContext call{};
    call.vm = &gSinkServices;
    entry(&call, context, cells.data());
  }
};

struct Host {
  std::unique_ptr<kphost::Library> library;

  Value Call(const char* name, const std::vector<Value>& args) {
    const auto* function = library->FindFunction(name);
    if (!function) Die(std::string("no function ") + name);
    Value result;
    std::string why;
    if (library->Call(*function, args, result, why) != kphost::Library::CallStatus::Ok) Die(name + (": " + why));
    if (library->program().ReadError().present()) Die(std::string(name) + " failed while preparing");
    return result;
  }
  // The call a VM makes once it has picked the syntax: no name look-up or
  // matching per call. The syntax is the first available one whose
  // parameters take these arguments' kinds.
  std::function<void()> Prepare(const char* name, std::vector<Value> args) {
    const auto* function = library->FindFunction(name);
    if (!function) Die(std::string("no function ") + name);
    for (const auto& syntax : function->syntaxes) {
      if (!syntax.entry || syntax.params.size() != args.size()) continue;
      bool fits = true;
      for (size_t i = 0; i < args.size(); ++i) {
        const bool textParam = (syntax.params[i] & 0x7fff) == KL_T_TEXT_CELL || (syntax.params[i] & 0x7fff) == KL_T_TEXT_DIRECT;
        fits = fits && textParam == (args[i].type == KL_T_TEXT);
      }
      if (fits)
        return [this, &syntax, args = std::move(args)] {
          Value result;
          library->CallSyntax(syntax, args, result);
        };
    }
    Die(std::string("no syntax of ") + name + " takes these arguments");
  }
  RawCall Raw(const char* name, size_t syntax, std::vector<void*> cells) {
    const auto* function = library->FindFunction(name);
    if (!function || syntax >= function->syntaxes.size() || !function->syntaxes[syntax].entry)
      Die(std::string("no syntax ") + std::to_string(syntax + 1) + " of " + name);
    return RawCall{function->syntaxes[syntax].entry, library->program().context(), std::move(cells)};
  }
  [[noreturn]] static void Die(const std::string& what) {
    std::fprintf(stderr, "kp_icount: %s\n", what.c_str());
    std::exit(2);
  }
};

// A case prepares what it needs and returns the call to repeat.
using Case = std::function<std::function<void()>(Host&)>;

const std::map<std::string, Case>& Cases() {
  static const std::map<std::string, Case> cases = {
      {"call_integer",
       [](Host& h) {
         static int32_t n = 7;
         return std::function<void()>(h.Raw("EstPair", 0, {&n}));
       }},
      {"call_text",
       [](Host& h) {
         static int32_t day = 82000;
         return std::function<void()>(h.Raw("EntierVersDate", 0, {&day}));
       }},
      {"date_mask",
       [](Host& h) {
         static const char16_t* date = u"20240305";
         static const char16_t* mask = u"JJJJ JJ MMMM AAAA";
         return std::function<void()>(h.Raw("DateVersChaîne", 1, {&date, &mask}));
       }},
      {"read_lines",
       [](Host& h) {
         std::u16string text;
         for (int i = 0; i < 20; ++i) text += u"a line of forty characters, more or less\r\n";
         if (h.Call("fSauveTexte", {Value::Text(u"\\icount.txt"), Value::Text(text)}).integer != 1)
           Host::Die("fSauveTexte failed");
         // Reading 20 lines, then back to the start: the cost of line reading, not of opening.
         static int32_t file = 0, origin = 0;
         static int64_t start = 0;
         file = static_cast<int32_t>(h.Call("fOuvre", {Value::Text(u"\\icount.txt"), Value::Int(0)}).integer);
         auto line = h.Raw("fLitLigne", 0, {&file});
         auto rewind = h.Raw("fPositionne", 0, {&file, &start, &origin});
         return [line, rewind]() mutable {
           for (int i = 0; i < 20; ++i) line();
           rewind();
         };
       }},
      {"registry_read",
       [](Host& h) {
         h.Call("RegistreCréeClé", {Value::Text(u"HKEY_CURRENT_USER\\Software\\icount")});
         h.Call("RegistreEcrit", {Value::Text(u"HKEY_CURRENT_USER\\Software\\icount"), Value::Text(u"v"),
                                  Value::Text(u"value")});
         return h.Prepare("RegistreLit", {Value::Text(u"HKEY_CURRENT_USER\\Software\\icount"), Value::Text(u"v")});
       }},
      {"ini_read",
       [](Host& h) {
         for (int i = 0; i < 50; ++i)
           h.Call("INIEcrit", {Value::Text(u"S"), Value::Text(u"k" + std::u16string(1, char16_t(u'A' + i % 26)) +
                                                              std::u16string(1, char16_t(u'a' + i / 26))),
                               Value::Text(u"v"), Value::Text(u"\\icount.ini")});
         return h.Prepare("INILit", {Value::Text(u"S"), Value::Text(u"kXb"), Value::Text(u""), Value::Text(u"\\icount.ini")});
       }},
  };
  return cases;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || !Cases().count(argv[1])) {
    std::fprintf(stderr, "usage: kp_icount CASE ITERATIONS\ncases:");
    for (const auto& [name, _] : Cases()) std::fprintf(stderr, " %s", name.c_str());
    std::fprintf(stderr, "\n");
    return 2;
  }
  const long iterations = std::strtol(argv[2], nullptr, 10);
  if (!std::getenv("KP_PREFIX")) Host::Die("KP_PREFIX must name a fresh directory");
  int status = 0;
  {
    Host host;
    std::string error;
    host.library = kphost::Library::Load(KP_LIBRARY_PATH, error);
    if (!host.library) Host::Die(error);
    auto call = Cases().at(argv[1])(host);
    call();  // first use: tables built, files and statements opened
    CALLGRIND_TOGGLE_COLLECT;
    for (long i = 0; i < iterations; ++i) call();
    CALLGRIND_TOGGLE_COLLECT;
    if (host.library->program().ReadError().present()) {
      std::fprintf(stderr, "kp_icount: %s left an error\n", argv[1]);
      status = 1;
    }
  }
  return status;
}
