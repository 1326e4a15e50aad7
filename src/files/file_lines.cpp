// kp160std — fLitLigne's line reader: a line read from the file in pieces
// up to its CR LF, or taken from the handle's mapped window on the file.
#include "abi/error_ids.h"
#include "files/file_io.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "abi/error.h"
#include "abi/strings.h"
#include "files/file_io_parts.h"
#include "files/path_rule.h"
#include "files/shared_memory.h"
#include "platform/codepage.h"
#include "platform/filesystem.h"
#include "platform/platform.h"

namespace kp::files {

namespace fs = platform::fs;

namespace {

using detail::DiskStream;
using detail::kAnsiEnd;
using detail::kUnicodeEnd;
using detail::Valid;

constexpr uint32_t kBlock = 160;
constexpr uint32_t kPiece = 50;
// The blocks read for one line: the first, and the largest.
constexpr uint32_t kFirstRead = 512;
constexpr uint32_t kLongestRead = 64 * 1024;

}  // namespace

bool ReadLinePiece(project::IXStream& stream, bool unicode, LinePiece* piece) {
  piece->size = 0;
  piece->finished = false;
  const uint32_t unit = unicode ? 2 : 1;
  const uint32_t endSize = unicode ? 4 : 2;
  const int64_t start = stream.Position();
  int64_t offset = 0;
  uint8_t block[kBlock + 2];
  while (true) {
    if (!stream.Seek(start + offset, 0)) return false;
    uint32_t got = 0;
    if (!stream.Read(block, kBlock, &got)) return false;
    if (got == 0) {
      piece->finished = true;
      return true;
    }
    uint32_t end = got;  // content before the terminator
    bool found = false;
    const uint32_t scanned = got;
    for (uint32_t i = 0; i < scanned; i += unit) {
      if (block[i] != 0x0D) continue;
      if (unicode && (i + 1 >= scanned || block[i + 1] != 0)) continue;
      // A carriage return that ends the block: two more bytes show the pair across the edge.
      if (got == kBlock && i + unit == kBlock) {
        uint32_t more = 0;
        if (!stream.Read(block + kBlock, 2, &more)) return false;
        got += more;
      }
      if (i + endSize <= got && std::memcmp(block + i, unicode ? kUnicodeEnd : kAnsiEnd, endSize) == 0) {
        end = i;
        found = true;
        break;
      }
    }
    if (!found) end = std::min<uint32_t>(got, kBlock);
    const uint32_t n = std::min(end, kPiece - piece->size);
    std::memcpy(piece->bytes + piece->size, block, n);
    piece->size += n;
    if (piece->size == kPiece) {
      return stream.Seek(start + offset + n, 0);
    }
    if (found) {
      piece->finished = true;
      return stream.Seek(start + offset + end + endSize, 0);
    }
    if (got < kBlock) {
      piece->finished = true;
      return stream.Seek(start + offset + got, 0);
    }
    offset += kBlock;
  }
}

// The line as the 50-byte pieces would give it, read in larger blocks: the
// pieces end only at a CR LF that starts inside them, and a CR LF starting
// anywhere lies inside some piece, so the line runs to the first CR LF (at
// an even distance in UTF-16) or to the end of the file, and the position
// ends after the terminator, or at the end of the file. Every call reads
// the file afresh (IXStream::Peek keeps nothing), so what another process
// appended or rewrote since the last call is what this one returns.
bool AssembleLine(project::IXStream& stream, bool unicode, std::u16string* line, bool* nothing) {
  line->clear();
  if (nothing) *nothing = false;
  const uint32_t unit = unicode ? 2 : 1;
  const uint32_t endSize = unicode ? 4 : 2;
  const uint8_t* end = unicode ? kUnicodeEnd : kAnsiEnd;
  const int64_t start = stream.Position();
  // A line that crosses the end of a block is gathered here, kept between
  // calls so that it costs no allocation.
  thread_local std::string gathered;
  gathered.clear();
  std::string_view content;
  int64_t at = start;
  int64_t next = -1;
  // Most lines are short: a small first read, doubled for a long one.
  uint32_t want = kFirstRead;
  while (next < 0) {
    const uint8_t* data = nullptr;
    uint32_t n = 0;
    bool atEnd = false;
    if (!stream.Peek(at, want, kBlock, &data, &n, &atEnd)) {
      // As a failed piece: the position stays at the start of that piece.
      stream.MoveTo(start + (at - start) / kPiece * kPiece);
      return false;
    }
    if (nothing && n == 0 && at == start) *nothing = true;
    want = std::min(2 * want, kLongestRead);
    // Every offset up to `last` can be checked for the whole terminator.
    const uint32_t last = n >= endSize ? n - endSize : 0;
    uint32_t found = n;
    if (n >= endSize) {
      for (const uint8_t* p = data; (p = static_cast<const uint8_t*>(std::memchr(p, 0x0D, last + 1 - (p - data))));
           ++p) {
        const auto j = static_cast<uint32_t>(p - data);
        if (j % unit == 0 && std::memcmp(p, end, endSize) == 0) {
          found = j;
          break;
        }
      }
    }
    uint32_t take;
    if (found < n) {
      take = found;
      next = at + found + endSize;
    } else if (atEnd) {
      take = n;
      next = at + n;
    } else {
      // The last bytes may start a terminator: they are looked at again with what follows.
      take = last + 1;
      take -= take % unit;
    }
    const std::string_view part(reinterpret_cast<const char*>(data), take);
    if (next >= 0 && gathered.empty()) {
      content = part;
    } else {
      gathered.append(part);
      content = gathered;
    }
    at += take;
  }
  stream.MoveTo(next);
  const auto* b = reinterpret_cast<const uint8_t*>(content.data());
  if (unicode) {
    line->resize(content.size() / 2);
    char16_t* out = line->data();
    for (size_t i = 0; i + 1 < content.size(); i += 2) out[i / 2] = static_cast<char16_t>(b[i] | (b[i + 1] << 8));
    return true;
  }
  // The pieces are joined before conversion, so a character of a multi-byte
  // code page cut between two pieces comes out whole. ASCII reads the same
  // in every code page: it needs no converter (nor the code page).
  uint8_t high = 0;
  for (size_t i = 0; i < content.size(); ++i) high |= b[i];
  if (high < 0x80) {
    line->resize(content.size());
    char16_t* out = line->data();
    for (size_t i = 0; i < content.size(); ++i) out[i] = b[i];
  } else {
    *line = FromEightBit(content);
  }
  return true;
}

namespace {

// fLitLigne through the handle's mapped window on the file (FileView): the
// bytes are the system's cache of the file itself, so a rewrite in place or
// an append by anyone is seen at the next line without a system call, and
// the usual line costs a scan and a copy, as getline's does.
//
// Only a file cut short is not seen in the pages: that is why the size
// known from the last question (`knownSize`) bounds every scan, and why a
// line is taken from the window only when
//   - its terminator was found there: a file cut before the terminator's
//     last byte would read as zeros from its new end to the end of that page,
//     and the pages past it fault (ReadView fails): a CR LF read there is in
//     the file, and so is every byte before it; or
//   - it runs to the end of the file, with the size asked afresh before the
//     bytes were read.
// Anything else (no window on this handle, the position at or past the
// known end, a page gone, a line that crosses the window's end) reads the
// line from the file as before, which is exact by construction.
constexpr int64_t kWindow = 8 * 1024 * 1024;

// One line's work in the window, done in one guarded call: find the
// terminator, and widen the bytes before it (or to the known end) into
// `out` when they fit there. Nothing here allocates: a fault leaves it.
struct LineJob {
  const uint8_t* data;  // the byte at the position
  size_t size;          // to the known end or the window's, whichever comes first
  const uint8_t* end;
  uint32_t endSize;
  uint32_t unit;
  bool wholeIfNone;  // no terminator: the line is every byte (the size was just asked)
  char16_t* out;
  size_t room;  // characters
  // Results.
  size_t found;  // the terminator's offset, or size
  bool widened;
  uint8_t high;  // every byte ORed: 0x80 set when the line is not ASCII
};

void Widen(const uint8_t* __restrict b, size_t bytes, bool unicode, char16_t* __restrict out, uint8_t* high) {
  if (unicode) {
    for (size_t i = 0; i + 1 < bytes; i += 2) out[i / 2] = static_cast<char16_t>(b[i] | (b[i + 1] << 8));
    return;
  }
  uint8_t h = 0;
  for (size_t i = 0; i < bytes; ++i) h |= b[i];
  for (size_t i = 0; i < bytes; ++i) out[i] = b[i];
  *high = h;
}

// The ANSI line in one pass: 16 bytes at a time are searched for a CR and
// widened together, which is most of a short line's cost.
void FindAndWidenAnsi(LineJob* job) {
  const uint8_t* d = job->data;
  const size_t n = job->size;
  char16_t* out = job->out;
  uint8_t high = 0;
  size_t i = 0;
#if defined(__SSE2__)
  const __m128i cr = _mm_set1_epi8(0x0D);
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= n; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i));
    size_t found = n;
    for (unsigned m = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, cr))); m; m &= m - 1) {
      const size_t j = i + static_cast<size_t>(__builtin_ctz(m));
      if (j + 1 < n && d[j + 1] == 0x0A) {
        found = j;
        break;
      }
    }
    // The whole block is widened even past the terminator: `out` has room for it.
    const bool room = i + 16 <= job->room;
    if (room) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(v, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8), _mm_unpackhi_epi8(v, zero));
    }
    const auto signs = static_cast<unsigned>(_mm_movemask_epi8(v));
    if (found == n) {
      if (signs) high = 0x80;
      continue;
    }
    if (signs & ((1u << (found - i)) - 1)) high = 0x80;
    job->found = found;
    job->high = high;
    job->widened = room;
    return;
  }
