#!/usr/bin/python3
"""ExeInfo, called through kp, against pefile (an independent PE reader) on
real PE files: resource-only images that the mingw-w64 binutils make for both
machine widths, the DLLs that Debian's mingw-w64 and wine packages install,
the library's own Windows build when it is there, and files that are not
executables. Exits 77 (skipped) when pefile or the binutils are missing.

usage: exe_info_vs_pefile.py KP SOURCE_DIR
"""
import glob
import json
import os
import shutil
import subprocess
import sys
import tempfile

try:
    import pefile
except ImportError:
    print("pefile is not installed (Debian: python3-pefile)")
    sys.exit(77)

KP, SOURCE = sys.argv[1], sys.argv[2]
STRINGS = {"COPYRIGHT": "LegalCopyright", "VERSION": "FileVersion", "DESCRIPTION": "FileDescription",
           "SOCIETE": "CompanyName", "ProductName": "ProductName", "InternalName": "InternalName"}

RC = r"""
1 VERSIONINFO
FILEVERSION 1,2,65535,4
PRODUCTVERSION 5,6,7,8
BEGIN
  BLOCK "StringFileInfo"
  BEGIN
    BLOCK "040C04B0"
    BEGIN
      VALUE "CompanyName", "Société d'essai"
      VALUE "FileDescription", "%s"
    END
    BLOCK "040904B0"
    BEGIN
      VALUE "CompanyName", "Test company"
      VALUE "FileDescription", "English description"
      VALUE "FileVersion", "1.2.65535.4 test"
      VALUE "LegalCopyright", "nobody"
      VALUE "ProductName", "kp test"
    END
  END
  BLOCK "VarFileInfo"
  BEGIN
    VALUE "Translation", 0x409, 1200, 0x40C, 1200
  END
END
"""


def make_images(tmp):
    """Resource-only DLLs for i686 and x86_64, linked by the binutils."""
    made = []
    long_text = "x" * 250  # longer than the 199 characters ExeInfo answers
    rc = os.path.join(tmp, "v.rc")
    with open(rc, "w", encoding="utf-8") as f:
        f.write(RC % long_text)
    for arch in ("i686", "x86_64"):
        windres, ld = f"{arch}-w64-mingw32-windres", f"{arch}-w64-mingw32-ld"
        if not shutil.which(windres) or not shutil.which(ld):
            continue
        obj, dll = os.path.join(tmp, f"v-{arch}.o"), os.path.join(tmp, f"v-{arch}.dll")
        subprocess.run([windres, "--preprocessor=cpp", "-c", "65001", rc, "-O", "coff", "-o", obj], check=True)
        subprocess.run([ld, "--dll", "-e", "0", "-o", dll, obj], check=True)
        made.append(dll)
    return made


def junk(tmp, sample):
    """Files that are not executables, or whose headers are cut."""
    out = []
    with open(sample, "rb") as f:
        head = f.read(4096)
    for name, data in (("cut-dos.bin", head[:40]), ("cut-nt.bin", head[:0x90]), ("mz-only.bin", b"MZ" + b"\0" * 100),
                       ("text.txt", b"not an executable\n" * 10), ("empty.bin", b"")):
        path = os.path.join(tmp, name)
        with open(path, "wb") as f:
            f.write(data)
        out.append(path)
    return out


def expected_mode(path):
    """The kind from the headers, as the MODE rule reads them, through pefile
    for PE images and from the raw bytes otherwise."""
    with open(path, "rb") as f:
        data = f.read()
    if len(data) < 64 or data[:2] != b"MZ":
        return ""
    if int.from_bytes(data[24:26], "little") != 64:
        return "DOS"
    at = int.from_bytes(data[60:64], "little")
    header = data[at:at + 248]
    if len(header) < 248:
        return ""
    signature = int.from_bytes(header[:2], "little")
    if signature in (0x3357, 0x454C, 0x454E, 0x584C):
        return "16"
    if signature == 0x4550:
        pe = pefile.PE(path, fast_load=True)
        return "64" if pe.OPTIONAL_HEADER.Magic == 0x20B else "32"
    return "DOS" if signature == 0x5A4D else ""


