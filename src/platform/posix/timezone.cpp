// kp160std — time zone and locale on POSIX.
//
// The zone record comes from the zone's POSIX TZ rule: the footer that ends
// every TZif file (version 2 on), read from the file $TZ names (":name",
// "/path", or a name under $TZDIR or /usr/share/zoneinfo) or /etc/localtime
// when TZ is unset; a $TZ that names no file is read as a rule itself. What
// cannot be read at all is universal time, as the C library takes it. The
// names and the date format come from the locale named by the environment
// (LC_ALL, LC_TIME, LANG).
#include "platform/timezone.h"

#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/win32_errors.h"

namespace kp::platform {
namespace {

// The environment's LC_TIME locale, opened once; the C locale when the
// environment names none that exists.
locale_t TimeLocale() {
  static const locale_t locale = [] {
    locale_t l = newlocale(LC_TIME_MASK, "", static_cast<locale_t>(0));
    return l ? l : newlocale(LC_TIME_MASK, "C", static_cast<locale_t>(0));
  }();
  return locale;
}

// Locale texts are UTF-8 in any modern locale; other codesets are read as
// Latin-1, which is right for the 8-bit French and English locales.
std::u16string Decode(const char* text) {
  std::u16string out;
  if (!text) return out;
  const std::string_view codeset = nl_langinfo_l(CODESET, TimeLocale());
  const bool utf8 = codeset == "UTF-8" || codeset == "utf8";
  const auto* s = reinterpret_cast<const unsigned char*>(text);
  while (*s) {
    char32_t c = *s++;
    if (utf8 && c >= 0x80) {
      int more = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
      c &= more == 3 ? 0x07 : more == 2 ? 0x0F : 0x1F;
      for (; more > 0 && (*s & 0xC0) == 0x80; --more) c = (c << 6) | (*s++ & 0x3F);
    }
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

// A cursor over a POSIX TZ rule.
class RuleReader {
 public:
  explicit RuleReader(std::string_view text) : text_(text) {}

  bool AtEnd() const { return pos_ == text_.size(); }
  bool Next(char c) {
    if (pos_ < text_.size() && text_[pos_] == c) return ++pos_, true;
    return false;
  }
  bool NextIsOffset() const {
    return pos_ < text_.size() && (IsDigit(text_[pos_]) || text_[pos_] == '+' || text_[pos_] == '-');
  }

  // A zone abbreviation: three letters or more, or "<...>" of letters,
  // digits and signs.
  bool Name() {
    size_t n = 0;
    if (Next('<')) {
      while (pos_ + n < text_.size() && (IsAlnum(text_[pos_ + n]) || text_[pos_ + n] == '+' || text_[pos_ + n] == '-'))
        ++n;
      if (n < 3 || pos_ + n >= text_.size() || text_[pos_ + n] != '>') return false;
      pos_ += n + 1;
      return true;
    }
    while (pos_ + n < text_.size() && IsAlpha(text_[pos_ + n])) ++n;
    pos_ += n;
    return n >= 3;
  }

  // [+-]hh[:mm[:ss]] in seconds, hours at most `maxHours`.
  bool Duration(int32_t maxHours, int32_t& seconds) {
    bool negative = false;
    if (Next('-'))
      negative = true;
    else
      Next('+');
    int32_t h = 0, m = 0, s = 0;
    if (!Number(3, maxHours, h)) return false;
    if (Next(':')) {
      if (!Number(2, 59, m)) return false;
      if (Next(':') && !Number(2, 59, s)) return false;
    }
    seconds = (h * 60 + m) * 60 + s;
    if (negative) seconds = -seconds;
    return true;
  }

  // "Jn", "n" or "Mm.w.d", then an optional "/time".
  bool Transition(ZoneTransition& t) {
    using Form = ZoneTransition::Form;
    if (Next('J')) {
      t.form = Form::kJulianNoLeap;
      if (!Number(3, 365, t.day) || t.day < 1) return false;
    } else if (Next('M')) {
      t.form = Form::kWeekOfMonth;
      if (!Number(2, 12, t.month) || t.month < 1 || !Next('.') || !Number(1, 5, t.week) || t.week < 1 || !Next('.') ||
          !Number(1, 6, t.weekday))
        return false;
    } else {
      t.form = Form::kDayOfYear;
      if (!Number(3, 365, t.day)) return false;
    }
    t.seconds = 7200;
    return !Next('/') || Duration(167, t.seconds);
  }

 private:
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }
  static bool IsAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
  static bool IsAlnum(char c) { return IsDigit(c) || IsAlpha(c); }

  // One to `digits` digits, at most `max`.
  bool Number(size_t digits, int32_t max, int32_t& value) {
    size_t n = 0;
    value = 0;
    while (n < digits && pos_ < text_.size() && IsDigit(text_[pos_])) value = value * 10 + (text_[pos_++] - '0'), ++n;
    return n > 0 && value <= max;
  }

  std::string_view text_;
  size_t pos_ = 0;
};

uint32_t Big32(std::string_view s, size_t at) {
  uint32_t v = 0;
  for (size_t i = 0; i < 4; ++i) v = v << 8 | static_cast<unsigned char>(s[at + i]);
  return v;
}

ZoneRecord Universal() { return ZoneRecord{}; }

constexpr off_t kMaxZoneFile = 1 << 20;

// The whole of a regular file of at most 1 MiB; nullopt otherwise.
std::optional<std::string> ReadZoneFile(const std::string& path) {
  // Not blocking: $TZ may name a FIFO, which is then refused as no regular file.
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return std::nullopt;
  struct stat st {};
  std::optional<std::string> out;
  if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size <= kMaxZoneFile) {
    std::string data(static_cast<size_t>(st.st_size), '\0');
    size_t got = 0;
    while (got < data.size()) {
      const ssize_t n = read(fd, data.data() + got, data.size() - got);
      if (n <= 0) break;
      got += static_cast<size_t>(n);
    }
    if (got == data.size()) out = std::move(data);
  }
  close(fd);
  return out;
}

// Where $TZ (or its absence) sends us: a file to read, and the text to read
// as a rule when no zone file is there.
struct ZoneSource {
  bool unset = true;  // no $TZ: /etc/localtime
  std::string tz;
  std::string path;  // empty: no file
  std::string rule;  // empty: no rule
};

ZoneSource Source(const char* tz) {
  if (!tz) return {true, {}, "/etc/localtime", {}};
  std::string_view name(tz);
  ZoneSource source{false, std::string(name), {}, {}};
  if (name.empty()) return source;  // universal time
  const bool fileOnly = name.front() == ':';
  if (fileOnly) name.remove_prefix(1);
  if (name.empty()) {
    source.path = "/etc/localtime";
  } else if (name.front() == '/') {
    source.path = std::string(name);
  } else {
    const char* dir = std::getenv("TZDIR");
    source.path = std::string(dir && *dir ? dir : "/usr/share/zoneinfo") + "/" + std::string(name);
  }
  if (!fileOnly) source.rule = std::string(name);
  return source;
}

// The identity of a zone file, so that a cached record follows a change.
struct FileId {
  bool exists = false;
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified{};

