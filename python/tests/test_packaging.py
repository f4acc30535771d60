"""Manual pages and the completion of bash say what the command's help says."""

import gzip
import os
import re
import subprocess
import sys
from pathlib import Path

PACKAGING = Path(__file__).parents[2] / "packaging"


def test_manual_pages_have_every_option(command, tmp_path):
    script = PACKAGING / "man_pages.py"
    subprocess.run([sys.executable, script, os.environ["VELMORA_COMMAND"], tmp_path], check=True)
    pages = {page.name: gzip.decompress(page.read_bytes()).decode() for page in tmp_path.iterdir()}
    assert {"velmora.1.gz", "velmora-screen.1.gz", "velmora-bins.1.gz"} <= pages.keys()
    for name, page in pages.items():
        words = name.removesuffix(".1.gz").split("-", 1)[1:]
        sections = re.findall(r"^\.SH (.*)$", page, re.MULTILINE)
        assert sections[:2] == ["NAME", "SYNOPSIS"], name
        # No line of text begins with a character that troff takes for a request of its own.
        requests = set(re.findall(r"^[.']\w*", page, re.MULTILINE))
        assert requests <= {".TH", ".SH", ".TP", ".B", ".nf", ".fi", ".PP"}, name
        plain = page.replace("\\-", "-").replace("\\&", "").replace("\\e", "\\")
        for option in re.findall(r"^  (--[a-z-]+)", command("help", *words), re.MULTILINE):
            assert re.search(rf"^(\.B |  ){option}\b", plain, re.MULTILINE), (name, option)


def test_bash_completes_commands_and_options():
    def completed(*words: str) -> set[str]:
        line = " ".join(f"'{word}'" for word in words)
        code = f". {PACKAGING}/velmora.bash; COMP_WORDS=({line}); COMP_CWORD={len(words) - 1}; _velmora"
        script = f'compopt() {{ :; }}; {code}; printf "%s\\n" "${{COMPREPLY[@]}}"'
        return set(subprocess.run(["bash", "-c", script], capture_output=True, text=True).stdout.split())

    velmora = os.environ["VELMORA_COMMAND"]
    assert completed(velmora, "scr") == {"screen"}
    assert completed(velmora, "screen", "--bi") >= {"--binary-response", "--bins"}
    assert completed(velmora, "screen", str(PACKAGING / "man_p")) == {str(PACKAGING / "man_pages.py")}


def test_libraries_of_other_versions_are_one_sentence(tmp_path):
    def message(*functions: str) -> str:
        library = tmp_path / "libvelmora.so.1"
        code = "\n".join(f'extern "C" const char* {name}() {{ return "0.9.0"; }}' for name in functions)
        compiler = ["g++", "-shared", "-fPIC", "-o", library, "-x", "c++", "-"]
        subprocess.run(compiler, input=code, text=True, check=True)
        run = [sys.executable, "-c", "import velmora"]
        environment = {**os.environ, "VELMORA_LIBRARY": str(library)}
        return subprocess.run(run, env=environment, capture_output=True, text=True).stderr.splitlines()[-1]

    place = re.escape(str(tmp_path / "libvelmora.so.1"))
    old = rf"^ImportError: .* needs a newer library than {place}, which is 0\.9\.0: it has no velmora_open\.$"
    assert re.match(old, message("velmora_version"))
    assert re.match(rf"^ImportError: {place} is no library of velmora", message("velmora_open"))