def expected_version(path):
    """VERSION4N and the string answers, from pefile's version information."""
    try:
        pe = pefile.PE(path)
    except pefile.PEFormatError:
        return "", {}
    four = ""
    if getattr(pe, "VS_FIXEDFILEINFO", None):
        v = pe.VS_FIXEDFILEINFO[0]
        four = f"{v.FileVersionMS >> 16}.{v.FileVersionMS & 0xFFFF}.{v.FileVersionLS >> 16}.{v.FileVersionLS & 0xFFFF}"
    tables, translations = [], []
    for info in (pe.FileInfo[0] if getattr(pe, "FileInfo", None) else []):
        for table in getattr(info, "StringTable", []):
            tables.append((table.LangID.decode().upper(), {k.decode().upper(): v.decode() for k, v in table.entries.items()}))
        for var in getattr(info, "Var", []):
            # pefile keeps only the last pair of the list in `entry`: the
            # pairs are read at the place pefile found the Var record.
            if b"Translation" not in var.entry and "Translation" not in var.entry:
                continue
            at = var.get_file_offset() + 6 + len("Translation\0") * 2
            at = (at + 3) & ~3
            raw = pe.__data__[at:at + var.ValueLength]
            for i in range(0, len(raw) - 3, 4):
                lang, cp = int.from_bytes(raw[i:i + 2], "little"), int.from_bytes(raw[i + 2:i + 4], "little")
                translations.append(f"{lang:04X}{cp:04X}")
    answers = {}
    for keyword, name in STRINGS.items():
        value = None
        for key in translations:
            for lang, entries in tables:
                if lang == key and name.upper() in entries and value is None:
                    value = entries[name.upper()]
        for _, entries in tables:
            if value is None and name.upper() in entries:
                value = entries[name.upper()]
        answers[keyword] = (value or "")[:199]
    return four, answers


def exe_info(keyword, path):
    env = dict(os.environ, KP_NATIVE_ROOT="1")
    out = subprocess.run([KP, "eval", "--json", f'ExeInfo("{keyword}", "{path}")'], env=env,
                         capture_output=True, text=True, timeout=30)
    return json.loads(out.stdout)["value"]


def main():
    tmp = tempfile.mkdtemp(prefix="kp-exeinfo-")
    try:
        images = make_images(tmp)
        if not images:
            print("no mingw-w64 binutils to make test images")
            return 77
        files = list(images)
        for pattern in ("/usr/lib/gcc/*-w64-mingw32/*/*.dll", "/usr/*-w64-mingw32/lib/*.dll",
                        "/usr/lib/wine/**/*.dll", "/usr/lib/*/wine/**/*.dll", "/usr/lib/*/wine/**/*.exe"):
            files += sorted(glob.glob(pattern, recursive=True))[:15]
        files += glob.glob(os.path.join(os.path.abspath(SOURCE), "build", "mingw", "KP160STD.DLL"))
        files += junk(tmp, images[0]) + ["/bin/sh"]
        failures = 0
        for path in files:
            four, strings = expected_version(path)
            expected = {"MODE": expected_mode(path), "VERSION4N": four, **strings}
            for keyword, want in expected.items():
                got = exe_info(keyword, path)
                if got != want:
                    failures += 1
                    print(f"FAIL {path} {keyword}: ExeInfo {got!r}, pefile {want!r}")
        # What the test images were made with, read back without pefile.
        for path in images:
            assert exe_info("VERSION4N", path) == "1.2.65535.4"
            assert exe_info("Soci\u00e9t\u00e9", path) == "Test company"  # the first translation's table
            assert exe_info("DESCRIPTION", path) == "English description"
        print(f"{len(files)} files, {failures} disagreement(s)")
        return 1 if failures else 0
    finally:
        shutil.rmtree(tmp, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
