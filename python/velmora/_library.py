"""The C interface of libvelmora through ctypes: handles, codes and texts."""

from __future__ import annotations

import contextlib
import ctypes
import json
import os
import signal
import sys
import threading
import weakref
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from importlib import metadata
from pathlib import Path
from typing import Any

OK, _FAILED, _BAD_USE, _CANCELLED, _NO_MEMORY = range(5)

Progress = Callable[[str, float], Any]
Query = Callable[[str], Iterable[Sequence[Any]]]


class VelmoraError(RuntimeError):
    """The data, a file or the analysis failed; the text is one sentence."""


class Cancelled(Exception):  # noqa: N818 - not an error
    """The progress function ended the call."""


class ArrowArrayStream(ctypes.Structure):
    """The stream structure of the Arrow C stream interface."""


ArrowArrayStream._fields_ = [
    ("get_schema", ctypes.c_void_p),
    ("get_next", ctypes.c_void_p),
    ("get_last_error", ctypes.c_void_p),
    ("release", ctypes.CFUNCTYPE(None, ctypes.POINTER(ArrowArrayStream))),
    ("private_data", ctypes.c_void_p),
]

_QUERY = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p)
ProgressFunction = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_double)

_Session = ctypes.c_void_p
_Result = ctypes.c_void_p
_Bins = ctypes.c_void_p
_State = ctypes.c_void_p
_Object = ctypes.c_void_p
_Text = ctypes.POINTER(ctypes.c_void_p)
_Length = ctypes.POINTER(ctypes.c_size_t)
_Stream = ctypes.POINTER(ArrowArrayStream)

_FUNCTIONS: dict[str, tuple[Any, list[Any]]] = {
    "velmora_version": (ctypes.c_char_p, []),
    "velmora_open": (ctypes.c_int, [ctypes.POINTER(_Session), ctypes.c_char_p]),
    "velmora_close": (None, [_Session]),
    "velmora_last_error": (ctypes.c_char_p, [_Session]),
    "velmora_notices": (ctypes.c_char_p, [_Session]),
    "velmora_set_progress": (ctypes.c_int, [_Session, ProgressFunction, ctypes.c_void_p]),
    "velmora_read_file": (ctypes.c_int, [_Session, ctypes.c_char_p, ctypes.c_char_p]),
    "velmora_take_stream": (ctypes.c_int, [_Session, ctypes.c_void_p, ctypes.c_char_p]),
    "velmora_add_numbers": (ctypes.c_int, [_Session, ctypes.c_char_p, ctypes.c_void_p, ctypes.c_int64]),
    "velmora_add_texts": (
        ctypes.c_int,
        [_Session, ctypes.c_char_p, ctypes.POINTER(ctypes.c_char_p), ctypes.c_int64],
    ),
    "velmora_variables": (ctypes.c_int, [_Session, _Text]),
    "velmora_run_once": (
        ctypes.c_int,
        [_Session, ctypes.c_char_p, ctypes.c_char_p, ctypes.POINTER(_Result)],
    ),
    "velmora_result_free": (None, [_Result]),
    "velmora_result_text": (ctypes.c_int, [_Result, ctypes.c_char_p, _Text, _Length]),
    "velmora_result_table": (ctypes.c_int, [_Result, ctypes.c_char_p, _Stream]),
    "velmora_result_write": (ctypes.c_int, [_Result, ctypes.c_char_p, ctypes.c_char_p]),
    "velmora_result_bins": (ctypes.c_int, [_Result, ctypes.c_int, ctypes.POINTER(_Bins)]),
    "velmora_load_bins": (
        ctypes.c_int,
        [_Session, ctypes.c_char_p, ctypes.c_size_t, ctypes.POINTER(_Bins)],
    ),
    "velmora_bins_free": (None, [_Bins]),
    "velmora_bins_text": (ctypes.c_int, [_Bins, ctypes.c_char_p, _Text, _Length]),
    "velmora_bins_edit": (ctypes.c_int, [_Bins, ctypes.c_char_p]),
    "velmora_bins_undo": (ctypes.c_int, [_Bins]),
    "velmora_bins_apply_with": (ctypes.c_int, [_Bins, ctypes.c_char_p, _Stream]),
    "velmora_state_new": (
        ctypes.c_int,
        [_Session, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_char_p, ctypes.POINTER(_State)],
    ),
    "velmora_state_load": (
        ctypes.c_int,
        [_Session, ctypes.c_char_p, ctypes.c_size_t, ctypes.POINTER(_State)],
    ),
    "velmora_state_free": (None, [_State]),
    "velmora_state_update": (ctypes.c_int, [_State, ctypes.c_void_p]),
    "velmora_state_merge": (ctypes.c_int, [_State, ctypes.c_char_p, ctypes.c_size_t]),
    "velmora_state_bytes": (ctypes.c_int, [_State, _Text, _Length]),
    "velmora_state_next": (ctypes.c_int, [_State, _Text, _Length]),
    "velmora_state_finish": (ctypes.c_int, [_State, _State, ctypes.POINTER(_Result)]),
    "velmora_rows_add": (
        ctypes.c_int,
        [ctypes.c_void_p, ctypes.POINTER(ctypes.c_char_p), ctypes.c_size_t],
    ),
    "velmora_run_in_database": (
        ctypes.c_int,
        [
            _Session,
            ctypes.c_char_p,
            ctypes.c_char_p,
            ctypes.c_char_p,
            _QUERY,
            ctypes.c_void_p,
            ctypes.POINTER(_Result),
        ],
    ),
    "velmora_application": (ctypes.c_int, [_Session, ctypes.c_char_p, ctypes.POINTER(_Object)]),
    "velmora_object_free": (None, [_Object]),
    "velmora_object_interface": (ctypes.c_char_p, [_Object]),
    "velmora_object_members": (ctypes.c_int, [_Object, _Text]),
    "velmora_object_get": (ctypes.c_int, [_Object, ctypes.c_char_p, ctypes.c_void_p]),
    "velmora_object_put": (ctypes.c_int, [_Object, ctypes.c_char_p, ctypes.c_void_p]),
    "velmora_object_call": (
        ctypes.c_int,
        [_Object, ctypes.c_char_p, ctypes.c_void_p, ctypes.c_size_t, ctypes.c_void_p],
    ),
    "velmora_object_failure": (
        ctypes.c_int,
        [
            _Object,
            ctypes.POINTER(ctypes.c_char_p),
            ctypes.POINTER(ctypes.c_char_p),
            ctypes.POINTER(ctypes.c_int32),
        ],
    ),
    "velmora_bins_scorecard": (ctypes.c_int, [_Bins, ctypes.c_char_p, ctypes.POINTER(_Result)]),
    "velmora_bins_monitor": (ctypes.c_int, [_Bins, ctypes.c_char_p, ctypes.POINTER(_Result)]),
}


