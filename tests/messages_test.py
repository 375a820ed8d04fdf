#!/usr/bin/env python3
"""Every message of the program is expected by a test, with its line, or stands in the table of those no input can raise."""
import pathlib, re, sys

TESTS = pathlib.Path(__file__).parent
SOURCES = [*TESTS.glob("../preprocessor/*.*"), *TESTS.glob("../common/*.*")]
UNREACHABLE = {  # checks of the program's own state
    150: "an entry is a plain macro or one of the predefined kinds, and each kind has its branch",
    152: "a name is hidden while its text is read, so nothing changes the parameters that this text refers to",
    155: "an operand has at most 255 units, two of them never fill the work buffer",
    158: "each end of a macro's text follows its beginning",
}
UNNUMBERED = {1: "too many errors (", 3: "Malformed error information", 1445: "#advisory: ", 1446: "#info: "}


def code_of(path):
    """The file without comments and without what stands in quotes."""
    quoted = r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|//[^\n]*'
    return re.sub(quoted, lambda match: "" if match[0][0] == "/" else "0", path.read_text())


def arguments(code, at):
    """The texts between the commas of the list whose opening parenthesis stands ahead of `at`."""
    depth, found = 1, [""]
    for c in code[at:]:
        depth += (c in "([{") - (c in ")]}")
        if depth == 0: return [" ".join(argument.split()) for argument in found]
        if c == "," and depth == 1: found.append("")
        else: found[-1] += c


def raised_numbers():
    """Follows each number to the literals that it comes from, through all functions that pass a parameter on."""
    code = {path.name: code_of(path) for path in SOURCES}
    headers = "".join(text for name, text in code.items() if name.endswith(".h"))
    todo = [(name, 0, "alert.h") for name in re.findall(r"\b(alert_v\w+)\(unsigned number", code["alert.h"])]
    raisers, numbers, lost = set(todo), set(), set()
    while todo:
        raiser, position, home = todo.pop()
        shared = re.search(rf"\b{raiser}\(", headers)
        for name, text in code.items():
            for use in re.finditer(rf"(?<![\w.]){raiser}\b(\()?", text) if shared or name == home else []:
                given = arguments(text, use.end())[position] if use[1] else "as a value"
                if re.fullmatch(r"(unsigned|std::uint32_t) \w+", given): continue  # its own head
                head = [*re.finditer(r"^(?! |return\b)[\w:<>*&. ]+\b(\w+)\(", text[:use.start()], re.M)][-1]
                parameters = [parameter.split()[-1] for parameter in arguments(text, head.end()) if parameter]
                for choice in re.split(" : ", given.split(" ? ", 1)[-1]):
                    if re.fullmatch(r"\d+u?", choice): numbers.add(int(choice.strip("u")))
                    elif choice in parameters: todo += {(head[1], parameters.index(choice), name)} - raisers
                    else: lost.add(f"{name}: {head[1]} raises what this test can't follow: {raiser}, {given}")
                raisers |= set(todo)
    return numbers, lost


def expected_texts():
    for path in TESTS.glob("cases/*.txt"):
        yield from re.findall(r"^-- (?:err|wrote).*\n((?:(?!-- |== ).*\n)*)", path.read_text("latin1"), re.M)
    for path in [*TESTS.glob("cases/*.rows"), *TESTS.glob("*_test.*"), *TESTS.glob("unit/*.cpp")]:
        if path.name != pathlib.Path(__file__).name: yield path.read_text("latin1").replace("\\(", "(").replace("\\)", ")")


everything = "\n".join(expected_texts())
found = {int(number) for number in re.findall(r"[(\"](\d{3,4})[)\"]", everything)}
found |= {number for number, text in UNNUMBERED.items() if text in everything}
raised, lost = raised_numbers()
rows = {int(row) for row in re.findall(r"^(\d+)", TESTS.joinpath("../dat/en_msgs.txt").read_text("latin1"), re.M)}
rowless = sorted(raised - rows)
missing = sorted(raised - found - set(UNREACHABLE))
reached = sorted(found & set(UNREACHABLE))
if missing: print("no test expects message", *missing)
if reached: print("a test expects a message that is called unreachable:", *reached)
if rowless: print("no row for message", *rowless)
for line in sorted(lost): print(line)
sys.exit(bool(missing or reached or rowless or lost))
