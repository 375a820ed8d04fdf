#!/usr/bin/env python3
"""The package under bad conditions: whatever happens, there is the old archive or the new one, and nothing beside it."""
import fcntl, os, pathlib, re, shutil, subprocess, sys, tempfile, time, zipfile

PROGRAM = os.path.abspath(os.environ["CPP_PROGRAM"])
TEXT = "-DX=" + os.urandom(9000).hex()  # so that an entry takes more than one write
PACKAGE = pathlib.Path("p.zip")
NO_FAULT = {"unlink", "exit_group", "mmap", "munmap", "brk"}  # a leftover that can't be removed, the end, memory
failed = 0


def check(what, *actual_and_expected):
    global failed
    half = len(actual_and_expected) // 2
    if actual_and_expected[:half] == actual_and_expected[half:]: return
    failed += 1
    print(f"{what}: got {actual_and_expected[:half]}, expected {actual_and_expected[half:]}")


def command(number): return [PROGRAM, f"--qvdebug=on,num:{number},zip:+p.zip", TEXT, "e.c"]
def start(number): return subprocess.Popen(command(number), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
def messages(run): return run.communicate()[1]
def present(): return sorted(name for name in os.listdir() if name not in ("e.c", "log") and name[:4] != "prep")


def entries(path="p.zip"):
    if not zipfile.is_zipfile(path): return "no archive"
    with zipfile.ZipFile(path) as archive:
        return archive.testzip() or sorted(int(re.sub(r"\D", "", name)) for name in archive.namelist())


def locked(path, flags=os.O_CREAT):
    file = os.open(path, os.O_RDWR | flags)
    fcntl.flock(file, fcntl.LOCK_EX)
    return file


def links():
    os.mkdir("real"); PACKAGE.symlink_to("real/a")
    os.symlink(os.path.abspath("real/b"), "real/a"); os.symlink("two.zip", "real/b")
    messages(start(1))  # the links lead to a file that isn't there yet
    check("mode of a new one", os.stat("real/two.zip").st_mode & 0o777, 0o644)
    os.chmod("real/two.zip", 0o640); os.link("real/two.zip", "real/kept.zip")
    messages(start(2))
    check("through links", entries("real/two.zip"), os.stat("real/two.zip").st_mode & 0o777, [1, 2], 0o640)
    check("the old file", entries("real/kept.zip"), [1])
    check("all files", present(), sorted(os.listdir("real")), ["p.zip", "real"], ["a", "b", "kept.zip", "two.zip"])
    PACKAGE.unlink(); PACKAGE.symlink_to("p.zip"); shutil.rmtree("real")
    check("a circle", "Unable to open" in messages(start(1)), present(), True, ["p.zip"])


def six_at_once():
    for _ in range(10):
        PACKAGE.unlink()
        for run in [start(number) for number in range(1, 7)]: check("messages", messages(run), "")
        check("six at once", entries(), present(), [1, 2, 3, 4, 5, 6], ["p.zip"])


def at_every_call(old):
    """A run that stops, and one where the system refuses, at each of the system calls of its last step."""
    subprocess.run(["strace", "-qq", "-o", "log", *command(2)], stdout=subprocess.PIPE)
    log = pathlib.Path("log").read_text()
    names = re.findall(r"^(\w+)\(", log, re.M)
    check("flushed and renamed, unlocked last", bool(re.search("fsync rename .*unlink close", " ".join(names))), True)
    for i in range(log.split('"p.zip"')[0].count("\n"), len(names)):
        for effect in ["signal=KILL"] + ["error=ENOSPC"] * (names[i] not in NO_FAULT):
            PACKAGE.write_bytes(old) if old else PACKAGE.unlink(missing_ok=True)
            inject = f"inject={names[i]}:{effect}:when={names[:i + 1].count(names[i])}"
            subprocess.run(["strace", "-qq", "-o", "log", "-e", inject, *command(2)], capture_output=True)
            now = PACKAGE.read_bytes() if PACKAGE.exists() else b""
            if now != old: check(inject, entries(), [1, 2] if old else [2])
            if effect != "signal=KILL": check(f"{inject}, leftovers", present(), ["p.zip"] if now else [])
            for name in pathlib.Path().glob(".qv4_*"): name.unlink()


def locks():
    before, began, hold = PACKAGE.read_bytes(), time.monotonic(), locked("p.zip")
    run = start(3)
    while len(present()) < 2 and run.poll() is None: time.sleep(0.01)
    name = present()[0]
    check("no lock", 'Unable to lock package zip (p.zip) to add "preprocessor-3.out"\n' in messages(run), True)
    check("ten seconds", 9 < time.monotonic() - began < 20, PACKAGE.read_bytes() == before, present(), True, True, ["p.zip"])
    os.close(hold)
    hold = locked(name)
    run = start(3)
    time.sleep(0.3)
    os.unlink(name)
    again = locked(name, os.O_CREAT | os.O_EXCL)
    os.close(hold)  # the lock that the run waits for, but the file is not the one of this name any more
    time.sleep(0.3)
    check("waits on", run.poll(), PACKAGE.read_bytes() == before, None, True)
    os.close(again)
    check("then appends", messages(run), present(), entries()[-1], "", ["p.zip"], 3)


if not shutil.which("strace"):
    print("package_replace_test: strace is missing")
    sys.exit(77)
os.umask(0o022)
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    pathlib.Path("e.c").write_text("x\n")
    links()
    six_at_once()
    at_every_call(b"")
    PACKAGE.unlink(missing_ok=True); messages(start(1))
    at_every_call(PACKAGE.read_bytes())
    locks()
sys.exit(failed > 0)