def _find_library() -> Path:
    named = os.environ.get("VELMORA_LIBRARY")
    if named:
        return Path(named)
    name = "velmora.dll" if sys.platform == "win32" else "libvelmora.so.1"
    inside = Path(__file__).parent / "lib" / name  # of a wheel
    # FOLDER/python/velmora is beside the command and the library; there may be links to it.
    folders = [Path(__file__).parents[2], Path(__file__).resolve().parents[2]]
    places = [inside, *(folder / name for folder in folders)]
    return next((place for place in places if place.exists()), inside)


def _too_old(library: ctypes.CDLL, path: Path, missing: str) -> str:
    """The sentence on a library that does not fit this package."""
    try:
        package = f"velmora {metadata.version('velmora')}"
    except metadata.PackageNotFoundError:
        package = "this velmora"
    version = getattr(library, "velmora_version", None)
    if version is None:
        return f"{path} is no library of velmora: it has no velmora_version."
    version.restype = ctypes.c_char_p
    return f"{package} needs a newer library than {path}, which is {version().decode()}: it has no {missing}."


def _load() -> ctypes.CDLL:
    path = _find_library()
    # The module looks its host's log up among the functions of the whole process.
    mode = ctypes.RTLD_GLOBAL if os.environ.get("VELMORA_LOG") else ctypes.DEFAULT_MODE
    try:
        library = ctypes.CDLL(str(path), mode=mode)
    except OSError as error:
        raise ImportError(f"The library of velmora cannot be loaded: {error}.") from error
    for name, (result, arguments) in _FUNCTIONS.items():
        function = getattr(library, name, None)
        if function is None:
            raise ImportError(_too_old(library, path, name))
        function.restype = result
        function.argtypes = arguments
    return library


LIBRARY = _load()


def library_version() -> str:
    """Version of the loaded library, such as ``"1.1.0"``."""
    return str(LIBRARY.velmora_version().decode())


