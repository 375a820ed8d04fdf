#!/usr/bin/env python3
"""The manual pages: their examples give what they show, no option, word or message is missing, what is made is current."""
import os, pathlib, re, shutil, subprocess, sys, tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCS = ROOT / "docs"
if not shutil.which("mandoc"): print("skipped: no mandoc on this machine"), sys.exit(77)
scratch = pathlib.Path(tempfile.mkdtemp())
os.symlink(os.path.realpath(os.environ["CPP_PROGRAM"]), scratch / "qv4-cpp")
os.chdir(scratch)
os.environ["PATH"] = f"{scratch}:{os.environ['PATH']}"
failures = []


def check(what, expected, actual):
    if expected != actual: failures.append(f"{what}: expected\n{expected}\nactual\n{actual}")


def run(command):
    return subprocess.run(command, shell=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True).stdout


def plain(text):
    for escape, character in ("\\(aq", "'"), ("\\(dq", '"'), ("\\-", "-"), ("\\&", ""), ("\\e", "\\"):
        text = text.replace(escape, character)
    return text


def run_example(command, shown):
    verb, _, rest = command.partition(" ")
    if verb == "export": os.environ[rest.split("=")[0]] = rest.split("=", 1)[1].strip("'")
    elif verb == "cat" and not os.path.exists(rest): pathlib.Path(rest).write_text(shown)
    else: check(command, shown.rstrip("\n"), run(command).expandtabs().rstrip("\n"))


manual = (DOCS / "qv4-cpp.1").read_text()
for name in "qv4-cpp.1", "qv4-msgs.5":
    for block in re.findall(r"^\.Bd -literal.*\n((?:.*\n)*?)\.Ed", (DOCS / name).read_text(), re.M):
        for command, shown in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", plain(block), re.M): run_example(command, shown)
    complaints = run(f"mandoc -T lint -W style {DOCS}/{name}").splitlines()
    check(f"lint of {name}", [], [line for line in complaints if "Xr qv4-" not in line])  # the other page is not installed
check("tools/manual", "", run(f"{ROOT}/tools/manual {scratch}"))
for name in "qv4-msgs.5", "qv4-cpp.1.html", "qv4-msgs.5.html":
    check(f"docs/{name} is what `make docs` makes", True, (DOCS / name).read_bytes() == pathlib.Path(name).read_bytes())

# every option, mode and debug item of the source has its entry, and is completed; every row of the catalogue is told of
sources = "preprocessor/cpp3.cpp", "common/cmode.cpp", "common/qvdebug.cpp"
options, cmode, debug = [(ROOT / path).read_text() for path in sources]
words = [f"Fl -{name}" for name in re.findall(r'\{"(\w+)=?", ', options.split("kLongOptions")[1])]
words += [f"Fl {letter}" for letter in re.findall(r"case '([A-Z])':", options)]
words += [rf"\b{name}\b" for name in re.findall(r'\{"(\w+)", CMODE', cmode) + re.findall(r'\{(?:DBF_\w+|0), "(\w+)"', debug)]
entries = "\n".join(re.findall(r"^\.It (.*)", manual, re.M))
check("enough words found", True, len(words) > 40)
check("words without an entry", [], [word for word in words if not re.search(word, entries)])
for path in (ROOT / "tools/completion").iterdir():
    names = {re.sub(r"^Fl -?|\\b", "", word) for word in words} - {"default"}
    check(f"words that {path.name} lacks", [], [name for name in names if not re.search(rf"\b{name}", path.read_text())])
rows = dict(re.findall(r"^(\d+)\t\S+\t(.*)", (ROOT / "dat/en_msgs.txt").read_text(), re.M))
page, listed = pathlib.Path("qv4-msgs.5").read_text().split(".Sh MESSAGES OF OTHER")
told = set(re.findall(r"^\.It (\d+),", page, re.M))
spans = [range(int(first), int(last or first) + 1) for first, last in re.findall(r"(\d+)(?:\\\(en(\d+))?", listed)]
check("messages without cause and remedy", set(), {number for number in rows if "another tool" not in rows[number]} - told)
check("rows without an entry", [], [row for row in rows if row not in told and not any(int(row) in span for span in spans)])

# what is said of gcc's options: the list of refused ones, and those that are read as something else without a message
pathlib.Path("in.c").write_text("x\n")
for title, prefix, refused in ("Read as", r"\.It Fl ", False), ("Refused", r"\.Fl ", True):
    part = re.search(rf"^\.Ss {title}.*\n((?:(?!\.S).*\n)*)", manual, re.M)[1]
    named = [option for line in re.findall(rf"^{prefix}(.*)", part, re.M) for option in line.split() if option not in ",."]
    check(f"options under {title}", True, len(named) > 15)
    for option in named: check(f"refused: -{option}", refused, "(168)" in run(f"qv4-cpp -{plain(option)} in.c"))

shutil.rmtree(scratch)
print(*failures, sep="\n")
sys.exit(bool(failures))
