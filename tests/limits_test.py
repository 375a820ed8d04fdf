#!/usr/bin/env python3
"""Inputs at the limits, one below and one above, and deep inputs: each ends in time, with status 0 or 1 and no signal."""
import os, pathlib, re, resource, subprocess, sys, tempfile

PROGRAM = os.path.abspath(os.environ["CPP_PROGRAM"])
CUT = "1" * 10239  # what one read of a line takes
BLOCK = ";" * 8000
BIG = lambda n: "".join(BLOCK + "\\\n" for _ in range(n // 8000)) + ";" * (n % 8000)
ARG = lambda n: "".join(BLOCK + "\n" for _ in range(n // 8000)) + ";" * (n % 8000 - n // 8000)
CHAIN = lambda n: "".join(f"#define M{i} M{i + 1}\n" for i in range(1, n)) + f"#define M{n} w\nM1|\n"
TOO_DEEP = r'recursive preprocessor macro definition of "{}" defined by "{}"'
CASES = [  # name, in.c, pattern of the last line of output, pattern of the first message or "", arguments
    ("31 conditionals", "#if 0\n" * 31 + "#endif\n" * 31 + "x\n", "x", ""),
    ("32 conditionals", "#if 0\n" * 32, "", r"in.c: 32: \(144\) too many nested #if blocks \(error\)"),
    ("source name of 1030", "__FILE__\n", '"f{1023}"', "", ["-F" + "f" * 1030]),
    ("name of 1100", "", "#define a{1100} 1", "", ["-dM", "-U__DATE__", "-U__TIME__", "-U__STDC__", "-D" + "a" * 1100]),
    ("255 directories", "#include <x.h>\n", "h", "", ["-Id"] * 254 + ["-I."]),
    ("256 directories", "", "", r": : \(147\) too many #include directories specified \(error\)", ["-Id"] * 256),
    ("path of 1023", '#include "./' + "././" * 254 + '//x.h"\n', "h", ""),
    ("path of 1024", '#include "./' + "././" * 254 + '///x.h"\n', "", r"in.c: 1: \(146\) #include filename too long \(error\)"),
    ("joined path of 1024", "#include <" + "a" * 1021 + ">\n", "", r".*\(146\)", ["-Idd"]),
    ("1,250 directories passed over", "#include <x.h>\n" * 5, "h", "", ["-Iq"] * 250 + ["-I."]),
    ("directory and absolute name of 32766", "#include </../../../x.h>\n", "", r".*\(141\)", ["-I" + "d" * 32753]),
    ("directory and absolute name of 32767", "#include </../../../x.h>\n", "", r".*\(146\)", ["-I" + "d" * 32754]),
    ("name of 2048", '#include "' + "a" * 2048 + '"\n', "", r".*\(146\)"),
    ("body of 32767", "#define X \\\n" + BIG(32767) + "\ny\n", "y", ""),
    ("body of 32768", "#define X \\\n" + BIG(32768) + "\ny\n", "", r'.*\(156\) work buffer ";{480}'),
    ("bodies of 65536 in arguments", "#define I(x) x\nI(\n" + ARG(72000) + "\n)\n", "",
     r"in.c: 11: \(149\) preprocessor macro work area overflow \(error\)"),
    ("the area given back", "#define I(x) x\n" + ("I(\n" + ARG(24000) + "\n)\n") * 20 + "I(" * 900 + "z" + ")" * 900, "z", ""),
    ("text of 10239", "#define X \\\n" + BIG(10239) + "\nX\n", ";{10239}", ""),
    ("text of 10240", "#define X \\\n" + BIG(10240) + "\nX\n", "", r'X: 4: \(153\) out of space in preprocessor macro "X" arg'),
    ("# of 10237", "#define S(x) #x\nS(\n" + ARG(10237) + "\n)\n", '";{8000} ;{2236}"', ""),
    ("# of 10238", "#define S(x) #x\nS(\n" + ARG(10238) + "\n)\n", "", r'S: 5: \(153\) out of space'),
    ("lines of 10238 to 10240", CUT[1:] + f"\n{CUT}\n{CUT}2\n__LINE__\n", "6", ""),
    ("a comment sign and a backslash over the cut", CUT[1:] + "//x\n" + CUT[1:] + "\\\n__LINE__ \n__LINE__\n", "6", ""),
    ("chain of 999", CHAIN(999), r"w\|", ""),
    ("chain of 1000", CHAIN(1000), r"M1000\|", r"M999: 1001: \(115\) " + TOO_DEEP.format("M1000", "M1")),
    ("depth left by a call, of which a kept text knows nothing", "#define W(x) (x)\n" + CHAIN(1000) + "W((1)) M1 M1 W(1) M1|\n",
     r"\(\(1\)\) w M1000 \(1\) M1000\|", r".*\(115\)"),
    ("998 non-calls", "#define F(x) x\n#define M " + "F;" * 998 + "\nM|\n", r"(F;){998}\|", ""),
    ("999 non-calls", "#define F(x) x\n#define M " + "F;" * 999 + "\nM|\n", r"(F;){998}F\|", r".*\(115\) " + TOO_DEEP.format("F", "M")),
    ("1,500 non-calls in a file", "#define F(x) x\n" + "F;" * 1500 + "\n", "(F;){1500}", ""),
    ("996 texts that end behind a call", "#define C x\n#define N C;\n#define M N\n#define Z " + "M " * 996 + "\nZ|\n", r"(x; ){995}x;\|", ""),
    ("997", "#define C x\n#define N C;\n#define M N\n#define Z " + "M " * 997 + "\nZ|\n", r"(x; ){996}C\|", r"N: 5: \(115\)"),
    ("calls ahead of an argument", "#define F(x) x\n#define C() c\n#define N(x) C()x ;\n#define M " + "N(1)F;" * 1200 + "\nM|\n", r"(c1 ;F;){1200}\|", ""),
    ("non-calls that push", "#define F(x) x\n#define M " + "F ;" * 2000 + "\nM\n", r"(F ;){2000}", ""),
    ("calls that end a text", "#define C x\n#define B C\n#define M " + "B " * 998 + "\nM|\n", r"(x ){997}C\|", r"B: 4: \(115\)"),
    ("arguments that end in a macro", "#define C y\n#define B C\n#define N(x) x C\n#define M " + "N(B)" * 997 + "\nM|\n", r"(y y){997}\|", ""),
    ("one more", "#define C y\n#define B C\n#define N(x) x C\n#define M " + "N(B)" * 998 + "\nM|\n", r"(y y){997}C\|", r"B: 5: \(115\)"),
    ("argument frames", "#define F(x) x\n#define M(x) " + "x F;" * 1500 + "\nM(1)|\n", r"(1 F;){1500}\|", ""),
    ("300 open calls of one macro", "#define f(x) [x]\n" + "f(" * 300 + "1" + ")" * 300 + "\n", r"\[{300}1\]{300}", ""),
    ("20,000 macros", "".join(f"#define r{i} {i}\n" for i in range(20000)) + "r1 r19999\n", "1 19999", ""),
    ("every second of 1,000 names removed", "".join(f"#define u{i}x {i}\n" for i in range(1000)) +
     "".join(f"#undef u{i}x\n" for i in range(0, 1000, 2)) + " ".join(f"u{i}x" for i in range(1000)) + "\n",
     " ".join(str(i) if i % 2 else f"u{i}x" for i in range(1000)), ""),
    ("a NUL ahead of the end of a block, the newline behind it", "x\n" * 32760 + "12345678\0abcdefghijk\n", "12345678", ""),
    ("100,000 lines of backslashes", "\\\\\n" * 100000 + "a\n", None, r"in.c: \d+: \(159\) too many calls to unget\(\)"),
    ("backslashes in -D", "X\n", None, None, ["-DX=" + "\\" * 10000]),
    ("backslashes in an argument", "#define I(x) x\nI(" + "\\" * 65000 + ")\n", None, None),
    ("a file that includes itself", '#include "in.c"\n', "", r'in.c: 1: \(141\) can\'t open include file "in.c": Too many open'),
    ("1,000 includes", "#if __INCLUDE_DEPTH < 1\n#endif\n" + '#include "n0.h"\n', "deep", ""),
    ("word of 2048 in an argument file", "X\n", "1{2043}", r"\(917\) argument too long", ["@args"]),
]


def run(folder, source, args):
    pathlib.Path(folder, "in.c").write_text(source)
    done = subprocess.run([PROGRAM, "-E1", *args, "in.c"] if args != ["@args"] else [PROGRAM, *args], cwd=folder,
                          capture_output=True, timeout=60)
    return done.returncode, done.stdout.decode("latin1"), done.stderr.decode("latin1")


failed = 0
resource.setrlimit(resource.RLIMIT_NOFILE, (1024, resource.getrlimit(resource.RLIMIT_NOFILE)[1]))
with tempfile.TemporaryDirectory() as folder:
    for i in range(1000):
        pathlib.Path(folder, f"n{i}.h").write_text(f'#include "n{i + 1}.h"\n' if i < 999 else "deep\n")
    pathlib.Path(folder, "q/x.h").mkdir(parents=True)
    pathlib.Path(folder, "x.h").write_text("h\n")
    pathlib.Path(folder, "args").write_text("-E1\n-DX=" + "1" * 2044 + "2 in.c\nin.c\n")
    for name, source, out, err, *args in CASES:
        status, text, messages = run(folder, source, args[0] if args else [])
        good = status in (0, 1) and (err is None or status == bool(err))
        if out is not None: good = good and re.fullmatch(out, text.rstrip("\n").split("\n")[-1] if out else "")
        if err is not None: good = good and (bool(re.match(err, messages)) if err else messages == "")
        if good: continue
        failed += 1
        print(f"{name}: status {status}\n  output ...{text[-200:]!r}\n  messages {messages[:300]!r}")
sys.exit(failed > 0)