def options_text(options: Mapping[str, Any] | None) -> bytes:
    """Options by Python names as the JSON of the library: ``p_criterion`` becomes ``p-criterion``."""
    named = {name.replace("_", "-"): value for name, value in (options or {}).items()}
    return json.dumps(named).encode()


class Session:
    """One table and the analyses of it."""

    def __init__(self) -> None:
        handle = _Session()
        module = os.environ.get("VELMORA_MODULE")
        options = options_text({"module": module} if module else None)
        if LIBRARY.velmora_open(ctypes.byref(handle), options) != OK:
            raise VelmoraError(LIBRARY.velmora_last_error(None).decode())
        self.handle = handle
        self._close = weakref.finalize(self, LIBRARY.velmora_close, handle)

    def close(self) -> None:
        self._close()

    def check(self, code: int) -> None:
        """Raises the exception of a code."""
        if code == OK:
            return
        sentence = LIBRARY.velmora_last_error(self.handle).decode()
        if code == _BAD_USE:
            raise ValueError(sentence)
        if code == _CANCELLED:
            raise Cancelled(sentence)
        if code == _NO_MEMORY:
            raise MemoryError(sentence)
        raise VelmoraError(sentence)

    def notices(self) -> list[str]:
        text = LIBRARY.velmora_notices(self.handle)
        notices: list[str] = [] if text == b"[]" else json.loads(text)
        return notices

    @contextlib.contextmanager
    def reporting(self, progress: Progress | None) -> Iterator[None]:
        """While it lasts, calls report to progress, and Ctrl-C cancels them."""
        raised: list[BaseException] = []

        # It runs on the thread of the call about twenty times a second, which is when Python
        # notices a Ctrl-C.
        def report(_user: int | None, stage: bytes, fraction: float) -> int:
            try:
                if not raised and progress is not None and progress(stage.decode(), fraction) is False:
                    return 1
            except BaseException as error:
                raised.append(error)
            return 1 if raised else 0

        # Python's own handler could raise its exception outside of report's try.
        def interrupted(_number: int, _frame: object) -> None:
            raised.append(KeyboardInterrupt())

        handled = (
            threading.current_thread() is threading.main_thread()
            and signal.getsignal(signal.SIGINT) is signal.default_int_handler
        )
        callback = ProgressFunction(report)
        LIBRARY.velmora_set_progress(self.handle, callback, None)
        if handled:
            signal.signal(signal.SIGINT, interrupted)
        try:
            yield
        except Cancelled:
            if not raised:
                raise
        finally:
            if handled:
                signal.signal(signal.SIGINT, signal.default_int_handler)
            LIBRARY.velmora_set_progress(self.handle, ProgressFunction(), None)
        if raised:
            raise raised[0]

    # --- Data
    def take_stream(self, capsule: Any, options: Mapping[str, Any] | None = None) -> None:
        """Takes the rows of a capsule of the Arrow PyCapsule interface."""
        pointer = _capsule_pointer(capsule, b"arrow_array_stream")
        self.check(LIBRARY.velmora_take_stream(self.handle, pointer, options_text(options)))

    def read_file(self, path: str | os.PathLike[str], options: Mapping[str, Any] | None = None) -> None:
        name = os.fspath(path).encode()
        self.check(LIBRARY.velmora_read_file(self.handle, name, options_text(options)))

    def add_numbers(self, name: str, values: Any) -> None:
        """values: a contiguous float64 array, which is copied."""
        pointer = values.ctypes.data_as(ctypes.c_void_p)
        self.check(LIBRARY.velmora_add_numbers(self.handle, name.encode(), pointer, len(values)))

    def add_texts(self, name: str, texts: list[str | None]) -> None:
        array = (ctypes.c_char_p * len(texts))(*(None if t is None else t.encode() for t in texts))
        self.check(LIBRARY.velmora_add_texts(self.handle, name.encode(), array, len(texts)))

    def variables(self) -> dict[str, Any]:
        text = ctypes.c_void_p()
        self.check(LIBRARY.velmora_variables(self.handle, ctypes.byref(text)))
        variables: dict[str, Any] = json.loads(ctypes.string_at(text.value or 0))
        return variables

    # --- Analyses
    def run(self, analysis: str, options: Mapping[str, Any]) -> ResultHandle:
        """Runs an analysis, which takes the table over: the session has none afterwards."""
        handle = _Result()
        code = LIBRARY.velmora_run_once(
            self.handle, analysis.encode(), options_text(options), ctypes.byref(handle)
        )
        self.check(code)
        return ResultHandle(self, handle)

    def run_in_database(
        self, analysis: str, options: Mapping[str, Any], database: Mapping[str, str], query: Query
    ) -> ResultHandle:
        """Runs an analysis whose statements query answers; an exception of query is raised again."""
        raised: list[BaseException] = []

        def answer(_user: int | None, sql: bytes, rows: int) -> int:
            try:
                for row in query(sql.decode()):
                    cells = [None if cell is None else str(cell).encode() for cell in row]
                    array = (ctypes.c_char_p * len(cells))(*cells)
                    if LIBRARY.velmora_rows_add(rows, array, len(cells)) != OK:
                        return _FAILED
            except BaseException as error:
                raised.append(error)
                return _FAILED
            return OK

        handle = _Result()
        with self.reporting(None):
            code = LIBRARY.velmora_run_in_database(
                self.handle,
                analysis.encode(),
                options_text(options),
                options_text(database),
                _QUERY(answer),
                None,
                ctypes.byref(handle),
            )
            if raised:
                raise raised[0]
            self.check(code)
        return ResultHandle(self, handle)

    def load_bins(self, text: str) -> BinsHandle:
        handle = _Bins()
        encoded = text.encode()
        self.check(LIBRARY.velmora_load_bins(self.handle, encoded, len(encoded), ctypes.byref(handle)))
        return BinsHandle(self, handle)

    def new_state(
        self, analysis: str, options: Mapping[str, Any], settings: Mapping[str, Any]
    ) -> StateHandle:
        handle = _State()
        code = LIBRARY.velmora_state_new(
            self.handle,
            analysis.encode(),
            options_text(options),
            options_text(settings),
            ctypes.byref(handle),
        )
        self.check(code)
        return StateHandle(self, handle)

    def load_state(self, state: bytes) -> StateHandle:
        handle = _State()
        self.check(LIBRARY.velmora_state_load(self.handle, state, len(state), ctypes.byref(handle)))
        return StateHandle(self, handle)


