// kp — the host's seam on POSIX: dlopen, a pthread key, mmap'd pages, iconv.
#include <dlfcn.h>
#include <iconv.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "os.h"

namespace kphost::os {

void* OpenLibrary(const std::string& path, std::string& error) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* why = dlerror();
    error = "cannot load " + path + ": " + (why ? why : "unknown error");
  }
  return handle;
}

void* FindExport(void* library, const char* name) { return dlsym(library, name); }

void CloseLibrary(void* library) { dlclose(library); }

std::string LibraryVersion(void* library, std::string& file) {
  // The library's file through one of its exports; symbolic links followed
  // to the versioned name (libkp160std.so -> .so.16 -> .so.16.0.97.7).
  Dl_info info{};
  void* any = dlsym(library, "InfoComposante");
  if (!any || !dladdr(any, &info) || !info.dli_fname) return {};
  file = info.dli_fname;
  if (char* real = realpath(info.dli_fname, nullptr)) {
    file = real;
    std::free(real);
  }
  const size_t slash = file.find_last_of('/');
  const std::string name = slash == std::string::npos ? file : file.substr(slash + 1);
  const size_t so = name.find(".so.");
  return so == std::string::npos ? std::string() : name.substr(so + 4);
}

uintptr_t ProgramModule() { return reinterpret_cast<uintptr_t>(dlopen(nullptr, RTLD_NOW)); }

bool SetThreadSlot(void* value, uintptr_t& index) {
  static pthread_key_t key;
  static const bool made = pthread_key_create(&key, nullptr) == 0;
  if (!made) return false;
  pthread_setspecific(key, value);
  index = key;
  return true;
}

const void* GuardedCopy(const void* data, size_t size) {
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t bytes = (size + page - 1) / page * page;
  void* base = mmap(nullptr, bytes + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) std::abort();
  char* copy = static_cast<char*>(base) + bytes - size;
  std::memcpy(copy, data, size);
  if (mprotect(base, bytes, PROT_READ) != 0 || mprotect(static_cast<char*>(base) + bytes, page, PROT_NONE) != 0)
    std::abort();
  return copy;
}

namespace {

// A converter per thread and direction, kept open: opening one costs more
// than converting a short text, and the library converts on most calls. An
// iconv descriptor keeps a shift state and is not to be shared by threads.
struct Converter {
  std::string from, to;
  iconv_t cd = reinterpret_cast<iconv_t>(-1);
  ~Converter() {
    if (cd != reinterpret_cast<iconv_t>(-1)) iconv_close(cd);
  }
};

iconv_t Open(const char* from, const char* to) {
  thread_local std::vector<std::unique_ptr<Converter>> open;
  for (const auto& c : open)
    if (c->from == from && c->to == to) {
      iconv(c->cd, nullptr, nullptr, nullptr, nullptr);  // back to the initial state
      return c->cd;
    }
  iconv_t cd = iconv_open(to, from);
  if (cd == reinterpret_cast<iconv_t>(-1)) return cd;
  auto c = std::make_unique<Converter>();
  c->from = from;
  c->to = to;
  c->cd = cd;
  open.push_back(std::move(c));
  return cd;
}

int32_t Convert(const char* from, const char* to, const void* source, size_t inBytes, size_t unit, void** result) {
  iconv_t cd = Open(from, to);
  if (cd == reinterpret_cast<iconv_t>(-1)) return -1;
  const size_t capacity = inBytes * 4 + 4;
  char* out = static_cast<char*>(std::malloc(capacity));
  if (!out) return -1;
  char* in = const_cast<char*>(static_cast<const char*>(source));
  char* o = out;
  size_t inLeft = inBytes, outLeft = capacity - 4;
  while (inLeft > 0) {
    if (iconv(cd, &in, &inLeft, &o, &outLeft) == static_cast<size_t>(-1)) {
      if (errno != EILSEQ || outLeft < unit) break;
      // A character without a place in the target: "?" as the system does.
      if (unit == 2) {
        *o++ = '?';
        *o++ = 0;
      } else {
        *o++ = '?';
      }
      outLeft -= unit;
      const size_t skip = unit == 1 ? 2 : 1;  // one UTF-16 unit, or one byte
      in += skip;
      inLeft = inLeft > skip ? inLeft - skip : 0;
    }
  }
  std::memset(o, 0, 4);
  *result = out;
  return static_cast<int32_t>((o - out) / unit);
}

// The iconv name of a Windows code page; 0 is the ANSI code page.
std::string IconvName(uint32_t codePage) {
  if (codePage == 0 || codePage == 1252) return "WINDOWS-1252";
  if (codePage == 65001) return "UTF-8";
  if (codePage == 20127) return "ASCII";
  if (codePage >= 28591 && codePage <= 28606) return "ISO-8859-" + std::to_string(codePage - 28590);
  return "CP" + std::to_string(codePage);
}

}  // namespace

int32_t ConvertText(bool toUtf16, uint32_t codePage, const void* source, size_t units, void** result) {
  const std::string name = IconvName(codePage);
  if (toUtf16) return Convert(name.c_str(), "UTF-16LE", source, units, 2, result);
  return Convert("UTF-16LE", name.c_str(), source, units * 2, 1, result);
}

bool StdinIsTerminal() { return isatty(STDIN_FILENO) != 0; }

void PrepareStandardStreams() {}

std::vector<std::string> Arguments(int argc, char** argv) { return std::vector<std::string>(argv, argv + argc); }

const char* const kLibraryName = "libkp160std.so";
// The SONAME (cmake/package.cmake): found without the development link.
const char* const kInstalledLibraryName = "libkp160std.so.16";
const char* const kSeparators = "/";

std::string ProgramDirectory() {
  char self[4096];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n <= 0) return {};
  const std::string path(self, static_cast<size_t>(n));
  return path.substr(0, path.rfind('/'));
}

bool FileReadable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

}  // namespace kphost::os
