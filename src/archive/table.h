// kp160std — the process-wide table of open zip archives and what the
// archive functions share: names, lookups, the commit after each change.
//
// A KL program names an archive by a text of its own choosing ("backup") and
// gives the file separately; the table maps the name (without regard to
// case) to the open libzip archive. Every function that changes an archive
// writes it before returning (Commit), so what a function reports is what is
// on disk; a multi-part archive is worked on as one temporary file and cut
// again into its parts at each commit.
//
// Thread-safety: no lock, as the file handle table: used from the thread that
// runs the KL program. The table closes what is still open when the library
// unloads (its destructor), without writing anything more.
#pragma once

#include <zip.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "kp160std/abi.h"

namespace kp::archive {

struct Archive {
  std::u16string name;  // as the program gave it
  std::u16string file;  // the archive's device path (the .zip, the last part of a multi-part one)
  std::u16string work;  // a multi-part archive's merged copy (temporary); empty otherwise
  int32_t parts = 1;
  int64_t partSize = 0;       // multi-part: the size of the parts after the first
  int64_t firstPartSize = 0;  // multi-part: the first part's size
  std::string password;       // UTF-8; empty: none
  std::string prefix;         // bytes kept in front of the archive (a self-extracting stub)
  std::u16string current;     // the entry last handled
  zip_t* zip = nullptr;

  Archive() = default;
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;
  ~Archive();
  // The file libzip works on.
  const std::u16string& Backing() const { return work.empty() ? file : work; }
};

class ArchiveTable {
 public:
  ArchiveTable() = default;
  ~ArchiveTable() { CloseAll(); }
  ArchiveTable(const ArchiveTable&) = delete;
  ArchiveTable& operator=(const ArchiveTable&) = delete;

  Archive* Find(std::u16string_view name) const;
  Archive* Add(std::unique_ptr<Archive> archive);
  std::unique_ptr<Archive> Remove(std::u16string_view name);
  // Discards every open archive (nothing more is written).
  void CloseAll();
  size_t size() const { return archives_.size(); }

 private:
  std::map<std::u16string, std::unique_ptr<Archive>> archives_;
};

ArchiveTable& Archives();

// --- shared helpers ---------------------------------------------------------

std::string ToUtf8(std::u16string_view text);
std::u16string FromUtf8(std::string_view text);

// The archive named `name`, or null with 81900 (81902 for a bad name).
Archive* Lookup(ExecContext* context, std::u16string_view name);
// A valid archive name: 1 to 260 characters; else false with 81902.
bool CheckArchiveName(ExecContext* context, std::u16string_view name);

// Opens libzip on the archive's backing file (`flags` as zip_open_from_source).
// Records 81903/81904 and returns the error id on failure, 0 on success.
int32_t OpenZip(ExecContext* context, Archive* archive, int flags);

// Writes the pending changes: the archive is closed and opened again, so the
// file on disk holds exactly what the functions reported. A multi-part
// archive is cut again into its parts. 0, or the error id recorded.
int32_t Commit(ExecContext* context, Archive* archive);

// The entry named `name` (exact, then without regard to case and with "\"
// read as "/"), or the index `index` (1 for the first); -1 with 81905/81906.
int64_t EntryByName(ExecContext* context, Archive* archive, std::u16string_view name);
int64_t EntryByIndex(ExecContext* context, Archive* archive, int32_t index);
// The entry's name as UTF-16 (names without the UTF-8 flag read as code page 437).
std::u16string EntryName(Archive* archive, zip_uint64_t index);

// Records the libzip error `error` as `errorId` with the archive's name and the
// reason, adding the system error where one is known. Returns errorId.
int32_t RaiseZip(ExecContext* context, int32_t errorId, std::u16string_view what, zip_error_t* error);

}  // namespace kp::archive