class _Handle:
    """A handle of the library with texts and tables."""

    _text_function: Any
    _table_function: Any

    def __init__(self, session: Session, handle: ctypes.c_void_p, free: Any) -> None:
        self.session = session
        self.handle = handle
        self._free = weakref.finalize(self, free, handle)

    def free(self) -> None:
        self._free()

    def _take_text(self, function: Any, format: str) -> bytes:
        text, length = ctypes.c_void_p(), ctypes.c_size_t()
        self.session.check(function(self.handle, format.encode(), ctypes.byref(text), ctypes.byref(length)))
        return ctypes.string_at(text.value or 0, length.value)


class ResultHandle(_Handle):
    """An analysis that has run."""

    def __init__(self, session: Session, handle: ctypes.c_void_p) -> None:
        super().__init__(session, handle, LIBRARY.velmora_result_free)

    def text(self, format: str) -> bytes:
        return self._take_text(LIBRARY.velmora_result_text, format)

    def table(self, name: str) -> ArrowStream:
        stream = ArrowArrayStream()
        self.session.check(LIBRARY.velmora_result_table(self.handle, name.encode(), ctypes.byref(stream)))
        return ArrowStream(stream)

    def write(self, folder: str | os.PathLike[str], formats: str | None) -> None:
        names = None if formats is None else formats.encode()
        self.session.check(LIBRARY.velmora_result_write(self.handle, os.fspath(folder).encode(), names))

    def bins(self, best: int = 0) -> BinsHandle:
        handle = _Bins()
        self.session.check(LIBRARY.velmora_result_bins(self.handle, best, ctypes.byref(handle)))
        return BinsHandle(self.session, handle)


class BinsHandle(_Handle):
    """Bins that code the table of their session."""

    def __init__(self, session: Session, handle: ctypes.c_void_p) -> None:
        super().__init__(session, handle, LIBRARY.velmora_bins_free)

    def text(self, format: str) -> str:
        return self._take_text(LIBRARY.velmora_bins_text, format).decode()

    def edit(self, edit: Mapping[str, Any]) -> None:
        self.session.check(LIBRARY.velmora_bins_edit(self.handle, json.dumps(edit).encode()))

    def undo(self) -> None:
        self.session.check(LIBRARY.velmora_bins_undo(self.handle))

    def _compare(self, function: Any, options: Mapping[str, Any]) -> ResultHandle:
        handle = _Result()
        self.session.check(function(self.handle, options_text(options), ctypes.byref(handle)))
        return ResultHandle(self.session, handle)

    def scorecard(self, options: Mapping[str, Any]) -> ResultHandle:
        """Fits a scorecard to the table of the session."""
        return self._compare(LIBRARY.velmora_bins_scorecard, options)

    def monitor(self, options: Mapping[str, Any]) -> ResultHandle:
        """Compares the table of the session with the cases that the bins were made from."""
        return self._compare(LIBRARY.velmora_bins_monitor, options)

    def apply(self, unseen: str | None) -> ArrowStream:
        stream = ArrowArrayStream()
        options = options_text({"unseen": unseen})
        self.session.check(LIBRARY.velmora_bins_apply_with(self.handle, options, ctypes.byref(stream)))
        return ArrowStream(stream)