#endif
  // The last bytes of the known file, one by one.
  size_t found = n;
  for (size_t j = i; j + 1 < n; ++j) {
    if (d[j] == 0x0D && d[j + 1] == 0x0A) {
      found = j;
      break;
    }
  }
  job->found = found;
  job->widened = false;
  if ((found == n && !job->wholeIfNone) || found > job->room) return;
  for (size_t j = i; j < found; ++j) {
    high |= d[j];
    out[j] = d[j];
  }
  job->high = high;
  job->widened = true;
}

void FindAndWiden(void* arg) {
  auto* job = static_cast<LineJob*>(arg);
  if (job->unit == 1) {
    FindAndWidenAnsi(job);
    return;
  }
  job->found = job->size;
  job->widened = false;
  const uint8_t* data = job->data;
  if (job->size >= job->endSize) {
    const size_t last = job->size - job->endSize;  // every offset up to it holds a whole terminator
    for (const uint8_t* p = data; (p = static_cast<const uint8_t*>(std::memchr(p, 0x0D, last + 1 - (p - data))));
         ++p) {
      const auto j = static_cast<size_t>(p - data);
      if (j % job->unit == 0 && std::memcmp(p, job->end, job->endSize) == 0) {
        job->found = j;
        break;
      }
    }
  }
  if (job->found == job->size && !job->wholeIfNone) return;
  if (job->found / job->unit > job->room) return;
  Widen(data, job->found, job->unit == 2, job->out, &job->high);
  job->widened = true;
}

