// kp160std — cutting a zip archive into standard parts and joining them
// (see split.h).
#include "archive/split.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "abi/error.h"
#include "archive/table.h"
#include "platform/filesystem.h"
#include "platform/platform.h"
#include "platform/read_at.h"

namespace kp::archive {

namespace fs = platform::fs;

namespace {

constexpr uint32_t kLocalSig = 0x04034b50;
constexpr uint32_t kCentralSig = 0x02014b50;
constexpr uint32_t kEndSig = 0x06054b50;
constexpr uint32_t kEnd64Sig = 0x06064b50;
constexpr uint32_t kLocator64Sig = 0x07064b50;
constexpr uint32_t kSpanSig = 0x08074b50;
constexpr uint32_t kSpanOnceSig = 0x30304b50;  // "PK00": a split that ended up in one part
// A central directory larger than this is refused rather than read into memory.
constexpr uint64_t kMaxCentralDirectory = 256ull << 20;
constexpr size_t kCopyBuffer = 1 << 20;

uint16_t Get16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
uint32_t Get32(const uint8_t* p) { return Get16(p) | (static_cast<uint32_t>(Get16(p + 2)) << 16); }
uint64_t Get64(const uint8_t* p) { return Get32(p) | (static_cast<uint64_t>(Get32(p + 4)) << 32); }
void Put16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
void Put32(uint8_t* p, uint32_t v) {
  Put16(p, static_cast<uint16_t>(v));
  Put16(p + 2, static_cast<uint16_t>(v >> 16));
}
void Put64(uint8_t* p, uint64_t v) {
  Put32(p, static_cast<uint32_t>(v));
  Put32(p + 4, static_cast<uint32_t>(v >> 32));
}

class File {
 public:
  File() = default;
  explicit File(fs::FileHandle h) : h_(h) {}
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  bool Close() {
    bool ok = true;
    if (h_ != fs::kInvalidFile) ok = fs::CloseHandle(h_);
    h_ = fs::kInvalidFile;
    return ok;
  }
  void Reset(fs::FileHandle h) {
    Close();
    h_ = h;
  }
  fs::FileHandle get() const { return h_; }
  bool ok() const { return h_ != fs::kInvalidFile; }

