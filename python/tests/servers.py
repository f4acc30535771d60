"""Database servers for tests: each in its own folder, reached by a socket in it, removed afterwards."""

import os
import shutil
import subprocess
import time
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

# The servers refuse to run as root.
_USER = "nobody" if os.getuid() == 0 else None


def _give_away(folder: Path) -> None:
    if _USER:
        for parent in (folder, *folder.parents[:2]):
            parent.chmod(parent.stat().st_mode | 0o055)
        shutil.chown(folder, _USER)


def _words(folder: Path, program: Path, *words: str) -> list[str]:
    as_user = ["setpriv", f"--reuid={_USER}", "--regid=nogroup", "--clear-groups"] if _USER else []
    return [*as_user, "env", f"TMPDIR={folder}", str(program), *words]


def _run(folder: Path, program: Path, *words: str) -> None:
    # Standard output goes to a file: a pipe would stay open in the server.
    with open(folder / "output", "ab") as output:
        command = _words(folder, program, *words)
        done = subprocess.run(command, stdout=output, stderr=subprocess.STDOUT, cwd=folder)
    if done.returncode:
        raise RuntimeError(f"{program.name}: {(folder / 'output').read_text()}")


@contextmanager
def postgres_server(folder: Path) -> Iterator[str]:
    """Gives the address of its database; the user is postgres."""
    programs = max(Path("/usr/lib/postgresql").glob("*/bin"))
    _give_away(folder)
    data = str(folder / "data")
    _run(folder, programs / "initdb", "-D", data, "-A", "trust", "-U", "postgres", "-E", "UTF8", "--no-sync")
    place = f"-k {folder} -c listen_addresses="
    log = str(folder / "log")
    _run(folder, programs / "pg_ctl", "-D", data, "-w", "-t", "300", "-l", log, "-o", place, "start")
    try:
        yield f"postgresql://postgres@/postgres?host={folder}"
    finally:
        _run(folder, programs / "pg_ctl", "-D", data, "-m", "immediate", "stop")


@contextmanager
def mariadb_server(folder: Path) -> Iterator[str]:
    """Gives the path of its socket; the user is root, without a password."""
    _give_away(folder)
    data, socket = f"--datadir={folder / 'data'}", folder / "socket"
    install = ["--no-defaults", data, "--auth-root-authentication-method=normal", "--skip-test-db"]
    _run(folder, Path("/usr/bin/mariadb-install-db"), *install)
    options = ["--no-defaults", data, f"--socket={socket}", "--skip-networking"]
    options.append("--innodb-buffer-pool-size=16M")
    with open(folder / "log", "wb") as log:
        command = _words(folder, Path("/usr/sbin/mariadbd"), *options)
        server = subprocess.Popen(command, stdout=log, stderr=log, cwd=folder)
    try:
        for _ in range(3000):  # it makes the socket when it is ready
            if socket.exists() or server.poll() is not None:
                break
            time.sleep(0.1)
        if not socket.exists():
            raise RuntimeError(f"mariadbd: {(folder / 'log').read_text()}")
        yield str(socket)
    finally:
        server.kill()
        server.wait()
