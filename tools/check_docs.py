#!/usr/bin/env python3
"""Checks the comments of the public headers against what they declare; scripts/check-docs tells the rules."""
import pathlib
import re
import sys

HEADERS = ["isofield_host.h", "isofield.h", "isofield_default_host.h"]
NAME = r"[A-Za-z_]\w*"
# What indented lines tell of besides arguments and members: kinds of cells, with their order or without;
# grids, beside "cell sets"; and the operators whose oddities the chapter on derivatives lists.
TABLE_WORD = re.compile(
    r"((line|tri|quad|tet|pent|prism|pyr|hex)(_[12])?|grids|curl|gradient|surfaces|zeros)$"
)
# K in a name stands for a kind of cell.
KINDS = ["tet", "prism", "pyr", "hex", "tri", "quad"]
# One that returns a function, a pointer to one, and a plain one.
FUNCTION = re.compile(
    rf"\(\*({NAME})\((.*)\)\)\(void\)$|\(\*({NAME})\)\((.*)\)$|({NAME})\((.*)\)$", re.S
)
LIBRARY_NAME = re.compile(
    r"\b(?:(?:UTIL|CUT|CONT|ARR|ERR|OM|MAT|DTYPE)[a-z]|ISOtrace|FLD_|isohost_|Isohost)\w+"
)


class Macros:
    """The headers' own function-like macros, which declare families."""

    def __init__(self):
        self.macros = {}

    def define(self, directive):
        found = re.match(rf"#define ({NAME})\(([^)]*)\)(.*)", directive.replace("\\\n", " "), re.S)
        if found:
            self.macros[found[1]] = (split(found[2]), found[3])

    def expand(self, code):
        for call in re.finditer(rf"({NAME})\(", code):
            if call[1] in self.macros:
                end = next(i for i in range(call.end(), len(code) + 1) if balanced(code[call.start() : i]))
                names, body = self.macros[call[1]]
                values = dict(zip(names, split(code[call.end() : end - 1])))
                body = re.sub(rf"\b{NAME}\b", lambda word: values.get(word[0], word[0]), body)
                return self.expand(code[: call.start()] + re.sub(r"\s*##\s*", "", body) + ";" + code[end:])
        return code


def balanced(code):
    return code.count("(") == code.count(")") and code.count("{") == code.count("}")


def split(text):
    """The elements of a list, where commas in brackets do not part them."""
    parts = [""]
    for piece in text.split(","):
        parts[-1] += piece
        if balanced(parts[-1]):
            parts.append("")
        else:
            parts[-1] += ","
    return [part.strip() for part in parts[:-1]]


def declared_name(text):
    found = re.search(rf"\(\*({NAME})\)\(", text) or re.search(rf"({NAME})(\[\w*\])*$", text)
    return found[1] if found else ""


class Run:
    """Declarations that no blank line and no comment parts, and the comment right before them."""

    def __init__(self, line, comment, chapter):
        self.line, self.comment, self.chapter = line, comment, chapter
        self.names, self.parameters, self.uncommented = [], set(), []

    def add(self, raw, code):
        record = re.search(r"\b(?:struct|union) (\w+) \{(.*)\}", raw, re.S)
        if record:
            if not self.comment:
                self.uncommented.append(record[1])
            self.names.append(record[1])
            self.add_members(record[1], record[2])
            return
        for text in code.split(";"):
            text = re.sub(r"\bISOFIELD(_HOST)?_API\b|^typedef\b", "", text.strip()).strip()
            function = FUNCTION.search(text)
            if function:
                name, arguments = [group for group in function.groups() if group is not None]
                self.names.append(name)
                self.parameters.update(declared_name(each) for each in split(arguments))
                self.parameters -= {"", "void"}
            elif text and not re.match(r"struct \w+ \w+$", text):
                self.names.append(declared_name(text))

    def add_members(self, record, body):
        commented = False
        for piece in re.finditer(r"/\*.*?\*/|[^;/]+;([ \t]*/\*.*?\*/)?", body, re.S):
            if piece[0].startswith("/*"):
                commented = True
                continue
            declaration = piece[0].partition(";")[0]
            method = "(" in declaration
            for each in [declaration] if method else declaration.split(","):
                name = declared_name(each.strip())
                self.names.append(name)
                # Methods are told of by the record's comment, or by the operation that calls them.
                if not (commented or piece[1] or method):
                    self.uncommented.append(f"{record}::{name}")
            commented = False


def without_comments(text):
    return re.sub(r"/\*.*?\*/", "", text, flags=re.S).strip()


def complete(kind, text):
    if kind == "comment":
        return "*/" in text
    if kind == "directive":
        return not text.endswith("\\")
    code = without_comments(text)
    return balanced(code) and code.endswith((";", ")"))


def pieces(text):
    """(line, kind, text) of a header's blank lines, comments, directives and declarations, in order."""
    lines = text.split("\n")
    at = 0
    while at < len(lines):
        start, first = at, lines[at]
        at += 1
        if first in ('extern "C" {', "}"):
            continue
        kind = {"/*": "comment", "": "blank"}.get(first.strip()[:2], "declaration")
        kind = "directive" if first.startswith("#") else kind
        while kind != "blank" and not complete(kind, "\n".join(lines[start:at])):
            at += 1
        yield start + 1, kind, "\n".join(lines[start:at])


