#!/usr/bin/env python3
"""Work grows with the input: four times as much of it takes less than five times the instructions, table by table.

Names are chosen to share a bucket or a chain wherever the hash of a table is known, so that a few hundred are enough.
A factor of less than three says that the input does not do what its name says. With -v all factors are shown.
"""
import os, pathlib, re, shutil, subprocess, sys, tempfile
from concurrent.futures import ThreadPoolExecutor

PROGRAM = os.path.abspath(os.environ["CPP_PROGRAM"])
BIT = lambda i, ones, zeros: "".join(ones if i >> k & 1 else zeros for k in range(12))
ALIKE = lambda i: BIT(i, "bA", "ab")  # one value of the hash of strings for all
PATH = lambda i: BIT(i, "bA/../", "ab/../") + "e.h"  # the same, and for that of the dependency table
CHAIN = lambda i: "m" + "".join(d + str(9 - int(d)) for d in f"{i:06}")  # one chain of the symbol table
LETTERS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
TAIL = lambda i: "prefix" + LETTERS[i // 62] + LETTERS[i % 62]  # names that differ in their last bytes
E = lambda form, name: lambda n: "".join(form.format(name(i)) for i in range(n))  # n lines, each with a name
NUMBER = lambda i: i
X = lambda text: lambda n: text * n
IN = lambda before, text, behind="": lambda n: before + text * n + behind
CASES = [  # name, n, in.c for n, arguments, or "@" for those of the file `args`, then what it holds for n
    ("options -D", 1000, None, "@", E("-D{}\n", ALIKE)),
    ("options -U", 1000, None, "@", E("-U{}\n", ALIKE)),
    ("words of one line", 1000, None, "@", E("-U{} ", ALIKE)),
    ("unknown options", 1000, None, "@", IN("--emax=100000\n", "-q\n")),
    ("--include=", 1000, "", "@", IN("-I.\nin.c\n", "--include=e.h\n")),
    ("-I", 60, "".join("#include <%se.h>\n" % ("./" * k) for k in range(50)), "@", E("-Id{}\n", NUMBER), "-I.\nin.c\n"),
    ("--disl=", 2000, "", "@", IN("in.c\n", "--disl=5,9999:off\n")),
    ("rows of a catalogue", 2500, "", "--edf=args", E("{} E text %s\n", NUMBER)),
    ("catalogues", 200, "", "@", IN("in.c\n", "--edf=e.h\n--edf=in.c\n")),
    ("once a line", 800, lambda n: "".join(f"#line {5 + 65536 * i}\na??(\n" for i in range(n)), "-W-9"),
    ("once a line, the same line", 800, X("#line 5\na??(\n"), "-W-9"),
    ("once a line of one file name", 800, X('#include "./e.h"\n'), "--cmode=gci"),
    ("include files", 500, E('#include "{}"\n', PATH), "-E1"),
    ("dependencies", 500, E('#include "{}"\n', PATH), "-Llist"),
    ("files listed", 500, E('#include "{}"\n', PATH), "-H"),
    ("tracked tables", 500, E('#include "{}"\n', PATH), "--qvdebug=adt,out:t"),
    ("files in lower case", 500, E('#include "./{}ab/../ab/../E.h"\n', lambda i: BIT(i, "./", "//")), "-W-9"),
    ("macros up a chain", 5000, E("#define {} 1\n", CHAIN), "-dM"),
    ("macros down a chain", 5000, E("#define {} 1\n", lambda i: CHAIN(99999 - i)), "-dM"),
    ("a chain emptied", 4000, lambda n: E("#define {} 1\n", CHAIN)(n) + E("#undef {}\n", CHAIN)(n), "-C"),
    ("names alike", 960, lambda n: E("#define {} 1\n", TAIL)(n) + E("{}\n", TAIL)(n), "-C"),
    ("names alike removed", 960, lambda n: E("#define {} 1\n", TAIL)(n) + E("#undef {}\n", TAIL)(n), "-C"),
    ("one macro again and again", 3000, X("#define m 1\n#undef m\n"), "-C"),
    ("other macros again and again", 3000, lambda n: "".join(f"#define m{i}\n#undef m{i}\n" for i in range(n)), "-C"),
    ("redefinitions", 1000, E("#define m {}\n", NUMBER), "-E1"),
    ("parameters", 1000, E("#define m{}(a,b,c,d,e,f,g,h,i,j,k,l,m,n,o,p,q,r,s,t,u,v,w,x,y,z) a z\n", NUMBER), "-C"),
    ("rows of the report", 1000, E("#define f(x) {}\nf(1)\n", NUMBER), "--udf=r.html"),
    ("conditionals", 3000, X("#if 1\n#else\n#endif\n"), "-C"),
    ("skipped groups", 3000, IN("#if 0\n", "a b\n#if 1\n#elif\n#endif\n", "#endif\n"), "-C"),
    ("an expression", 2000, IN("#if ", "1+\\\n", "1\n#endif\n"), "-C"),
    ("a comment", 5000, IN("/*", "x * / \n", "*/"), "-C"),
    ("assembler blocks", 3000, X("#asm\n mov 1\n#endasm\n"), "-C"),
    ("a long line", 20000, X("x "), "-C"),
    ("a continued line", 3000, X("x // y \\\n"), "-C"),
    ("lines with a NUL", 3000, X("ab\0c\n"), "-C"),
    ("literals", 2000, X("\"a\\\"b\" '\\\\' 1.5e3 "), "-C"),
    ("calls", 1000, IN("#define F(x,y) x+y\n", "F(1,F(2,3))\n"), "-C"),
    ("calls within calls", 200, lambda n: "#define f(x) x\n" + "f(" * n + "1" + ")" * n, "-C"),
    ("a chain of macros", 240, lambda n: "".join(f"#define M{i} M{i + 1}\n" for i in range(n)) + "M0\n", "-C"),
    ("an argument", 4000, IN("#define F(x) x\nF(", "a \n", ")\n"), "-C"),
    ("pastes", 400, IN("#define G a", "##b", "\nG\n"), "-C"),
    ("dynamic macros", 1000, X("__FILE__ __LINE__\n"), "-C"),
    ("shown names", 1000, E('#line 1 "f{}"\nx\n', NUMBER), "-C"),
    ("messages of one line", 200, X("??("), "-W-9"),
    ("traced messages", 500, E("#warning {}\n", NUMBER), "--qvdebug=on,alerts,out:t"),
]


def instructions(source, arguments, text):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for sub in "ab", "bA":
            folder.joinpath(sub).mkdir()
        for file, content in ("in.c", source or ""), ("args", text), ("e.h", ""):
            folder.joinpath(file).write_text(content)
        valgrind = ["valgrind", "--tool=callgrind", "--callgrind-out-file=cg", "--log-file=log", PROGRAM]
        run = ["@args"] if arguments == "@" else [arguments, "in.c"]
        with open(folder / "out", "wb") as out:
            done = subprocess.run(valgrind + run, cwd=folder, stdin=subprocess.DEVNULL, stdout=out, stderr=out, timeout=300)
        found = re.search(r"Collected : (\d+)", folder.joinpath("log").read_text())
        return int(found[1]) if found and done.returncode in (0, 1) else None


def measure(case):
    name, n, source, arguments, *parts = case
    made = lambda part, count: part(count) if callable(part) else part
    counts = [instructions(made(source, k), arguments, "".join(made(p, k) for p in parts)) for k in (n, 4 * n)]
    return name, None not in counts and (counts[1] - EMPTY) / (counts[0] - EMPTY), counts


if not shutil.which("valgrind"):
    print("skipped: valgrind is missing")
    sys.exit(77)
EMPTY = instructions("", "-C", "")
if EMPTY is None:
    print("skipped: valgrind does not run this build of the program")
    sys.exit(77)
with ThreadPoolExecutor(2) as pool:
    results = list(pool.map(measure, CASES))
if "-v" in sys.argv:
    for name, factor, counts in results:
        print(f"{name:30}{factor:7.2f} {counts[0]:12,} {counts[1]:12,}")
failed = [f"{name}: {counts}, factor {factor:.2f}" for name, factor, counts in results if not 3 < factor < 5]
print("\n".join(failed))
sys.exit(1 if failed else 0)