 private:
  fs::FileHandle h_ = fs::kInvalidFile;
};

fs::FileHandle OpenRead(std::u16string_view name) {
  return fs::CreateFile(name, fs::kGenericRead, fs::kShareRead | fs::kShareWrite, fs::kOpenExisting, 0);
}
fs::FileHandle OpenNew(std::u16string_view name) {
  return fs::CreateFile(name, fs::kGenericRead | fs::kGenericWrite, 0, fs::kCreateAlways, 0);
}

bool ReadAt(fs::FileHandle f, int64_t offset, void* buffer, size_t count) {
  auto* p = static_cast<uint8_t*>(buffer);
  while (count > 0) {
    const uint32_t chunk = count > (1u << 30) ? (1u << 30) : static_cast<uint32_t>(count);
    uint32_t read = 0;
    if (!fs::ReadFileAt(f, offset, p, chunk, &read)) return false;
    if (read == 0) {
      platform::SetLastError(38);  // end of file
      return false;
    }
    p += read;
    offset += read;
    count -= read;
  }
  return true;
}

bool WriteAll(fs::FileHandle f, const void* data, size_t count) {
  const auto* p = static_cast<const uint8_t*>(data);
  while (count > 0) {
    const uint32_t chunk = count > (1u << 30) ? (1u << 30) : static_cast<uint32_t>(count);
    uint32_t written = 0;
    if (!fs::WriteFile(f, p, chunk, &written) || written != chunk) return false;
    p += chunk;
    count -= chunk;
  }
  return true;
}

// Where an archive's records lie, read from its end records and central
// directory. Offsets are absolute in the file read; `base` turns a (disk,
// offset) pair into one.
struct Entry {
  uint64_t local = 0;     // absolute offset of the local header
  size_t record = 0;      // the record's place in `cd`
  long offsetExtra = -1;  // place in `cd` of the ZIP64 local-offset field, -1: none
  long diskExtra = -1;    // place in `cd` of the ZIP64 disk field
};
struct Layout {
  std::vector<uint8_t> cd;
  std::vector<Entry> entries;  // central directory order
  uint64_t cdStart = 0;        // absolute
  bool zip64 = false;
  std::vector<uint8_t> comment;
};

enum class Damage { kNone, kIo, kFormat };

Damage ReadLayout(fs::FileHandle f, int64_t size, const std::vector<int64_t>& base, Layout* out) {
  auto where = [&](uint32_t disk, uint64_t offset) -> std::optional<uint64_t> {
    const int64_t start = base.empty() ? 0 : (disk < base.size() ? base[disk] : -1);
    if (!base.empty() && disk >= base.size()) return std::nullopt;
    const int64_t abs = start + static_cast<int64_t>(offset);
    if (abs < 0 || abs > size) return std::nullopt;
    return static_cast<uint64_t>(abs);
  };
  if (size < 22) return Damage::kFormat;
  const int64_t tailSize = std::min<int64_t>(size, 22 + 65535 + 20);
  std::vector<uint8_t> tail(static_cast<size_t>(tailSize));
  if (!ReadAt(f, size - tailSize, tail.data(), tail.size())) return Damage::kIo;
  long end = -1;
  for (long i = static_cast<long>(tail.size()) - 22; i >= 0; --i) {
    if (Get32(&tail[i]) == kEndSig && i + 22 + Get16(&tail[i + 20]) <= static_cast<long>(tail.size())) {
      end = i;
      break;
    }
  }
  if (end < 0) return Damage::kFormat;
  const uint8_t* e = &tail[end];
  uint32_t cdDisk = Get16(e + 6);
  uint64_t entries = Get16(e + 10);
  uint64_t cdSize = Get32(e + 12);
  uint64_t cdOffset = Get32(e + 16);
  out->comment.assign(e + 22, e + 22 + Get16(e + 20));
  if (end >= 20 && Get32(&tail[end - 20]) == kLocator64Sig) {
    const uint8_t* l = &tail[end - 20];
    auto at = where(Get32(l + 4), Get64(l + 8));
    uint8_t z[56];
    if (!at || *at + 56 > static_cast<uint64_t>(size)) return Damage::kFormat;
    if (!ReadAt(f, static_cast<int64_t>(*at), z, sizeof z)) return Damage::kIo;
    if (Get32(z) != kEnd64Sig) return Damage::kFormat;
    out->zip64 = true;
    cdDisk = Get32(z + 20);
    entries = Get64(z + 32);
    cdSize = Get64(z + 40);
    cdOffset = Get64(z + 48);
  }
  auto cdAt = where(cdDisk, cdOffset);
  if (!cdAt || cdSize > kMaxCentralDirectory || *cdAt + cdSize > static_cast<uint64_t>(size) ||
      entries > cdSize / 46)
    return Damage::kFormat;
  out->cdStart = *cdAt;
  out->cd.resize(static_cast<size_t>(cdSize));
  if (!ReadAt(f, static_cast<int64_t>(*cdAt), out->cd.data(), out->cd.size())) return Damage::kIo;
  size_t p = 0;
  for (uint64_t i = 0; i < entries; ++i) {
    if (p + 46 > out->cd.size() || Get32(&out->cd[p]) != kCentralSig) return Damage::kFormat;
    const uint8_t* r = &out->cd[p];
    const size_t n = Get16(r + 28), m = Get16(r + 30), k = Get16(r + 32);
    if (p + 46 + n + m + k > out->cd.size()) return Damage::kFormat;
    Entry entry;
    entry.record = p;
    uint64_t local = Get32(r + 42);
    uint32_t disk = Get16(r + 34);
    // The ZIP64 extra field holds, in this order, only the fields whose
    // 32-bit (16-bit for the disk) value is all ones.
    for (size_t x = p + 46 + n; x + 4 <= p + 46 + n + m;) {
      const uint16_t id = Get16(&out->cd[x]), len = Get16(&out->cd[x + 2]);
      if (x + 4 + len > p + 46 + n + m) break;
      if (id == 1) {
        size_t y = x + 4;
        const size_t stop = x + 4 + len;
        if (Get32(r + 24) == 0xFFFFFFFFu) y += 8;
        if (Get32(r + 20) == 0xFFFFFFFFu) y += 8;
        if (Get32(r + 42) == 0xFFFFFFFFu && y + 8 <= stop) {
          entry.offsetExtra = static_cast<long>(y);
          local = Get64(&out->cd[y]);
          y += 8;
        }
        if (Get16(r + 34) == 0xFFFF && y + 4 <= stop) {
          entry.diskExtra = static_cast<long>(y);
          disk = Get32(&out->cd[y]);
        }
      }
      x += 4 + len;
    }
    auto at = where(base.empty() ? 0 : disk, local);
    if (!at || *at + 30 > out->cdStart) return Damage::kFormat;
    entry.local = *at;
    out->entries.push_back(entry);
    p += 46 + n + m + k;
  }
  out->cd.resize(p);
  return Damage::kNone;
}

// The central directory with each entry's new place; false when a place does
// not fit its field.
bool PlaceEntries(Layout* layout, const std::vector<std::pair<uint32_t, uint64_t>>& places) {
  for (size_t i = 0; i < layout->entries.size(); ++i) {
    const Entry& e = layout->entries[i];
    uint8_t* r = &layout->cd[e.record];
    const auto [disk, offset] = places[i];
    if (e.offsetExtra >= 0)
      Put64(&layout->cd[e.offsetExtra], offset);
    else if (offset >= 0xFFFFFFFFu)
      return false;
    else
      Put32(r + 42, static_cast<uint32_t>(offset));
    if (e.diskExtra >= 0)
      Put32(&layout->cd[e.diskExtra], disk);
    else if (disk >= 0xFFFF)
      return false;
    else
      Put16(r + 34, static_cast<uint16_t>(disk));
  }
  return true;
}

// The records after the central directory: ZIP64 end and locator when the
// archive had them, then the end record with the comment.
std::vector<uint8_t> EndRecords(const Layout& layout, uint32_t disk, uint32_t cdDisk, uint64_t cdOffset,
                                uint64_t entriesHere, uint64_t end64Offset) {
  const uint64_t total = layout.entries.size();
  const uint64_t cdSize = layout.cd.size();
  std::vector<uint8_t> out;
  if (layout.zip64) {
    uint8_t z[56] = {};
    Put32(z, kEnd64Sig);
    Put64(z + 4, 44);
    Put16(z + 12, 45);
    Put16(z + 14, 45);
    Put32(z + 16, disk);
    Put32(z + 20, cdDisk);
    Put64(z + 24, entriesHere);
    Put64(z + 32, total);
    Put64(z + 40, cdSize);
    Put64(z + 48, cdOffset);
    uint8_t l[20] = {};
    Put32(l, kLocator64Sig);
    Put32(l + 4, disk);
    Put64(l + 8, end64Offset);
    Put32(l + 16, disk + 1);
    out.insert(out.end(), z, z + 56);
    out.insert(out.end(), l, l + 20);
  }
  uint8_t e[22] = {};
  Put32(e, kEndSig);
  Put16(e + 4, static_cast<uint16_t>(std::min<uint32_t>(disk, 0xFFFF)));
  Put16(e + 6, static_cast<uint16_t>(std::min<uint32_t>(cdDisk, 0xFFFF)));
  Put16(e + 8, static_cast<uint16_t>(std::min<uint64_t>(entriesHere, 0xFFFF)));
  Put16(e + 10, static_cast<uint16_t>(std::min<uint64_t>(total, 0xFFFF)));
  Put32(e + 12, static_cast<uint32_t>(std::min<uint64_t>(cdSize, 0xFFFFFFFFu)));
  Put32(e + 16, static_cast<uint32_t>(std::min<uint64_t>(cdOffset, 0xFFFFFFFFu)));
  Put16(e + 20, static_cast<uint16_t>(layout.comment.size()));
  out.insert(out.end(), e, e + 22);
  out.insert(out.end(), layout.comment.begin(), layout.comment.end());
  return out;
}

std::u16string Sibling(std::u16string_view last, std::u16string_view extension) {
  const size_t dot = last.find_last_of(u'.');
  const size_t sep = last.find_last_of(u"\\/");
  std::u16string base(last.substr(0, (dot != std::u16string_view::npos && (sep == std::u16string_view::npos || dot > sep))
                                         ? dot
                                         : last.size()));
  return base + std::u16string(extension);
}

std::u16string PartExtension(int32_t number) {
  std::u16string digits;
  for (int32_t n = number; n > 0; n /= 10) digits.insert(digits.begin(), static_cast<char16_t>(u'0' + n % 10));
  while (digits.size() < 2) digits.insert(digits.begin(), u'0');
  return u".z" + digits;
}

// Writes the parts one after the other, starting a new one when the current
// is full; headers are never cut.
class PartWriter {
 public:
  PartWriter(std::u16string_view last, int64_t partSize, int64_t firstPartSize, bool dryRun)
      : last_(last), partSize_(partSize), firstPartSize_(firstPartSize), dryRun_(dryRun) {}
  ~PartWriter() {
    out_.Close();
    for (const auto& t : temps_) fs::DeleteFile(t);
  }

