"""Runs two programs on the same files, and makes the input small that tells them apart.

A process that runs programs enters a folder of its own first; every run reads and writes there.
"""
import os
import re
import resource
import signal
import tempfile
import time

SECONDS = 20  # of one run
SECONDS_MADE_SMALL = 2  # of one run while the input is made small
SECONDS_TO_MINIMISE = 60
BYTES_MAX = 256 << 20  # of one file that a run writes
JOBS = min(2, os.cpu_count() or 1)
TRACE = "--qvdebug=on,out:trace"
TRACE_EXPANSIONS = TRACE + ",debug:expand"  # the first program's alone: it must change nothing
SHARED_MEMORY = "/dev/shm"


def scratch():
    """A folder for the processes that run programs; it goes when the result does."""
    return tempfile.TemporaryDirectory(dir=SHARED_MEMORY if os.path.isdir(SHARED_MEMORY) else None)


def enter(folder):
    """Makes a folder in `folder` current that no other process uses."""
    own = os.path.join(folder, str(os.getpid()))
    os.mkdir(own)
    os.chdir(own)
    resource.setrlimit(resource.RLIMIT_FSIZE, (BYTES_MAX, BYTES_MAX))


def write_files(files):
    for name, text in files.items():
        if "/" in name:
            os.makedirs(os.path.dirname(name), exist_ok=True)
        with open(name, "wb") as file:
            file.write(text)


def read_file(name):
    with open(name, "rb") as file:
        return file.read()


def outcome(program, words, seconds=SECONDS):
    """(status, output, messages, text of the output file) of one run; standard input is in.c too."""
    flags = os.O_WRONLY | os.O_CREAT | os.O_TRUNC
    streams = [("in.c", os.O_RDONLY), ("stdout", flags), ("stderr", flags)]
    actions = [(os.POSIX_SPAWN_OPEN, fd, name, mode, 0o644) for fd, (name, mode) in enumerate(streams)]
    if os.path.exists("out.i"):
        os.unlink("out.i")
    environment = {"PATH": os.environ["PATH"], "TZ": "UTC", "ASAN_OPTIONS": "detect_leaks=0"}
    pid = os.posix_spawn(program, ["cpp", *words], environment, file_actions=actions)
    ended = []
    signal.signal(signal.SIGALRM, lambda *_: ended or os.kill(pid, signal.SIGKILL))
    signal.alarm(seconds)
    status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
    ended.append(True)
    signal.alarm(0)
    written = read_file("out.i") if os.path.exists("out.i") else None
    return status, read_file("stdout"), read_file("stderr"), written


def judge(programs, files, words, seconds=SECONDS):
    """"" if both runs end by themselves and agree, else what is wrong; with the outcomes."""
    write_files(files)
    outcomes = []
    for program in programs:
        outcomes.append(outcome(program, words, seconds))
        words = [TRACE if word == TRACE_EXPANSIONS else word for word in words]
        status = outcomes[-1][0]
        if status not in (0, 1):
            return "does not end" if status == -signal.SIGKILL else f"status {status}", [outcomes[-1]] * 2
    for what, one, other in zip(("status", "output", "messages", "output file"), *outcomes):
        if one != other:
            return what + " differs", outcomes
    return "", outcomes


def shorten(pieces, fails):
    """What is left of `pieces` when all are gone without which it still fails."""
    size = len(pieces)
    while size > 0:
        at = 0
        while at < len(pieces):
            rest = pieces[:at] + pieces[at + size :]
            if len(rest) < len(pieces) and fails(rest):
                pieces = rest
            else:
                at += size
        size //= 2
    return pieces


def minimise(programs, files, words):
    """Files and words without the lines, words and tokens that the same failure does not need, as far as a
    minute goes."""
    fault = judge(programs, files, words)[0]

    deadline = time.monotonic() + SECONDS_TO_MINIMISE

    def fails(new_files, new_words):
        return time.monotonic() < deadline and judge(programs, new_files, new_words, SECONDS_MADE_SMALL)[0] == fault

    for pattern in (rb"[^\n]*\n|[^\n]+$", rb"\w+|\s|[^\w\s]+"):
        for name in files:
            pieces = re.findall(pattern, files[name])
            if b"".join(pieces) == files[name]:
                left = shorten(pieces, lambda rest: fails({**files, name: b"".join(rest)}, words))
                files = {**files, name: b"".join(left)}
        words = shorten(words, lambda rest: fails(files, rest))
    return files, words


def differing(texts):
    """The lines of both texts from the first that differs on, three of each at most."""
    lines = [(text or b"").split(b"\n") for text in texts]
    same = 0
    while all(same < len(one) for one in lines) and lines[0][same] == lines[1][same]:
        same += 1
    return "\n".join(f"  {sign} {line!r}" for sign, one in zip("-+", lines) for line in one[same : same + 3])


def report(programs, files, words):
    """What a person needs to look at a failure: the input made small, and where the outcomes part."""
    files, words = minimise(programs, files, words)
    fault, outcomes = judge(programs, files, words, SECONDS_MADE_SMALL)
    text = f"{fault}: cpp {' '.join(map(repr, words))}\n"
    for name, content in files.items():
        if content:
            text += f"  {name}:\n" + "".join(f"    {line!r}\n" for line in content.splitlines(keepends=True))
    for index, what in enumerate(("status", "output", "messages", "output file")):
        one, other = outcomes[0][index], outcomes[1][index]
        if one != other:
            text += f"  {what}:\n" + (differing((one, other)) if index else f"  - {one}\n  + {other}") + "\n"
        elif not fault.endswith("differs") and what == "messages":
            text += f"  {what}: {one[-2000:].decode('latin1')}\n"
    return text