class Header:
    def __init__(self, path):
        self.path = path
        self.comments = []  # (line, text, chapter, the run that it stands before, or None)
        self.runs = []
        self.chapters = []
        macros, run, comment = Macros(), None, None
        for line, kind, text in pieces(path.read_text()):
            if kind == "blank":
                run = comment = None
            elif kind == "comment":
                run, comment = None, self.add_comment(line, text)
            elif not run:
                run = Run(line, comment[1] if comment else None, len(self.chapters))
                self.runs.append(run)
                if comment:
                    comment[3] = run
            if kind == "directive":
                macros.define(text)
            elif kind == "declaration":
                run.add(text, macros.expand(without_comments(text)))

    def add_comment(self, line, text):
        """Keeps a comment, and gives it back unless it is a title alone, which documents nothing."""
        title = re.match(r"/\* (?:=+\n \* (.+)|---- (.+?) -)", text)
        if title:
            self.chapters.append(title[1] or title[2])
        self.comments.append([line, text, len(self.chapters), None])
        alone = re.fullmatch(r"/\* (=+\n \* .+\n \* =+|---- .+? -+) \*/", text)
        return None if alone else self.comments[-1]


def argument_names(comment):
    """The names that the comment's indented lines explain, with their line within it."""
    for at, line in enumerate(comment.split("\n")):
        found = re.match(rf" \*   ({NAME}(?:(?:, | to ){NAME})*)(?:  |$)", line)
        for name in re.split(", | to ", found[1]) if found else []:
            yield at, name


def names_of_kinds(name):
    """What a name of the case tables stands for, where K stands for a kind of cell."""
    return {name} | {re.sub("_K$", "_" + kind, name) for kind in KINDS}


def contents(header):
    """Findings about the table of chapters in a header's first comment."""
    table = re.search(r"\n \* CONTENTS\n \*\n((?: \*   .*\n)+)", header.comments[0][1])
    listed = re.findall(r"^ \*   (\S.*?)  ", table[1], re.M) if table else header.chapters
    for title in sorted(set(listed) - set(header.chapters)):
        yield 1, f"the contents list a chapter that is not there: {title}"
    for title in header.chapters:
        if title not in listed:
            yield 1, f"a chapter is missing in the contents: {title}"
    if table and [title for title in listed if title in header.chapters] != header.chapters:
        yield 1, "the contents are not in the order of the chapters"


def declarations(header, told_everywhere):
    """Findings about names without a comment, and arguments that none explains up to there in the chapter."""
    for run in header.runs:
        if run.names and not run.comment:
            yield run.line, "no comment: " + ", ".join(run.names[:4])
        for member in run.uncommented:
            yield run.line, f"no comment: {member}"
        told = [each for each in header.comments if each[2] == run.chapter and each[0] <= run.line]
        words = set(re.findall(NAME, " ".join(text for _, text, _, _ in told)))
        for name in sorted(run.parameters - words - told_everywhere):
            yield run.line, f"an argument of {run.names[0]} that no comment explains: {name}"


def comments(header, known):
    """Findings about what comments name and the headers do not declare."""
    names = known | {name[: end.start()] for name in known for end in re.finditer("_", name)}
    for line, text, chapter, run in header.comments:
        here = set()
        for other in header.runs:
            # The comment at a chapter's head tells of all of it.
            if other is run or (other.chapter == chapter and (not run or text.startswith("/* ="))):
                here |= other.parameters | set(other.names)
        for at, name in argument_names(text):
            if chapter and not (names_of_kinds(name) & here or TABLE_WORD.match(name)):
                yield line + at, f"nothing of that name is declared here: {name}"
        for at, each in enumerate(text.split("\n")):
            for name in re.findall(rf"`({NAME})`", each):
                if name not in here | known:
                    yield line + at, f"nothing of that name: {name}"
            for name in LIBRARY_NAME.findall(each):
                # Families may be told by what their names begin with.
                if not names_of_kinds(name.removesuffix("_")) & names:
                    yield line + at, f"no such name in the library or its hosts: {name}"


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    folders = [pathlib.Path(argument) for argument in sys.argv[1:]] or [root / "include", root / "host"]
    headers = [Header(next(f / name for f in folders if (f / name).exists())) for name in HEADERS]
    known = {name for header in headers for run in header.runs for name in run.names}
    parameters = {name for header in headers for run in header.runs for name in run.parameters}
    glossary = headers[HEADERS.index("isofield.h")].comments[0][1].partition("\n * ARGUMENTS ")[2]
    told_everywhere = {name for _, name in argument_names(glossary)}
    strangers = told_everywhere - parameters
    findings = [f"no function has this argument of the glossary: {name}" for name in strangers]
    for header in headers:
        found = [
            *contents(header),
            *declarations(header, told_everywhere),
            *comments(header, known | told_everywhere),
        ]
        findings += [f"{header.path}:{line}: {text}" for line, text in sorted(found)]
    print(*findings, f"{len(known)} names, {len(findings)} findings", sep="\n")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
