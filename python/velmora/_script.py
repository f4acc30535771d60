# Runs a script for the command: python3 _script.py OPTIONS SCRIPT [ARGUMENTS...], with OPTIONS as JSON
# of velmora_application and SCRIPT a file or "-". It ends as Python itself would, but says where
# Ctrl-C has met the script, and leaves this package's own lines out of tracebacks.
import sys

if sys.version_info < (3, 10):  # noqa: UP036 - any Python may run this file
    sys.exit(
        "Scripts need Python 3.10 or newer; name one with --interpreter or VELMORA_PYTHON. "
        "This is " + sys.version.split()[0] + ": " + sys.executable
    )

import importlib.util
import json
import os
import signal
import traceback
import types
from pathlib import Path

_CANCELLED = 130
_BROKEN_PIPE = 141
_FAILED, _BAD_USE = 1, 2
_PACKAGE = Path(__file__).parent


def _load_package() -> None:
    """Makes ``import velmora`` find this package, without its folder among those of modules."""
    if sys.path and sys.path[0] and Path(sys.path[0]).resolve() == _PACKAGE.resolve():
        del sys.path[0]
    spec = importlib.util.spec_from_file_location(
        "velmora", _PACKAGE / "__init__.py", submodule_search_locations=[str(_PACKAGE)]
    )
    if spec is None or spec.loader is None:
        raise ImportError(f"The package in {_PACKAGE} cannot be loaded.")
    package = importlib.util.module_from_spec(spec)
    sys.modules["velmora"] = package
    writes_none, sys.dont_write_bytecode = sys.dont_write_bytecode, True  # nothing beside the command
    spec.loader.exec_module(package)
    sys.dont_write_bytecode = writes_none


def _read(script: str) -> bytes:
    try:
        text = sys.stdin.buffer.read() if script == "-" else Path(script).read_bytes()
    except OSError as error:
        raise SystemExit(f"velmora: The script {script} cannot be read: {error.strerror}.") from None
    if b"\0" in text:
        raise SystemExit(f"velmora: The script {script} is not a text file.")
    return text


def _own(frame: traceback.FrameSummary) -> bool:
    return Path(frame.filename).parent == _PACKAGE


def _without_own_frames(shown: traceback.TracebackException, seen: set[int]) -> None:
    if id(shown) in seen:
        return
    seen.add(id(shown))
    kept = [frame for frame in shown.stack if not _own(frame)]
    # None: the exception has none, like a syntax error.
    shown.stack = traceback.StackSummary.from_list(kept) if kept else None  # type: ignore[assignment]
    for other in (shown.__cause__, shown.__context__, *(getattr(shown, "exceptions", None) or ())):
        if other is not None:
            _without_own_frames(other, seen)


def _show_exception(
    kind: type[BaseException], raised: BaseException, frames: types.TracebackType | None
) -> None:
    shown = traceback.TracebackException(kind, raised, frames)
    _without_own_frames(shown, set())
    print("".join(shown.format()), end="", file=sys.stderr)


def _place_of(frames: types.TracebackType | None, script: str) -> str:
    """The innermost line of the script itself: ``" in script.py, line 7"``."""
    place = ""
    for frame in traceback.extract_tb(frames):
        if frame.filename == script:
            place = f" in {script}, line {frame.lineno}"
    return place


def _interrupt(_number: int, _frame: object) -> None:
    """A request to end is an interruption, which first cancels a running analysis."""
    signal.raise_signal(signal.SIGINT)


def _code_of(raised: SystemExit) -> int:
    if raised.code is None:
        return 0
    if isinstance(raised.code, int):
        return raised.code & 0xFF
    print(raised.code, file=sys.stderr)
    return _FAILED


def _execute(text: bytes, script: str) -> int:
    """Runs the script as ``__main__`` and returns its exit code."""
    shown = "<stdin>" if script == "-" else script
    main = types.ModuleType("__main__")
    if script != "-":
        main.__file__ = script
    sys.modules["__main__"] = main
    try:
        exec(compile(text, shown, "exec", dont_inherit=True), main.__dict__)
    except SystemExit as raised:
        return _code_of(raised)
    except KeyboardInterrupt as raised:
        print(f"Cancelled{_place_of(raised.__traceback__, shown)}.", file=sys.stderr)
        return _CANCELLED
    except BrokenPipeError:
        return _BROKEN_PIPE
    except BaseException as raised:
        sys.excepthook(type(raised), raised, raised.__traceback__)
        return _FAILED
    return 0


def _flush() -> int:
    """The exit code of what is left in standard output: its reader may be gone, the disk full."""
    if sys.stdout is None or sys.stdout.closed:
        return 0
    try:
        sys.stdout.flush()
    except BrokenPipeError:
        code = _BROKEN_PIPE
    except BaseException as raised:
        sys.excepthook(type(raised), raised, raised.__traceback__)
        code = _FAILED
    else:
        return 0
    os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())  # Python flushes once more
    return code


def _main() -> int:
    options, script = json.loads(sys.argv[1]), sys.argv[2]
    sys.argv = sys.argv[2:]
    try:
        _load_package()
    except ImportError as error:
        print(f"velmora: {error}", file=sys.stderr)
        return _FAILED
    from velmora import VelmoraError, _objects

    text = _read(script)
    try:
        _objects.start(options)
    except ValueError as error:
        print(f"velmora run: {error}\nTry 'velmora run --help'.", file=sys.stderr)
        return _BAD_USE
    except VelmoraError as error:
        print(f"velmora: {error}", file=sys.stderr)
        return _FAILED
    # As for python3; a script's folder holds its modules.
    sys.path.insert(0, "" if script == "-" else str(Path(script).absolute().parent))
    sys.excepthook = _show_exception
    for name in ("SIGTERM", "SIGHUP"):
        number = getattr(signal, name, None)
        if number is not None and signal.getsignal(number) is signal.SIG_DFL:
            signal.signal(number, _interrupt)
    code = _execute(text, script)
    unwritten = _flush()
    return code or unwritten


if __name__ == "__main__":
    sys.exit(_main())
