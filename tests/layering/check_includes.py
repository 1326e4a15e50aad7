#!/usr/bin/env python3
"""The layering of the sources, read off their #include lines.

From the bottom up: platform/ (the operating system), abi/ (the runtime the
families use: call frame values, string blocks, error record, messages), the
families, and component/ (exports, tables and the bindings that call the
families). A file may include its own layer and the layers below it, never one
above. The host (host/) sees only the public ABI header, as a VM does.

Prints every include that breaks the rule and exits 1 when there is one.
"""
import pathlib
import re
import sys

FAMILIES = {"datetime", "files", "registry", "encoding", "numbers", "project", "system", "update", "desktop"}
PUBLIC = {"kp160std"}
# What each layer may include, besides itself.
ALLOWED = {
    "platform": PUBLIC,
    "abi": PUBLIC | {"platform"},
    "family": PUBLIC | {"platform", "abi"} | FAMILIES,
    "component": PUBLIC | {"platform", "abi", "component"} | FAMILIES,
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def layer_of(top: str) -> str:
    return "family" if top in FAMILIES else top


def main() -> int:
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".").resolve()
    problems = []
    for path in sorted((root / "src").rglob("*")):
        if path.suffix not in {".h", ".cpp", ".inc"}:
            continue
        own = path.relative_to(root / "src").parts[0]
        layer = layer_of(own)
        allowed = ALLOWED.get(layer, set()) | {own}
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            m = INCLUDE.match(line)
            if not m or "/" not in m.group(1):
                continue
            top = m.group(1).split("/")[0]
            if top not in allowed:
                problems.append(f"{path.relative_to(root)}:{number}: {layer} includes {m.group(1)}")
    for path in sorted((root / "host").rglob("*")):
        if path.suffix not in {".h", ".cpp"}:
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            m = INCLUDE.match(line)
            if m and "/" in m.group(1) and m.group(1).split("/")[0] not in PUBLIC:
                problems.append(f"{path.relative_to(root)}:{number}: the host includes {m.group(1)}")
    for p in problems:
        print(p)
    print(f"{len(problems)} include(s) against the layering" if problems else "layering: every include goes down")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
