"""The command ``velmora`` of an installed wheel."""

import os
import sys
from pathlib import Path


def main() -> None:
    """Runs the command with this process's arguments, in its place."""
    os.environ.setdefault("VELMORA_PYTHON", sys.executable)  # for scripts
    command = Path(__file__).parent / "lib" / "velmora"
    os.execv(command, [str(command), *sys.argv[1:]])
