#!/usr/bin/env python3
"""Completion in the real shells: keys are typed at a terminal, and a command of that name shows what came of them."""
import os, pathlib, pty, re, select, shutil, sys, tempfile, time

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "tools/completion"
CASES = [line.split(" => ") for line in """
-Iboa => -Iboard
-Iboard/inn => -Iboard/inner
-Lg => -Lgcc
-Ll => -Llist
--cmode=gc => --cmode=gci
--cmode=w => --cmode=wbc
--dep => --dep_nosys
--ud\tboard/hea => --udf=board/head.h
-Iboard --include=hea => -Iboard --include=head.h
--qvdebug=al => --qvdebug=alerts
--qvdebug=on,ad => --qvdebug=on,adt
--qvdebug=on,assert:fa => --qvdebug=on,assert:fatal
--qvdebug=on,out:board/h => --qvdebug=on,out:board/head.h
--qvdebug=on,debug:ex => --qvdebug=on,debug:expand
-C mai => -C main.c
-Iodd => -Iodd d'r
""".strip().split("\n")]
SHELLS = {  # arguments, and what to type first: qv4-cpp shows its arguments, its completion is there
    "bash": ("--norc --noprofile", f"qv4-cpp() {{ printf '<%s>' \"$*\"; }}; . {FOLDER}/qv4-cpp.bash"),
    "zsh": ("-f", f"qv4-cpp() {{ printf '<%s>' \"$*\" }}; fpath=({FOLDER} $fpath); autoload -Uz compinit; compinit -uD"),
    "fish": ("--no-config", f"function qv4-cpp; printf '<%s>' \"$argv\"; end; . {FOLDER}/qv4-cpp.fish"),
}


def answer(fd, text, pattern, seconds=20):
    """Types `text`, and returns what `pattern` finds in what the shell writes from then on."""
    os.write(fd, text.encode())
    seen, end = "", time.monotonic() + seconds
    while not (found := re.search(pattern, seen)) and time.monotonic() < end:
        if select.select([fd], [], [], 0.1)[0]: seen += os.read(fd, 65536).decode(errors="replace")
    return found[1].strip() if found else f"nothing in {seen!r}"


def try_shell(name):
    arguments, setup = SHELLS[name]
    pid, fd = pty.fork()
    if pid == 0:
        environment = {"PATH": os.environ["PATH"], "TERM": "dumb", "HOME": os.getcwd(), "PS1": "", "COLUMNS": "200"}
        os.execvpe(name, [name, *arguments.split()], environment)
    failed = answer(fd, f"{setup}; echo rea''dy\n", "(ready)") != "ready"
    for typed, expected in CASES:  # zsh takes a last slash away again, so it plays no part
        shown = answer(fd, f"qv4-cpp {typed}\t", "()") or answer(fd, "\n", r"<(.*?)>")
        if shown.rstrip("/") != expected: failed, _ = True, print(f"{name}: {typed!r} became {shown!r}, not {expected!r}")
    os.close(fd)
    os.waitpid(pid, 0)
    return failed


shells = [name for name in SHELLS if shutil.which(name)]
for name in SHELLS.keys() - set(shells): print(f"skipped: no {name} on this machine")
if not shells: sys.exit(77)
os.chdir(scratch := tempfile.mkdtemp())
for folder in "board/inner", "odd d'r": os.makedirs(folder)
for file in "main.c", "board/head.h": pathlib.Path(file).touch()
failures = [name for name in shells if try_shell(name)]
shutil.rmtree(scratch)
sys.exit(bool(failures))
