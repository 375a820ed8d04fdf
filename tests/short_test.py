#!/usr/bin/env python3
"""Runs the short cases of tests/cases/short.rows against the program: one failure report to a case.

A case is a title line `== ...` and one row, which may go on in indented lines: fields separated by ` :: `.

    arguments :: in.c :: standard output :: standard error :: file path=text :: stdin=text :: wrote path=text :: env X=y

Escapes are \\n \\t \\r \\0 \\\\ \\xHH. The output begins with the marker of in.c, which is not repeated here, unless it is
written as `=text`. `!!` ahead of the error text, in place of `::`, stands for exit status 1. {{dir}} is the scratch folder.
"""
import os, pathlib, re, shlex, subprocess, sys, tempfile

PROGRAM = os.path.abspath(os.environ["CPP_PROGRAM"])
ROWS = pathlib.Path(__file__).parent / "cases" / "short.rows"
LETTERS = {"n": "\n", "t": "\t", "r": "\r", "0": "\0", "\\": "\\"}


def plain(text, folder):
    text = re.sub(r"\\(x..|.)", lambda m: LETTERS.get(m[1]) or chr(int(m[1][1:], 16)), text)
    return text.replace("{{dir}}", folder).encode("latin1")


def place(name, folder):
    return pathlib.Path(os.fsdecode(os.path.join(folder.encode(), plain(name, folder))))


def split(args):
    lexer = shlex.shlex(args, posix=True, punctuation_chars=False)
    lexer.whitespace, lexer.whitespace_split, lexer.quotes, lexer.escape, lexer.commenters = " ", True, "'", "", ""
    return list(lexer)


def run(row, folder):
    """The differences between what the row says and what the program does."""
    args, source, out, err, *more = [field[1:] for field in re.split(" ::(?= |$)| !!(?= |$)", " " + row)]
    files, wanted, stdin = {"in.c": source}, {"output": out[1:] if out[:1] == "=" else r'\n# 1 "in.c"\n' + out}, ""
    env = dict(os.environ, TZ="UTC", LC_ALL="C", HOME=folder)
    for field in more:
        kind, value = field.split("=", 1)
        verb, _, name = kind.partition(" ")
        if verb == "stdin": stdin = value
        if verb == "env": env[name] = value
        if verb == "file": files[name] = value
        if verb == "wrote": wanted[name] = value
    for name, text in files.items():
        path = place(name, folder)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(plain(text, folder))
    words = [plain(word, folder) for word in split(args)]
    done = subprocess.run([PROGRAM, *words], cwd=folder, input=plain(stdin, folder), capture_output=True, env=env, timeout=20)
    wanted = {what: plain(text, folder) for what, text in wanted.items()} | {"messages": plain(err, folder)}
    actual = {"output": done.stdout, "messages": done.stderr}
    differences = [] if done.returncode == bool(re.search(" !!( |$)", row)) else [f"status {done.returncode}"]
    for what, text in wanted.items():
        have = actual[what] if what in actual else place(what, folder).read_bytes()
        if have != text: differences.append(f"{what}:\n  expected {text}\n  actual   {have}")
    return differences


def cases():
    for block in ROWS.read_text().split("\n== ")[1:]:
        title, *lines = block.rstrip("\n").split("\n")
        yield title, "".join(line[2:] if line.startswith("  ") else line for line in lines)


failed = 0
for title, row in cases():
    with tempfile.TemporaryDirectory() as folder:
        for difference in run(row, folder):
            failed += 1
            print(f"== {title}\n{difference}")
sys.exit(failed > 0)