  bool operator==(const FileId& o) const {
    return exists == o.exists && device == o.device && inode == o.inode && size == o.size &&
           modified.tv_sec == o.modified.tv_sec && modified.tv_nsec == o.modified.tv_nsec;
  }
};

FileId Identify(const std::string& path) {
  struct stat st {};
  if (path.empty() || stat(path.c_str(), &st) != 0) return {};
  return {true, st.st_dev, st.st_ino, st.st_size, st.st_mtim};
}

ZoneRecord Load(const ZoneSource& source) {
  if (!source.path.empty()) {
    if (const auto file = ReadZoneFile(source.path)) {
      if (const auto zone = ParseTzif(*file)) return *zone;
    }
  }
  if (!source.rule.empty()) {
    if (const auto zone = ParsePosixZoneRule(source.rule)) return *zone;
  }
  return Universal();
}
}  // namespace

std::optional<ZoneRecord> ParsePosixZoneRule(std::string_view text) {
  RuleReader r(text);
  int32_t standard = 0;
  if (!r.Name() || !r.Duration(24, standard)) return std::nullopt;
  ZoneRecord zone;
  // POSIX offsets count west of Greenwich: the same sign as the bias.
  zone.bias = standard / 60;
  if (r.AtEnd()) return zone;
  if (!r.Name()) return std::nullopt;
  int32_t daylight = standard - 3600;
  if (r.NextIsOffset() && !r.Duration(24, daylight)) return std::nullopt;
  zone.daylight = true;
  zone.daylightBias = daylight / 60 - zone.bias;
  if (r.AtEnd()) {
    // A daylight name without rules: the rules the C library assumes.
    zone.daylightStart = {ZoneTransition::Form::kWeekOfMonth, 3, 2, 0, 1, 7200};
    zone.standardStart = {ZoneTransition::Form::kWeekOfMonth, 11, 1, 0, 1, 7200};
    return zone;
  }
  if (!r.Next(',') || !r.Transition(zone.daylightStart) || !r.Next(',') || !r.Transition(zone.standardStart) ||
      !r.AtEnd())
    return std::nullopt;
  return zone;
}

std::optional<ZoneRecord> ParseTzif(std::string_view file) {
  constexpr size_t kHeader = 44;
  if (file.size() < kHeader || file.substr(0, 4) != "TZif") return std::nullopt;
  // The counts: UT/local indicators, standard/wall indicators, leap
  // seconds, transitions, types, abbreviation characters.
  auto blockSize = [&](size_t at, uint64_t timeSize, uint64_t& transitions, uint64_t& types) {
    const uint64_t isut = Big32(file, at + 20), isstd = Big32(file, at + 24), leap = Big32(file, at + 28);
    transitions = Big32(file, at + 32);
    types = Big32(file, at + 36);
    const uint64_t chars = Big32(file, at + 40);
    return transitions * (timeSize + 1) + types * 6 + chars + leap * (timeSize + 4) + isstd + isut;
  };
  uint64_t transitions = 0, types = 0;
  uint64_t at = 0;
  uint64_t timeSize = 4;
  uint64_t block = blockSize(0, 4, transitions, types);
  if (file[4] != '\0') {
    // Version 2 on: a second header and block with 8-byte times, then the
    // footer "\n<rule>\n".
    at = kHeader + block;
    if (at > file.size() || file.size() - at < kHeader || file.substr(at, 4) != "TZif") return std::nullopt;
    timeSize = 8;
    block = blockSize(at, 8, transitions, types);
  }
  const uint64_t data = at + kHeader;
  if (block > file.size() - data || types == 0) return std::nullopt;
  if (file[4] != '\0') {
    const uint64_t footer = data + block;
    if (footer >= file.size() || file[footer] != '\n') return std::nullopt;
    const size_t close = file.find('\n', footer + 1);
    if (close == std::string_view::npos) return std::nullopt;
    const std::string_view rule = file.substr(footer + 1, close - footer - 1);
    if (!rule.empty()) return ParsePosixZoneRule(rule);
  }
  // No rule: the offset of the last transition stays, with no daylight rule.
  uint64_t type = 0;
  if (transitions > 0) type = static_cast<unsigned char>(file[data + transitions * timeSize + transitions - 1]);
  if (type >= types) return std::nullopt;
  const auto offset = static_cast<int32_t>(Big32(file, data + transitions * (timeSize + 1) + type * 6));
  if (offset < -89999 || offset > 93599) return std::nullopt;  // the format's own limits
  ZoneRecord zone;
  zone.bias = -offset / 60;
  return zone;
}

std::optional<ZoneRecord> CurrentZone() {
  // Read once per zone: again when $TZ changed, or when the zone file did
  // (looked at no more than once a second: a stat costs more than the rest).
  static std::mutex mutex;  // guards the five statics below
  static bool loaded = false;
  static int64_t checked = 0;
  static ZoneSource source;
  static FileId file;
  static ZoneRecord zone;
  const char* tz = std::getenv("TZ");
  std::lock_guard lock(mutex);
  if (!loaded || source.unset != (tz == nullptr) || (tz && source.tz != tz)) {
    source = Source(tz);
    loaded = false;
  }
  timespec clock{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &clock);
  if (loaded && clock.tv_sec == checked) return zone;
  checked = clock.tv_sec;
  const FileId now = Identify(source.path);
  if (!loaded || !(now == file)) {
    zone = Load(source);
    file = now;
    loaded = true;
  }
  return zone;
}

std::u16string LocaleDayName(int32_t weekday) {
  if (weekday < 0 || weekday > 6) return {};
  return Decode(nl_langinfo_l(static_cast<nl_item>(DAY_1 + weekday), TimeLocale()));
}

std::u16string LocaleMonthName(int32_t month) {
  if (month < 1 || month > 12) return {};
  return Decode(nl_langinfo_l(static_cast<nl_item>(MON_1 + month - 1), TimeLocale()));
}

std::u16string SystemDateMask() {
  // strftime conversions turned into mask tokens; anything unknown is kept
  // as literal text.
  const std::u16string format = Decode(nl_langinfo_l(D_FMT, TimeLocale()));
  std::u16string mask;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != u'%' || i + 1 == format.size()) {
      mask.push_back(format[i]);
      continue;
    }
    switch (format[++i]) {
      case u'd': mask += u"JJ"; break;
      case u'e': mask += u"J"; break;
      case u'm': mask += u"MM"; break;
      case u'b':
      case u'h': mask += u"MMM"; break;
      case u'B': mask += u"MMMM"; break;
      case u'Y': mask += u"AAAA"; break;
      case u'y': mask += u"AA"; break;
      case u'a': mask += u"JJJ"; break;
      case u'A': mask += u"JJJJ"; break;
      case u'D': mask += u"MM/JJ/AA"; break;
      case u'F': mask += u"AAAA-MM-JJ"; break;
      case u'%': mask += u"%"; break;
      default: break;
    }
  }
  return mask;
}

}  // namespace kp::platform
