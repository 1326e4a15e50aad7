#!/usr/bin/env python3
"""The Windows DLLs as a VM sees them before loading one, read with pefile, a
reader independent of the toolchain that made them: the machine (32- or 64-bit),
exactly the eight exports with ordinals 1 to 8 in name order, and the version
resource: the project's version and both descriptions, one per language block.

usage: check_dll.py VERSION DLL[:i386|:amd64]...
"""
import sys

import pefile

EXPORTS = ["CommandeComposante", "DeclareProxy", "Execution", "GeneralParam", "InfoComposante",
           "bInitKLConvFromVM", "nfCompacte", "pQueryProxy"]
MACHINES = {"i386": 0x14C, "amd64": 0x8664}
BLOCKS = {"040c04b0": "Fonctions standard", "040904b0": "Standard functions"}


def check(path, machine, version):
    faults = []
    pe = pefile.PE(path)
    if pe.FILE_HEADER.Machine != MACHINES[machine]:
        faults.append(f"machine {pe.FILE_HEADER.Machine:#x}, expected {machine}")
    exports = sorted((e.ordinal, (e.name or b"").decode()) for e in pe.DIRECTORY_ENTRY_EXPORT.symbols)
    if [name for _, name in exports] != EXPORTS or [o for o, _ in exports] != list(range(1, 9)):
        faults.append(f"exports {exports}")
    fixed = pe.VS_FIXEDFILEINFO[0]
    numbers = [fixed.FileVersionMS >> 16, fixed.FileVersionMS & 0xFFFF, fixed.FileVersionLS >> 16,
               fixed.FileVersionLS & 0xFFFF]
    if ".".join(map(str, numbers)) != version:
        faults.append(f"fixed file version {numbers}, expected {version}")
    seen = {}
    for info in pe.FileInfo[0]:
        if info.Key == b"StringFileInfo":
            for table in info.StringTable:
                seen[table.LangID.decode().lower()] = {k.decode(): v.decode() for k, v in table.entries.items()}
    for block, description in BLOCKS.items():
        entries = seen.get(block)
        if entries is None:
            faults.append(f"no string block {block}")
            continue
        if entries.get("FileDescription") != description:
            faults.append(f"{block}: FileDescription {entries.get('FileDescription')!r}, expected {description!r}")
        for key in ("FileVersion", "ProductVersion"):
            if entries.get(key) != version:
                faults.append(f"{block}: {key} {entries.get(key)!r}, expected {version}")
        if not entries.get("Comments"):
            faults.append(f"{block}: no Comments (the bilingual note)")
    return faults


def main():
    version, failed = sys.argv[1], 0
    for arg in sys.argv[2:]:
        path, _, machine = arg.partition(":")
        faults = check(path, machine or "amd64", version)
        for fault in faults:
            print(f"{path}: {fault}")
        failed += len(faults)
        if not faults:
            print(f"{path}: {machine or 'amd64'}, eight exports, version {version}, both descriptions")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