void WidenLong(void* arg) {
  auto* job = static_cast<LineJob*>(arg);
  Widen(job->data, job->found, job->unit == 2, job->out, &job->high);
}

// True with the line (the first `*chars` of entry.line) and the position
// moved past it; false: read it from the file.
bool MappedLine(HandleEntry& entry, size_t* chars) {
  if (entry.noView) return false;
  project::IXStream& stream = *entry.stream;
  const int64_t pos = stream.Position();
  bool fresh = false;
  if (entry.knownSize < 0 || pos >= entry.knownSize) {
    entry.knownSize = stream.Size();
    fresh = true;
  }
  const bool unicode = entry.unicode;
  // Most lines fit in the handle's buffer as it is: widened straight into it.
  constexpr size_t kRoom = 512;
  std::u16string& line = entry.line;
  if (line.size() < kRoom) line.resize(kRoom);
  LineJob job{};
  job.end = unicode ? kUnicodeEnd : kAnsiEnd;
  job.endSize = unicode ? 4 : 2;
  job.unit = unicode ? 2 : 1;
  job.out = line.data();
  job.room = line.size();
  fs::FileView& view = entry.view;
  while (true) {
    // At the end, or the size unknown: the read says which, exactly.
    if (pos >= entry.knownSize) return false;
    if (!view.mapped() || pos < view.offset() || pos >= view.end()) {
      if (!view.Map(stream.Handle(), pos - pos % kWindow, kWindow)) {
        entry.noView = true;
        return false;
      }
    }
    const int64_t limit = std::min(entry.knownSize, view.end());
    job.data = view.At(pos);
    job.size = static_cast<size_t>(limit - pos);
    job.wholeIfNone = fresh && entry.knownSize <= view.end();
    if (!fs::ReadView(view, FindAndWiden, &job)) {
      entry.knownSize = -1;
      return false;
    }
    if (job.found == job.size && !job.wholeIfNone) {
      if (fresh) return false;  // the line crosses the window's end
      // The known end reached without a terminator: the file may have grown (or shrunk) since.
      entry.knownSize = stream.Size();
      fresh = true;
      continue;
    }
    *chars = job.found / job.unit;
    if (!job.widened) {
      // A long line: the buffer grows to it (and stays so for the next ones).
      line.resize(std::max(*chars, line.size()));
      job.out = line.data();
      if (!fs::ReadView(view, WidenLong, &job)) {
        entry.knownSize = -1;
        return false;
      }
    }
    if (!unicode && job.high >= 0x80) {
      // The code page's converter reads a copy: it allocates, which a read of the window must not.
      std::string bytes(*chars, '\0');
      for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(line[i]);
      const std::u16string converted = FromEightBit(bytes);
      *chars = converted.size();
      if (line.size() < *chars) line.resize(*chars);
      std::copy(converted.begin(), converted.end(), line.begin());
    }
    const bool terminated = job.found < job.size;
    stream.MoveTo(pos + static_cast<int64_t>(job.found) + (terminated ? job.endSize : 0));
    return true;
  }
}

}  // namespace

std::u16string_view ReadLine(ExecContext* context, int32_t handle) {
  // One look-up in the table: this is the cost of every line.
  HandleEntry* entry = Valid(context, handle);
  if (!entry) return {};
  if (entry->kind == HandleEntry::kOther) {
    entry->line = MemReadLine(context, *entry);
    return entry->line;
  }
  project::IXStream* stream = DiskStream(entry);
  if (!stream) return {};
  size_t chars = 0;
  if (MappedLine(*entry, &chars)) return std::u16string_view(entry->line.data(), chars);
  // The line is read first: a byte at the position shows that the file goes
  // on, so its size is asked only when nothing was there.
  bool nothing = false;
  if (!AssembleLine(*stream, entry->unicode, &entry->line, &nothing)) {
    RecordSystemError(context, stream->LastSystemError());
    return {};
  }
  if (nothing) {
    const int64_t size = stream->Size();
    if (size >= 0 && stream->Position() >= size) return kEndOfFile;
  }
  return entry->line;
}

}  // namespace kp::files
