#!/usr/bin/env python3
"""Every message of the program is expected by a test, with its line, or stands in the table of those no input can raise."""
import pathlib, re, sys

TESTS = pathlib.Path(__file__).parent
RAISED = set(map(int, """1 3 100 101 102 103 104 105 106 107 108 109 110 111 112 113 114 115 116 117 118 119 120 121 122 123
124 125 126 127 128 129 130 131 132 133 134 137 138 139 141 144 146 147 148 149 150 151 152 153 155 156 158 159 161 162 163
164 165 166 167 168 169 171 172 174 175 177 179 180 296 917 990 1342 1427 1445 1446 1447 1448 1449 1470 1486 1500 1501 1502
1503 2035""".split()))
UNREACHABLE = {  # checks of the program's own state
    150: "an entry is a plain macro or one of the predefined kinds, and each kind has its branch",
    152: "a name is hidden while its text is read, so nothing changes the parameters that this text refers to",
    155: "an operand has at most 255 units, two of them never fill the work buffer",
    158: "each end of a macro's text follows its beginning",
}
UNNUMBERED = {1: "too many errors (", 3: "Malformed error information", 1445: "#advisory: ", 1446: "#info: "}


def expected_texts():
    for path in TESTS.glob("cases/*.txt"):
        yield from re.findall(r"^-- (?:err|wrote).*\n((?:(?!-- |== ).*\n)*)", path.read_text("latin1"), re.M)
    for path in [*TESTS.glob("cases/*.rows"), *TESTS.glob("*_test.*"), *TESTS.glob("unit/*.cpp")]:
        if path.name != pathlib.Path(__file__).name: yield path.read_text("latin1").replace("\\(", "(").replace("\\)", ")")


everything = "\n".join(expected_texts())
found = {int(number) for number in re.findall(r"[(\"](\d{3,4})[)\"]", everything)}
found |= {number for number, text in UNNUMBERED.items() if text in everything}
missing = sorted(RAISED - found - set(UNREACHABLE))
reached = sorted(found & set(UNREACHABLE))
if missing: print("no test expects message", *missing)
if reached: print("a test expects a message that is called unreachable:", *reached)
sys.exit(bool(missing or reached))