  uint32_t disk() const { return disk_; }
  uint64_t position() const { return static_cast<uint64_t>(position_); }
  int64_t Room() const { return (disk_ == 0 ? firstPartSize_ : partSize_) - position_; }
  const std::vector<std::u16string>& temps() const { return temps_; }

  // Makes room for `count` bytes in one part (a new part when they do not fit).
  bool Reserve(size_t count) {
    if (!started_) return Start();
    if (static_cast<int64_t>(count) > Room() && position_ > 0) return Next();
    return true;
  }
  bool Whole(const void* data, size_t count) { return Reserve(count) && Put(data, count); }
  bool Cut(const uint8_t* data, size_t count) {
    if (!started_ && !Start()) return false;
    while (count > 0) {
      if (Room() <= 0 && !Next()) return false;
      const size_t n = static_cast<size_t>(std::min<int64_t>(Room(), static_cast<int64_t>(count)));
      if (!Put(data, n)) return false;
      data += n;
      count -= n;
    }
    return true;
  }
  bool Finish() { return dryRun_ || out_.Close(); }
  std::function<bool(int32_t)> onPartDone;

 private:
  bool Start() {
    started_ = true;
    return Open();
  }
  bool Next() {
    if (!dryRun_ && !out_.Close()) return false;
    if (onPartDone && !onPartDone(static_cast<int32_t>(disk_) + 1)) return false;
    ++disk_;
    position_ = 0;
    return Open();
  }
  bool Open() {
    if (dryRun_) return true;
    std::u16string temp = Sibling(last_, PartExtension(static_cast<int32_t>(disk_) + 1)) + u".kp.tmp";
    out_.Reset(OpenNew(temp));
    if (!out_.ok()) return false;
    temps_.push_back(std::move(temp));
    return true;
  }
  bool Put(const void* data, size_t count) {
    position_ += static_cast<int64_t>(count);
    return dryRun_ || WriteAll(out_.get(), data, count);
  }

