"""What the programs of bench/ share: the folder of their files, the generator, and runs that are measured."""
import os
import pathlib
import statistics
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
FOLDER = HERE.parent / "build" / "bench"
SAID = FOLDER / "said"


def stop(text):
    sys.exit("%s: %s" % (pathlib.Path(sys.argv[0]).name, text))


def prepare():
    """Builds the measuring program."""
    FOLDER.mkdir(parents=True, exist_ok=True)
    subprocess.run(["gcc", "-O2", "-static", "-o", FOLDER / "measure", HERE / "measure.c"], check=True)


def generate(folder, scale=1):
    """Writes the sources into the folder; gives [(name, bytes, what it is)]."""
    subprocess.run([HERE / "generate", folder, str(scale)], check=True)
    rows = [line.rstrip("\n").split(" ", 2) for line in open(folder / "workloads", encoding="ascii")]
    return [(name, int(size), text) for name, size, text in rows]


def measure(command, folder):
    """Runs the command in the folder once; gives (seconds of processor time, peak kB). It must succeed in silence."""
    done = subprocess.run([FOLDER / "measure", SAID, *command], cwd=folder, stdout=subprocess.PIPE, text=True, check=True)
    user, system, peak, status = map(int, done.stdout.split())
    if status != 0 or SAID.stat().st_size:
        text = SAID.read_text(errors="replace")
        stop("%s: status %d\n%s" % (" ".join(map(str, command)), os.waitstatus_to_exitcode(status), text[:400]))
    return (user + system) / 1e6, peak


def median(runs):
    """Medians of the times and of the peaks that measure() gave."""
    return statistics.median(time for time, _ in runs), statistics.median(peak for _, peak in runs)