class StateHandle(_Handle):
    """The state of a part of the data."""

    def __init__(self, session: Session, handle: ctypes.c_void_p) -> None:
        super().__init__(session, handle, LIBRARY.velmora_state_free)

    def update(self, part: Any) -> None:
        """Adds the rows of anything with ``__arrow_c_stream__``."""
        capsule = part.__arrow_c_stream__()
        pointer = _capsule_pointer(capsule, _STREAM_NAME)
        self.session.check(LIBRARY.velmora_state_update(self.handle, pointer))

    def merge(self, state: bytes) -> None:
        self.session.check(LIBRARY.velmora_state_merge(self.handle, state, len(state)))

    def _bytes(self, function: Any) -> bytes:
        text, length = ctypes.c_void_p(), ctypes.c_size_t()
        self.session.check(function(self.handle, ctypes.byref(text), ctypes.byref(length)))
        return ctypes.string_at(text.value or 0, length.value)

    def to_bytes(self) -> bytes:
        return self._bytes(LIBRARY.velmora_state_bytes)

    def second_pass(self) -> bytes:
        """The empty state of the second pass."""
        return self._bytes(LIBRARY.velmora_state_next)

    def finish(self, second: StateHandle) -> ResultHandle:
        handle = _Result()
        self.session.check(LIBRARY.velmora_state_finish(self.handle, second.handle, ctypes.byref(handle)))
        return ResultHandle(self.session, handle)


# --- Capsules

_CapsuleDestructor = ctypes.CFUNCTYPE(None, ctypes.c_void_p)
_new_capsule = ctypes.pythonapi.PyCapsule_New
_new_capsule.restype = ctypes.py_object
_new_capsule.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]
_capsule_pointer_of_object = ctypes.pythonapi.PyCapsule_GetPointer
_STREAM_NAME = b"arrow_array_stream"

# Streams inside capsules, by the address of their structure.
_streams: dict[int, ArrowArrayStream] = {}


def _capsule_pointer(capsule: Any, name: bytes) -> int:
    _capsule_pointer_of_object.restype = ctypes.c_void_p
    _capsule_pointer_of_object.argtypes = [ctypes.py_object, ctypes.c_char_p]
    pointer: int = _capsule_pointer_of_object(capsule, name)
    return pointer


# The capsule is being deleted, so it is passed by address: an object argument would revive it.
_pointer_of_dying_capsule = ctypes.PYFUNCTYPE(ctypes.c_void_p, ctypes.c_void_p, ctypes.c_char_p)(
    ("PyCapsule_GetPointer", ctypes.pythonapi)
)


def _release(stream: ArrowArrayStream) -> None:
    if stream.release:
        stream.release(ctypes.byref(stream))


def _destroy(capsule: int) -> None:
    stream = _streams.pop(_pointer_of_dying_capsule(capsule, _STREAM_NAME), None)
    if stream is not None:
        _release(stream)


_destroy_capsule = _CapsuleDestructor(_destroy)


def stream_of_capsule(capsule: Any) -> ArrowArrayStream:
    """The structure inside a capsule of this package."""
    return _streams[_capsule_pointer(capsule, _STREAM_NAME)]


class ArrowStream:
    """A table of the library for one consumer of the Arrow PyCapsule interface."""

    def __init__(self, stream: ArrowArrayStream) -> None:
        self._stream: ArrowArrayStream | None = stream
        self._finalizer = weakref.finalize(self, _release, stream)

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        if self._stream is None:
            raise ValueError("The stream has been read already.")
        stream, self._stream = self._stream, None
        self._finalizer.detach()
        address = ctypes.addressof(stream)
        _streams[address] = stream
        return _new_capsule(address, _STREAM_NAME, _destroy_capsule)