  std::u16string last_;
  int64_t partSize_, firstPartSize_;
  bool dryRun_;
  bool started_ = false;
  uint32_t disk_ = 0;
  int64_t position_ = 0;
  File out_;
  std::vector<std::u16string> temps_;
};

int32_t RaiseIo(ExecContext* context, int32_t id, std::u16string_view name) {
  const uint32_t sys = platform::LastError();
  Raise(context, id, {name, std::u16string_view(u"")});
  if (sys) SetSystemError(context, sys);
  return id;
}

int32_t RaiseDamaged(ExecContext* context, std::u16string_view name) {
  Raise(context, kErrZipNotAnArchive, {name, std::u16string_view(u"the central directory cannot be read")});
  return kErrZipNotAnArchive;
}

}  // namespace

std::u16string PartName(std::u16string_view last, int32_t number, int32_t count) {
  if (number >= count) return std::u16string(last);
  return Sibling(last, PartExtension(number));
}

int32_t CountParts(std::u16string_view last) {
  int32_t n = 1;
  while (n < 65535 && fs::GetFileAttributes(Sibling(last, PartExtension(n))) != fs::kInvalidAttributes) ++n;
  return n;
}

int32_t SplitFile(ExecContext* context, std::u16string_view source, std::u16string_view last, int64_t partSize,
                  int64_t firstPartSize, bool dryRun, int32_t* parts, const PartCallback& callback) {
  if (partSize < kMinPartSize || firstPartSize < kMinPartSize) {
    Raise(context, kErrZipBadPartSize, {static_cast<int32_t>(std::min(partSize, firstPartSize))});
    return kErrZipBadPartSize;
  }
  File in(OpenRead(source));
  if (!in.ok()) return RaiseIo(context, kErrZipCannotOpen, source);
  const int64_t size = fs::GetFileSize(in.get());
  Layout layout;
  switch (ReadLayout(in.get(), size, {}, &layout)) {
    case Damage::kIo:
      return RaiseIo(context, kErrZipCannotOpen, source);
    case Damage::kFormat:
      return RaiseDamaged(context, source);
    case Damage::kNone:
      break;
  }
  std::vector<size_t> order(layout.entries.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(),
            [&](size_t a, size_t b) { return layout.entries[a].local < layout.entries[b].local; });
  const uint64_t dataStart = order.empty() ? layout.cdStart : layout.entries[order.front()].local;
  const uint64_t whole = layout.cdStart - dataStart + layout.cd.size() + (layout.zip64 ? 76 : 0) + 22 +
                         layout.comment.size();

  // Small enough for the first part: a plain archive, as `zip -s` leaves one.
  if (whole <= static_cast<uint64_t>(firstPartSize) && dataStart == 0) {
    *parts = 1;
    if (dryRun) return 0;
    in.Close();
    for (int32_t k = 1; fs::GetFileAttributes(Sibling(last, PartExtension(k))) != fs::kInvalidAttributes; ++k)
      fs::DeleteFile(Sibling(last, PartExtension(k)));
    if (source != last && !fs::CopyFile(source, last, false)) return RaiseIo(context, kErrZipCannotWrite, last);
    if (callback && !callback(std::u16string(last), 1)) return kErrInterruptedByUser;
    return 0;
  }

  PartWriter out(last, partSize, firstPartSize, dryRun);
  bool stopped = false;
  if (callback && !dryRun) {
    out.onPartDone = [&](int32_t number) {
      if (!callback(Sibling(last, PartExtension(number)), number)) stopped = true;
      return !stopped;
    };
  }
  auto fail = [&](int32_t id, std::u16string_view name) {
    if (stopped) {
      Raise(context, kErrInterruptedByUser);
      return static_cast<int32_t>(kErrInterruptedByUser);
    }
    return RaiseIo(context, id, name);
  };
  uint8_t span[4];
  Put32(span, kSpanSig);
  if (!out.Whole(span, 4)) return fail(kErrZipCannotWrite, last);

  std::vector<std::pair<uint32_t, uint64_t>> places(layout.entries.size());
  std::vector<uint8_t> buffer(kCopyBuffer);
  for (size_t k = 0; k < order.size(); ++k) {
    const Entry& e = layout.entries[order[k]];
    const uint64_t next = k + 1 < order.size() ? layout.entries[order[k + 1]].local : layout.cdStart;
    uint8_t h[30];
    if (!ReadAt(in.get(), static_cast<int64_t>(e.local), h, 30)) return fail(kErrZipCannotOpen, source);
    if (Get32(h) != kLocalSig) return RaiseDamaged(context, source);
    const uint64_t headerSize = 30ull + Get16(h + 26) + Get16(h + 28);
    if (e.local + headerSize > next) return RaiseDamaged(context, source);
    std::vector<uint8_t> header(static_cast<size_t>(headerSize));
    if (!ReadAt(in.get(), static_cast<int64_t>(e.local), header.data(), header.size()))
      return fail(kErrZipCannotOpen, source);
    if (!out.Reserve(header.size())) return fail(kErrZipCannotWrite, last);
    places[order[k]] = {out.disk(), out.position()};
    if (!out.Whole(header.data(), header.size())) return fail(kErrZipCannotWrite, last);
    for (uint64_t at = e.local + headerSize; at < next;) {
      const size_t n = static_cast<size_t>(std::min<uint64_t>(buffer.size(), next - at));
      if (!dryRun && !ReadAt(in.get(), static_cast<int64_t>(at), buffer.data(), n))
        return fail(kErrZipCannotOpen, source);
      if (!out.Cut(buffer.data(), n)) return fail(kErrZipCannotWrite, last);
      at += n;
    }
  }
  if (!PlaceEntries(&layout, places)) return RaiseDamaged(context, source);

  // The central directory, record by record.
  uint32_t cdDisk = 0;
  uint64_t cdOffset = 0, entriesHere = 0;
  for (size_t i = 0; i < layout.entries.size(); ++i) {
    const size_t from = layout.entries[i].record;
    const size_t to = i + 1 < layout.entries.size() ? layout.entries[i + 1].record : layout.cd.size();
    if (!out.Reserve(to - from)) return fail(kErrZipCannotWrite, last);
    if (i == 0) {
      cdDisk = out.disk();
      cdOffset = out.position();
    }
    if (i == 0 || out.position() == 0) entriesHere = 0;
    ++entriesHere;
    if (!out.Whole(&layout.cd[from], to - from)) return fail(kErrZipCannotWrite, last);
  }
  const size_t endSize = (layout.zip64 ? 76 : 0) + 22 + layout.comment.size();
  const uint32_t before = out.disk();
  if (!out.Reserve(endSize)) return fail(kErrZipCannotWrite, last);
  if (layout.entries.empty()) {
    cdDisk = out.disk();
    cdOffset = out.position();
  }
  if (out.disk() != before) entriesHere = 0;
  const std::vector<uint8_t> end = EndRecords(layout, out.disk(), cdDisk, cdOffset, entriesHere, out.position());
  if (!out.Whole(end.data(), end.size()) || !out.Finish()) return fail(kErrZipCannotWrite, last);
  *parts = static_cast<int32_t>(out.disk()) + 1;
  if (dryRun) return 0;
  in.Close();

  // Every part is written: they take their names, the last one the archive's.
  const std::vector<std::u16string>& temps = out.temps();
  for (size_t k = 0; k < temps.size(); ++k) {
    const std::u16string name = PartName(last, static_cast<int32_t>(k) + 1, *parts);
    if (!fs::ReplaceFile(temps[k], name)) return RaiseIo(context, kErrZipCannotWrite, name);
  }
  for (int32_t k = *parts; fs::GetFileAttributes(Sibling(last, PartExtension(k))) != fs::kInvalidAttributes; ++k)
    fs::DeleteFile(Sibling(last, PartExtension(k)));
  if (callback && !callback(std::u16string(last), *parts)) {
    Raise(context, kErrInterruptedByUser);
    return kErrInterruptedByUser;
  }
  return 0;
}

int32_t MergeParts(ExecContext* context, std::u16string_view last, std::u16string_view target) {
  const int32_t count = CountParts(last);
  if (fs::GetFileAttributes(last) == fs::kInvalidAttributes) {
    Raise(context, kErrZipPartMissing, {last});
    SetSystemError(context, platform::LastError());
    return kErrZipPartMissing;
  }
  const std::u16string temp = std::u16string(target) + u".kp.tmp";
  File out(OpenNew(temp));
  if (!out.ok()) return RaiseIo(context, kErrZipCannotWrite, target);
  struct Cleanup {
    const std::u16string& name;
    bool keep = false;
    ~Cleanup() {
      if (!keep) fs::DeleteFile(name);
    }
  } cleanup{temp};

  std::vector<int64_t> base;
  int64_t written = 0;
  std::vector<uint8_t> buffer(kCopyBuffer);
  for (int32_t k = 1; k <= count; ++k) {
    const std::u16string name = PartName(last, k, count);
    File in(OpenRead(name));
    if (!in.ok()) {
      Raise(context, kErrZipPartMissing, {name});
      SetSystemError(context, platform::LastError());
      return kErrZipPartMissing;
    }
    int64_t at = 0;
    base.push_back(written);
    if (k == 1 && count > 1) {
      uint8_t sig[4];
      if (ReadAt(in.get(), 0, sig, 4) && (Get32(sig) == kSpanSig || Get32(sig) == kSpanOnceSig)) {
        at = 4;
        base.back() = -4;  // offsets in the first part count the marker
      }
    }
    for (;;) {
      uint32_t read = 0;
      if (!fs::ReadFileAt(in.get(), at, buffer.data(), static_cast<uint32_t>(buffer.size()), &read))
        return RaiseIo(context, kErrZipPartMissing, name);
      if (read == 0) break;
      if (!WriteAll(out.get(), buffer.data(), read)) return RaiseIo(context, kErrZipCannotWrite, target);
      at += read;
      written += read;
    }
  }
  Layout layout;
  switch (ReadLayout(out.get(), written, base, &layout)) {
    case Damage::kIo:
      return RaiseIo(context, kErrZipCannotWrite, target);
    case Damage::kFormat:
      return RaiseDamaged(context, last);
    case Damage::kNone:
      break;
  }
  std::vector<std::pair<uint32_t, uint64_t>> places;
  for (const Entry& e : layout.entries) places.emplace_back(0, e.local);
  if (!PlaceEntries(&layout, places)) return RaiseDamaged(context, last);
  int64_t position = 0;
  if (!fs::SetFilePointer(out.get(), static_cast<int64_t>(layout.cdStart), 0, &position) ||
      !fs::SetEndOfFile(out.get()) || !WriteAll(out.get(), layout.cd.data(), layout.cd.size()))
    return RaiseIo(context, kErrZipCannotWrite, target);
  const std::vector<uint8_t> end = EndRecords(layout, 0, 0, layout.cdStart, layout.entries.size(),
                                              layout.cdStart + layout.cd.size());
  if (!WriteAll(out.get(), end.data(), end.size()) || !out.Close()) return RaiseIo(context, kErrZipCannotWrite, target);
  if (!fs::ReplaceFile(temp, target)) return RaiseIo(context, kErrZipCannotWrite, target);
  cleanup.keep = true;
  if (target == last) {
    for (int32_t k = 1; k < count; ++k) fs::DeleteFile(PartName(last, k, count));
  }
  return 0;
}

int32_t SplitInPlace(ExecContext* context, Archive* archive) {
  int32_t parts = 0;
  const int32_t r =
      SplitFile(context, archive->work, archive->file, archive->partSize, archive->firstPartSize, false, &parts);
  if (r == 0) archive->parts = parts;
  return r;
}

}  // namespace kp::archive
