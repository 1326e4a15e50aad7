#!/usr/bin/env python3
"""The examples of README.md and docs/*.md, run and compared with what they show.

An example is a fenced block with the info string `console`: lines starting
with "$ " are commands (run by bash), the lines after one are its output
(stdout and stderr together) up to the next command or the end of the block.
In the output shown, "..." stands for any text within a line, and a line that
is only "..." for any number of lines (a date, a path, a figure that varies).
`console no-ci` marks an example that cannot run here (another shell, a
display, minutes of work): it is listed, not run.

Each block runs in a directory of its own holding `kp` (the built host),
`examples/` (the project's) and a device directory of its own (KP_PREFIX), so
the commands read as a user types them: `./kp eval …`, `kp run examples/…`.

  check_examples.py SOURCE_DIR KP_HOST
"""
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

FENCE = re.compile(r"^( *)```(\S*)(.*)$")  # indented inside a list item too


def blocks(path):
    """(line number, info words, lines) of each fenced block of a markdown file."""
    out = []
    with open(path, encoding="utf-8") as f:
        lines = f.read().split("\n")
    i = 0
    while i < len(lines):
        m = FENCE.match(lines[i])
        if not m:
            i += 1
            continue
        indent, info = m.group(1), [m.group(2)] + m.group(3).split()
        start = i + 1
        i += 1
        body = []
        while i < len(lines) and not lines[i].strip().startswith("```"):
            body.append(lines[i][len(indent):] if lines[i].startswith(indent) else lines[i])
            i += 1
        i += 1
        out.append((start, info, body))
    return out


def steps(body):
    """(command, expected output lines) of a console block."""
    out = []
    for line in body:
        if line.startswith("$ "):
            out.append((line[2:], []))
        elif out:
            out[-1][1].append(line)
        elif line.strip():
            raise ValueError("output before the first command: " + line)
    return out


def line_pattern(shown):
    return re.compile("^" + ".*".join(re.escape(part) for part in shown.split("...")) + "$")


def matches(expected, actual):
    """Whether the output lines match those shown ("..." as described above)."""
    if not expected:
        return not actual
    if expected[0] == "...":
        return any(matches(expected[1:], actual[k:]) for k in range(len(actual) + 1))
    return bool(actual) and bool(line_pattern(expected[0]).match(actual[0])) and matches(expected[1:], actual[1:])


def main():
    source, host = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    files = [os.path.join(source, "README.md")] + sorted(glob.glob(os.path.join(source, "docs", "*.md")))
    failures, ran, skipped = 0, 0, []
    for path in files:
        name = os.path.relpath(path, source)
        for start, info, body in blocks(path):
            if info[0] != "console":
                continue
            if "no-ci" in info[1:]:
                skipped.append("%s:%d" % (name, start))
                continue
            work = tempfile.mkdtemp(prefix="kp-docs-")
            try:
                with open(os.path.join(work, "kp"), "w") as f:
                    f.write('#!/bin/sh\nexec "%s" "$@"\n' % host)
                os.chmod(os.path.join(work, "kp"), 0o755)
                os.symlink(os.path.join(source, "examples"), os.path.join(work, "examples"))
                env = dict(os.environ, KP_PREFIX=os.path.join(work, "device"), LANG="C.UTF-8",
                           PATH=work + os.pathsep + os.environ.get("PATH", ""))
                env.pop("KP_LIBRARY", None)
                env.pop("LC_ALL", None)
                env.pop("LC_MESSAGES", None)
                commands = steps(body)
                if not commands:
                    failures += 1
                    print("%s:%d: a console block without a \"$ \" command" % (name, start), file=sys.stderr)
                for command, expected in commands:
                    while expected and not expected[-1].strip():
                        expected.pop()
                    run = subprocess.run(["bash", "-c", command], cwd=work, env=env, stdout=subprocess.PIPE,
                                         stderr=subprocess.STDOUT, timeout=60)
                    actual = run.stdout.decode("utf-8", "replace").rstrip("\n")
                    actual = actual.split("\n") if actual else []
                    ran += 1
                    if not matches(expected, actual):
                        failures += 1
                        print("%s:%d: $ %s\n  shown:\n%s\n  printed:\n%s" % (
                            name, start, command, "\n".join("    " + l for l in expected),
                            "\n".join("    " + l for l in actual)), file=sys.stderr)
            finally:
                shutil.rmtree(work, ignore_errors=True)
    print("%d documented commands run, %d differ from their docs; not run here (console no-ci): %s" % (
        ran, failures, ", ".join(skipped) or "none"))
    if ran == 0:
        print("no console example found: the extraction is broken", file=sys.stderr)
        return 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
