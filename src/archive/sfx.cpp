// kp160std — _zipCréeExe_old on POSIX: a self-extracting archive made of a
// short shell script followed by the archive's entries. The archive's offsets
// count the script, so unzip, 7-Zip and Python's zipfile read the file as a
// zip as it is, and `sh file` extracts it (the shell stops at the script's
// "exit" before the zip bytes).
//
// The script runs on the host, outside the device: the default directory is
// used as a host path ("\" read as "/"), and the command runs in it after
// the extraction.
#include <zip.h>

#include "abi/error.h"
#include "archive/archive.h"
#include "archive/common.h"
#include "archive/device_source.h"
#include "archive/table.h"

namespace kp::archive {

namespace {

// A text as one single-quoted shell word.
std::string Quoted(std::u16string_view text) {
  std::string out = "'";
  for (char c : ToUtf8(text)) {
    if (c == '\'')
      out += "'\\''";
    else if (c == '\n' || c == '\r')
      out += ' ';
    else
      out += c;
  }
  return out + "'";
}

std::string Stub(std::u16string_view title, std::u16string_view message, std::u16string_view directory,
                 std::u16string_view command) {
  std::u16string dir(directory.empty() ? u"." : directory);
  for (char16_t& c : dir)
    if (c == u'\\') c = u'/';
  std::string s = "#!/bin/sh\n";
  s += "# self-extracting zip archive: sh <this file> [directory]; unzip reads it as it is\n";
  if (!title.empty()) s += "printf '%s\\n' " + Quoted(title) + "\n";
  if (!message.empty()) s += "printf '%s\\n' " + Quoted(message) + "\n";
  s += "dest=\"${1:-" + Quoted(dir) + "}\"\n";
  s += "mkdir -p \"$dest\" && unzip -o -q \"$0\" -d \"$dest\" || exit 1\n";
  if (!command.empty()) s += "cd \"$dest\" && sh -c " + Quoted(command) + "\n";
  s += "exit $?\n";
  return s;
}

}  // namespace

int32_t CreateExe(ExecContext* context, std::u16string_view archive, std::u16string_view executable,
                  std::u16string_view title, std::u16string_view message, std::u16string_view directory,
                  std::u16string_view command) {
  Archive* a = Lookup(context, archive);
  if (!a) return kErrZipNotOpen;
  if (const int32_t r = CheckPath(context, executable)) return r;
  if (SamePath(executable, a->Backing()) || SamePath(executable, a->file)) {
    Raise(context, kErrZipBadEntryName, {executable});
    return kErrZipBadEntryName;
  }
  Archive out;
  out.name = archive;
  out.file = executable;
  out.prefix = Stub(title, message, directory, command);
  out.password = a->password;
  if (const int32_t r = OpenZip(context, &out, ZIP_CREATE | ZIP_TRUNCATE)) return r;
  const int64_t count = zip_get_num_entries(a->zip, 0);
  for (int64_t i = 0; i < count; ++i) {
    const char* name = zip_get_name(a->zip, i, ZIP_FL_ENC_RAW);
    zip_source_t* source = name ? zip_source_zip(out.zip, a->zip, i, 0, 0, -1) : nullptr;
    if (!source) return RaiseZip(context, kErrZipCannotWrite, executable, zip_get_error(out.zip));
    zip_flags_t flags = 0;
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    zip_file_get_external_attributes(a->zip, i, 0, &system, &attributes);
    const int64_t index = zip_file_add(out.zip, name, source, ZIP_FL_ENC_RAW | flags);
    if (index < 0) {
      zip_source_free(source);
      return RaiseZip(context, kErrZipCannotWrite, executable, zip_get_error(out.zip));
    }
    zip_file_set_external_attributes(out.zip, index, 0, system, attributes);
    zip_stat_t st;
    zip_stat_init(&st);
    if (zip_stat_index(a->zip, i, 0, &st) == 0 && (st.valid & ZIP_STAT_MTIME)) zip_file_set_mtime(out.zip, index, st.mtime, 0);
  }
  a->current = executable;
  if (zip_close(out.zip) != 0) {
    const int32_t r = RaiseZip(context, kErrZipCannotWrite, executable, zip_get_error(out.zip));
    zip_discard(out.zip);
    out.zip = nullptr;
    return r;
  }
  out.zip = nullptr;
  return 0;
}

}  // namespace kp::archive
