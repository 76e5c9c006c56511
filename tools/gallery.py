#!/usr/bin/python3
"""gallery.py --tool ISOFIELD --data DIR --include DIR... --lib DIR...: runs what the pages in docs/ show.

Blocks that a ```text block follows are run: ```sh in a directory with the sample data, ```cpp, all in one program, on
the same data as plain arrays. What each says must be that text block, but for seconds. Pictures must be there, of the
size that was asked for, and show something. --update writes the text blocks and pictures into docs/ instead.
Operations without a page, pages out of the index, links to nowhere and pictures of no page are errors.
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import re
import shlex
import shutil
import struct
import subprocess
import sys
import zlib

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
DOCS = ROOT / "docs"
DEFAULT_SIZE = "1200x900"  # of the tool's pictures
LARGEST_PICTURE = 250_000  # bytes
FEWEST_COLOURS = 16
LEAST_INK = 0.04  # of the pixels, those unlike the left end of their row; axes around nothing are 0.016
MARKER = "\x1e"  # before the output of each C++ block

Block = collections.namedtuple("Block", "kind first end")  # lines between the fences


def blocks_of(lines, name):
    """The fenced blocks of a page, in order."""
    found, start = [], None
    for number, line in enumerate(lines):
        if not line.startswith("```"):
            continue
        if start is None:
            start = number
        else:
            found.append(Block(lines[start][3:].strip(), start + 1, number))
            start = None
    if start is not None:
        raise SystemExit(f"gallery: {name}: the block that starts at line {start + 1} has no end")
    return found


def masked(text):
    return re.sub(r"\b\d+\.\d+ s\b", "# s", text)


class Page:
    """A page with its blocks, and what is wrong with it."""

    def __init__(self, path):
        self.path, self.name = path, path.stem
        self.lines = path.read_text(encoding="utf-8").splitlines()
        self.errors = []
        self.said = {}  # per block its output

    def runs(self, kind):
        """The blocks of a kind that are to be run, each with the block of its output."""
        blocks = blocks_of(self.lines, self.path.name)
        return [pair for pair in zip(blocks, blocks[1:]) if pair[0].kind == kind and pair[1].kind == "text"]

    def text(self, block):
        return "\n".join(self.lines[block.first : block.end])

    def pictures(self):
        """Pictures that the commands make, with the sizes asked for."""
        for block, _ in self.runs("sh"):
            for command in self.text(block).replace("\\\n", " ").splitlines():
                words = shlex.split(command)
                if "--png" in words:
                    size = words[words.index("--size") + 1] if "--size" in words else DEFAULT_SIZE
                    yield words[words.index("--png") + 1], size

    def compare(self, update):
        """Holds what was said against the page, or brings it there, the last block first."""
        runs = sorted(self.runs("sh") + self.runs("cpp"), reverse=True, key=lambda run: run[0].first)
        for block, after in runs:
            said = self.said.get(block)
            if said is None or masked(said) == masked(self.text(after)):
                continue
            if update:
                self.lines[after.first : after.end] = said.splitlines()
            else:
                self.errors.append(f"line {after.first}: the page says\n{self.text(after)}\nbut this is\n{said}")
        if update and not self.errors:
            self.path.write_text("\n".join(self.lines) + "\n", encoding="utf-8")


def picture_content(path):
    """Size and rows of the pixels of a PNG of 8 bits a channel."""
    data = path.read_bytes()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("is no PNG")
    place, packed, header = 8, b"", None
    while place < len(data):
        length, kind = struct.unpack(">I4s", data[place : place + 8])
        content = data[place + 8 : place + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", content)
        elif kind == b"IDAT":
            packed += content
        place += 12 + length
    width, height, depth, colour_type = header[:4]
    if depth != 8 or colour_type not in (2, 6):
        raise ValueError(f"has {depth} bits a channel in colour type {colour_type}")
    channels = 3 if colour_type == 2 else 4
    return f"{width}x{height}", unfiltered(zlib.decompress(packed), height, channels, width * channels)


def unfiltered(data, height, step, length):
    above = bytearray(length)
    rows = []
    for number in range(height):
        start = number * (length + 1)
        row = bytearray(data[start + 1 : start + 1 + length])
        undo_filter(data[start], row, above, step)
        rows.append(row)
        above = row
    return rows


def undo_filter(kind, row, above, step):
    """Of the filters of PNG: none, left, above, mean of both, and the nearest to left + above - corner."""
    if kind == 2:
        row[:] = bytes([(x + a) & 255 for x, a in zip(row, above)])
    elif kind == 1:
        for i in range(step, len(row)):
            row[i] = (row[i] + row[i - step]) & 255
    elif kind == 3:
        for i in range(len(row)):
            left = row[i - step] if i >= step else 0
            row[i] = (row[i] + (left + above[i]) // 2) & 255
    elif kind == 4:
        for i in range(step):
            row[i] = (row[i] + above[i]) & 255
        for i in range(step, len(row)):
            left, up, corner = row[i - step], above[i], above[i - step]
            to_left, to_up, to_corner = abs(up - corner), abs(left - corner), abs(left + up - 2 * corner)
            if to_left <= to_up and to_left <= to_corner:
                nearest = left
            else:
                nearest = up if to_up <= to_corner else corner
            row[i] = (row[i] + nearest) & 255


def picture_fault(path, size):
    """What is wrong with a picture, or None."""
    if not path.is_file():
        return "was not made"
    try:
        real_size, rows = picture_content(path)
    except (ValueError, zlib.error, struct.error) as error:
        return str(error)
    if real_size != size:
        return f"is {real_size}, but {size} was asked for"
    step = len(rows[0]) // int(size.split("x")[0])
    colours, ink = set(), 0
    for row in rows:
        pixels = [bytes(row[i : i + step]) for i in range(0, len(row), step)]
        colours.update(pixels)
        ink += len(pixels) - pixels.count(pixels[0])
    if len(colours) < FEWEST_COLOURS or ink < LEAST_INK * len(rows) * len(rows[0]) / step:
        return f"shows next to nothing: {len(colours)} colours, {ink} pixels off the background"
    return None


def run_commands(page, data, work, tool):
    """Runs a page's commands in a directory of its own and looks at its pictures. Returns the page."""
    place = work / page.name
    shutil.rmtree(place, ignore_errors=True)
    (place / ".bin").mkdir(parents=True)
    (place / ".bin" / "isofield").symlink_to(tool)
    for file in data.iterdir():
        (place / file.name).symlink_to(file)
    environment = dict(os.environ, PATH=f"{place / '.bin'}{os.pathsep}{os.environ['PATH']}")
    for block, _ in page.runs("sh"):
        done = subprocess.run(
            ["bash", "-ec", page.text(block)],
            cwd=place,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )
        page.said[block] = done.stdout.rstrip("\n")
        if done.returncode:
            page.errors.append(f"line {block.first}: ends with {done.returncode}\n{done.stdout}")
    for name, size in page.pictures():
        (work / name).unlink(missing_ok=True)
        fault = picture_fault(place / name, size)
        if fault:
            page.errors.append(f"the picture {name} {fault}")
        else:
            shutil.copyfile(place / name, work / name)
    return page


