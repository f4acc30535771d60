"""Makes the manual pages velmora.1 and velmora-COMMAND.1 from the help of the command.

usage: man_pages.py VELMORA FOLDER

A help page begins with "velmora NAME: what it does.", then "Usage:" and its continuation lines.
After that come headings at the margin, paragraphs, and lines of an option or a name with its text,
which are indented by two blanks and set apart by two or more.
"""

from __future__ import annotations

import gzip
import re
import subprocess
import sys
from pathlib import Path

ENTRY = re.compile(r"^  (\S.*?)(?:  +(\S.*))?$")


def help_of(command: str, *words: str) -> list[str]:
    """The lines of a help page."""
    page = subprocess.run(
        [command, "help", *words], check=True, capture_output=True, text=True
    )
    return page.stdout.splitlines()


def roff(text: str) -> str:
    """Text whose dashes and dots mean nothing to troff."""
    escaped = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + escaped if escaped[:1] in (".", "'") else escaped


def section(lines: list[str]) -> list[str]:
    """Lines of one section: entries of a list, else lines as they are."""
    page: list[str] = []
    body = [line for line in lines if line.strip()]
    is_list = bool(body) and sum(
        bool(re.match(r"^  (-|\S+ ).*\S  +\S", line)) for line in body
    ) * 3 >= len(body)
    if not is_list:
        return [".nf", *[roff(line) for line in lines], ".fi"]
    for line in body:
        entry = ENTRY.match(line)
        if entry and not line.startswith("   "):
            page += [".TP", f".B {roff(entry[1])}"]
            if entry[2]:
                page.append(roff(entry[2]))
        else:
            page.append(roff(line.strip()))
    return page


def manual_page(name: str, lines: list[str], version: str) -> str:
    """The page in troff of a help page."""
    summary = lines[0].partition(": ")[2] or lines[0]
    page = [f'.TH {name.upper()} 1 "" "velmora {version}" "User Commands"', ".SH NAME"]
    page.append(f"{name} \\- {roff(summary.rstrip('.'))}")
    heading, text = "", list[str]()

    def flush() -> None:
        nonlocal text
        while text and not text[-1].strip():
            text.pop()
        while text and not text[0].strip():
            text.pop(0)
        if text or heading == "SYNOPSIS":
            page.append(f".SH {heading or 'DESCRIPTION'}")
            is_prose = all(not line.startswith("  ") for line in text)
            page.extend(
                [roff(line) or ".PP" for line in text] if is_prose else section(text)
            )
        text = []

    for line in lines[1:]:
        usage = re.match(r"Usage: *(.*)", line)
        is_heading = (
            bool(line)
            and not line.startswith(" ")
            and not line.endswith((".", ","))
            and len(line) < 45
        )
        if usage:
            flush()
            heading, text = "SYNOPSIS", ["  " + usage[1]]
        elif heading == "SYNOPSIS" and not line:
            flush()
            heading = "DESCRIPTION"
        elif is_heading:
            flush()
            heading = roff(line.rstrip(":").upper())
        else:
            text.append(line.removeprefix("     ") if heading == "SYNOPSIS" else line)
    flush()
    page += [
        ".SH SEE ALSO",
        "velmora(1)" if name != "velmora" else "velmora help COMMAND",
    ]
    return "\n".join(page) + "\n"


def commands(overview: list[str]) -> list[str]:
    """Names of the commands, from the overview's list."""
    begin = overview.index("Commands:") + 1
    end = overview.index("", begin)
    return [line.split()[0] for line in overview[begin:end]]


def main(command: str, folder: str) -> None:
    """Writes every page, compressed alike each time."""
    version = subprocess.run(
        [command, "--version"], check=True, capture_output=True, text=True
    )
    number = version.stdout.split()[-1]
    overview = help_of(command)
    pages = {"velmora": overview} | {
        f"velmora-{name}": help_of(command, name) for name in commands(overview)
    }
    Path(folder).mkdir(parents=True, exist_ok=True)
    for name, lines in pages.items():
        text = manual_page(name, lines, number).encode()
        (Path(folder) / f"{name}.1.gz").write_bytes(gzip.compress(text, mtime=0))


if __name__ == "__main__":
    main(*sys.argv[1:])
