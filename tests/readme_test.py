#!/usr/bin/env python3
"""Runs the snippets of the README's section "In your build", and of docs/why-did-my-macro.md, as they stand, in their
order, in one folder.

A block of sh is run; another one is the file of that language, but for `text`, which is what the block ahead of it
prints. A block that runs what it has built must do so anew when a header has changed."""
import os, pathlib, re, subprocess, sys, tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
FILES = {"c": "check.c", "makefile": "Makefile", "ninja": "build.ninja", "cmake": "CMakeLists.txt"}
OPTIONAL = {"ninja", "cmake", "ccache", "avr-gcc", "sdcc"}


def run(text):
    return subprocess.run(["sh", "-ec", text], cwd=folder, env=environment, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def follows_header(text):
    header = folder / "board.h"
    kept = header.read_text()
    header.write_text("#define LAMP 6\n")
    other = run(text).returncode  # the status of the program itself
    header.write_text(kept)
    return other == 1 and run(text).returncode == 0


failed = False
with tempfile.TemporaryDirectory() as scratch:
    folder, programs = pathlib.Path(scratch, "work"), pathlib.Path(scratch, "bin")
    folder.mkdir()
    programs.mkdir()
    (programs / "qv4-cpp").symlink_to(os.path.abspath(os.environ["CPP_PROGRAM"]))
    environment = {**os.environ, "CCACHE_DIR": f"{scratch}/cache",
                   "PATH": f"{programs}:{ROOT}/tools/filters:{os.environ['PATH']}"}
    section = re.search(r"^## In your build\n(.*?)^## ", (ROOT / "README.md").read_text(), re.M | re.S)[1]
    section += (ROOT / "docs/why-did-my-macro.md").read_text()
    for language, text in re.findall(r"^```(\w+)\n(.*?)^```$", section, re.M | re.S):
        if language in FILES:
            (folder / FILES[language]).write_text(text)
            continue
        if language == "text":
            good = done.stdout == text
        else:
            done = run(text)
            missing = re.search(r"(\S+): not found", done.stdout)
            if done.returncode == 127 and missing and missing[1] in OPTIONAL:
                print(f"skipped, {missing[1]} is not installed:\n{text}")
                continue
            good = done.returncode == 0 and (not re.search(r"^\S*/main$", text, re.M) or follows_header(text))
        if not good:
            failed = True
            print(f"fails:\n{text}-- its output:\n{done.stdout}")
sys.exit(failed)