def write_program(pages, path):
    """One function a block. A block's own #include lines come to the top."""
    includes, functions, calls = ['#include "sample_arrays.hpp"'], [], []
    for page in pages:
        for number, (block, _) in enumerate(page.runs("cpp")):
            name = f"{page.name}_{number}"
            lines = page.lines[block.first : block.end]
            includes += [line for line in lines if line.startswith("#include")]
            functions += [f"namespace page_{name} {{", "void run() {", f'#line {block.first + 1} "{page.path.name}"']
            functions += ["" if line.startswith("#include") else line for line in lines]
            functions += ["}", "}", f'#line 1 "{path.name}"']
            calls.append(f'    show("{page.name} {block.first}", page_{name}::run);')
    main = ["int main() {", *calls, "    return failed;", "}"]
    path.write_text("\n".join([*dict.fromkeys(includes), *functions, *main, ""]), encoding="utf-8")


def run_program(source, options):
    """Compiles and runs the C++ blocks. Returns what each said by page and line, and what went wrong."""
    program = source.with_suffix("")
    flags = ["-std=c++20", "-O1", "-Wall", "-Wextra", f"-I{HERE}", *(f"-I{path}" for path in options.include)]
    for path in options.lib:
        flags += [f"-L{path}", f"-Wl,-rpath,{path}"]
    compiled = subprocess.run(
        [options.cxx, *flags, str(source), "-o", str(program), "-lisofield_host", "-lisofield"],
        stderr=subprocess.PIPE,
        text=True,
    )
    if compiled.returncode or compiled.stderr:
        return {}, compiled.stderr
    done = subprocess.run([program], cwd=source.parent / "raw", capture_output=True, text=True)
    if done.returncode:
        return {}, f"{program} ends with {done.returncode}\n{done.stderr}"
    said = {}
    for part in done.stdout.split(MARKER)[1:]:
        head, _, output = part.partition("\n")
        said[tuple(head.split())] = output.rstrip("\n")
    return said, ""


def static_errors(pages, operations):
    """What the pages and the index say of each other, of the pictures and of the operations."""
    names = {page.name for page in pages}
    for operation in operations:
        if operation not in names:
            yield f"docs/{operation}.md: the operation has no page"
    made = {}
    for page in pages:
        for name, _ in page.pictures():
            if name in made:
                yield f"{page.path.name}: {name} is also made by {made[name]}"
            made[name] = page.path.name
            if f"]({name})" not in "\n".join(page.lines):
                yield f"{page.path.name}: makes {name}, but does not show it"
    index = (DOCS / "README.md").read_text(encoding="utf-8")
    for page in pages:
        if f"({page.path.name})" not in index and f'"{page.path.name}"' not in index:
            yield f"docs/README.md: does not lead to {page.path.name}"
    for path in [ROOT / "README.md", *DOCS.glob("*.md")]:
        text = re.sub(r"^```.*?^```", "", path.read_text(encoding="utf-8"), flags=re.DOTALL | re.MULTILINE)
        for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)|(?:src|href)=\"([^\"#]+)\"", text):
            target = target[0] or target[1]
            if "://" not in target and not (path.parent / target).exists():
                yield f"{path.relative_to(ROOT)}: leads to {target}, which is not there"
    for picture in DOCS.glob("*.png"):
        if picture.name not in made:
            yield f"docs/{picture.name}: no page makes it"
        if picture.stat().st_size > LARGEST_PICTURE:
            yield f"docs/{picture.name}: has {picture.stat().st_size} bytes, the most is {LARGEST_PICTURE}"


def operations_of(tool):
    """The operations that the tool's help lists."""
    text = subprocess.run([tool, "--help"], stdout=subprocess.PIPE, text=True, check=True).stdout
    _, _, listed = text.partition("commands:")
    return re.findall(r"^  ([a-z0-9]+)  +\S", text if not listed else listed, re.MULTILINE)


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    path = lambda text: pathlib.Path(text).resolve()
    parser.add_argument("--tool", type=path, required=True)
    parser.add_argument("--data", type=path, required=True, help="the sample data")
    parser.add_argument("--include", type=path, nargs="+", required=True, help="where isofield.hpp and isofield.h are")
    parser.add_argument("--lib", type=path, nargs="+", required=True, help="where the libraries are")
    parser.add_argument("--work", type=path, default=ROOT / "build" / "gallery")
    parser.add_argument("--cxx", default=os.environ.get("CXX", "c++"))
    parser.add_argument("--update", action="store_true", help="write outputs and pictures into docs/")
    parser.add_argument("pages", nargs="*", metavar="PAGE", help="these pages alone, by name")
    return parser.parse_args()


def main():
    options = parse_arguments()
    every_page = [Page(path) for path in sorted(DOCS.glob("*.md")) if path.name != "README.md"]
    pages = [page for page in every_page if not options.pages or page.name in options.pages]
    if unknown := set(options.pages) - {page.name for page in pages}:
        raise SystemExit(f"gallery: docs/ has no page {', '.join(unknown)}")
    options.work.mkdir(parents=True, exist_ok=True)
    subprocess.run([HERE / "raw_samples.py", options.data, options.work / "raw"], check=True)
    source = options.work / "pages.cpp"
    write_program(pages, source)
    errors = []
    with concurrent.futures.ProcessPoolExecutor(max_workers=2) as pool:
        program = pool.submit(run_program, source, options)
        runs = [pool.submit(run_commands, page, options.data, options.work, options.tool) for page in pages]
        pages = [run.result() for run in runs]
        said, fault = program.result()
    if fault:
        errors.append(f"{source}: {fault}")
    for page in pages:
        for block, _ in page.runs("cpp"):
            page.said[block] = said.get((page.name, str(block.first)))
        page.compare(options.update)
        errors += [f"{page.path.name}: {error}" for error in page.errors]
        if options.update:
            for name, _ in page.pictures():
                if (options.work / name).is_file():
                    shutil.copyfile(options.work / name, DOCS / name)
    errors += static_errors(every_page, operations_of(options.tool))
    for error in errors:
        print(f"gallery: {error}", file=sys.stderr)
    pictures = sum(len(list(page.pictures())) for page in pages)
    print(f"{len(pages)} pages, {pictures} pictures, {len(said)} programs; {len(errors)} errors")
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
