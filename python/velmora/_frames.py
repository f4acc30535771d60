"""Tables of the user's kind: into a session and out of the library."""

from __future__ import annotations

import ctypes
import importlib
import os
from collections.abc import Mapping, Sequence
from typing import Any

import numpy as np

from velmora._library import ArrowStream, Session, stream_of_capsule

# --- In


def _module_of(data: Any) -> str:
    return type(data).__module__.partition(".")[0]


def kind_of(data: Any) -> str:
    """The library whose frames the tables of a result are, by the data that it was made of."""
    module = _module_of(data)
    return module if module in ("pandas", "polars", "pyarrow") else "pandas"


def column_names(data: Any) -> list[str]:
    """Names of the columns as a session gets them."""
    if isinstance(data, Mapping):
        return [str(name) for name in data]
    if _module_of(data) == "pyarrow":
        return [str(name) for name in data.column_names]
    if hasattr(data, "columns"):
        return [str(name) for name in data.columns]
    array = np.asarray(data)
    if array.dtype.names is not None:
        return list(array.dtype.names)
    return [f"x{i}" for i in range(array.shape[1])]


def unused_name(wanted: str, taken: Sequence[str]) -> str:
    """wanted, with underscores where a column has this name."""
    while wanted in taken:
        wanted += "_"
    return wanted


def add_array(session: Session, name: str, values: Any) -> None:
    """Adds a one-dimensional array as a variable: numbers, booleans or texts (None: missing)."""
    array = np.asarray(values)
    if array.ndim != 1:
        raise ValueError(f"Column {name!r} has {array.ndim} dimensions; a variable has one.")
    if array.dtype.kind in "biuf":
        return session.add_numbers(name, np.ascontiguousarray(array, dtype=np.float64))
    if array.dtype.kind == "O":
        present = [value for value in array if value is not None and value == value]
        if all(isinstance(value, (bool, int, float, np.number, np.bool_)) for value in present):
            numbers = np.array([np.nan if value is None else value for value in array], dtype=np.float64)
            return session.add_numbers(name, numbers)
        if not all(isinstance(value, str) for value in present):
            odd = next(value for value in present if not isinstance(value, str))
            raise ValueError(f"Column {name!r} holds a value that is neither a number nor a text: {odd!r}.")
        texts = [value if isinstance(value, str) else None for value in array]
        return session.add_texts(name, texts)
    if array.dtype.kind in "US":
        return session.add_texts(name, [str(value) for value in array.astype(str)])
    raise ValueError(f"Column {name!r} has the type {array.dtype}, which is no number or text.")


def _add_columns(session: Session, columns: Mapping[Any, Any]) -> None:
    for name, values in columns.items():
        add_array(session, str(name), values)


def _add_numbers(session: Session, names: Sequence[str], columns: Sequence[np.ndarray]) -> None:
    """Adds float64 columns: lent where each is contiguous and pyarrow is there, otherwise copied."""
    if all(column.flags.c_contiguous for column in columns):
        try:
            import pyarrow
        except ImportError:
            pass
        else:
            arrays = [pyarrow.array(column) for column in columns]
            return session.take_stream(pyarrow.table(arrays, names=names).__arrow_c_stream__(), {})
    for name, column in zip(names, columns, strict=True):
        add_array(session, name, column)


def _pandas_to_session(session: Session, frame: Any, options: Mapping[str, Any]) -> None:
    names = [str(name) for name in frame.columns]
    is_plain = all(dtype == np.float64 for dtype in frame.dtypes) and len(set(names)) == len(names)
    if names and is_plain and not options:
        # A frame made of an array in row order would be copied as a whole to become Arrow's.
        return _add_numbers(session, names, [frame.iloc[:, i].to_numpy() for i in range(len(names))])
    try:
        import pyarrow
    except ImportError:
        # Numbers and texts need no other library; of other types to_numpy gives objects.
        return _add_columns(session, {name: frame[name].to_numpy() for name in frame.columns})
    named = frame.set_axis(names, axis=1)
    try:
        table = pyarrow.Table.from_pandas(named, preserve_index=False)
    except (pyarrow.ArrowInvalid, pyarrow.ArrowTypeError) as error:
        raise ValueError(" ".join(str(part) for part in error.args)) from error
    session.take_stream(table.__arrow_c_stream__(), options)


def load(session: Session, data: Any, options: Mapping[str, Any] | None = None) -> None:
    """Makes data the table of a session.

    Parameters
    ----------
    data : path, or a table
        A file; a frame of pandas, polars or pyarrow, or anything with ``__arrow_c_stream__``; a
        dict of columns; a NumPy array of shape (n_cases, n_variables), whose columns are x0, x1 ...
    options : dict
        For reading: ``missing_text``; of text files ``delimiter``, ``encoding``, ``no_header``,
        ``ragged``; of files ``date_parts``, ``since``.
    """
    if isinstance(data, (str, os.PathLike)):
        return session.read_file(data, options)
    if _module_of(data) == "pandas":
        return _pandas_to_session(session, data, options or {})
    if hasattr(data, "collect") and _module_of(data) == "polars":
        data = data.collect()
    if hasattr(data, "__arrow_c_stream__"):
        return session.take_stream(data.__arrow_c_stream__(), options)
    if isinstance(data, Mapping):
        return _add_columns(session, data)
    array = np.asarray(data)
    if array.dtype.names is not None:
        return _add_columns(session, {name: array[name] for name in array.dtype.names})
    if array.ndim != 2:
        raise ValueError(
            f"The data are {type(data).__name__} of {array.ndim} dimensions; a table has rows and columns."
        )
    names = column_names(array)
    if array.dtype == np.float64 and names:
        return _add_numbers(session, names, list(array.T))
    for name, values in zip(names, array.T, strict=True):
        add_array(session, name, values)


# --- Out


class _Schema(ctypes.Structure):
    pass


_Schema._fields_ = [
    ("format", ctypes.c_char_p),
    ("name", ctypes.c_char_p),
    ("metadata", ctypes.c_void_p),
    ("flags", ctypes.c_int64),
    ("n_children", ctypes.c_int64),
    ("children", ctypes.POINTER(ctypes.POINTER(_Schema))),
    ("dictionary", ctypes.POINTER(_Schema)),
    ("release", ctypes.CFUNCTYPE(None, ctypes.POINTER(_Schema))),
    ("private_data", ctypes.c_void_p),
]


class _Array(ctypes.Structure):
    pass


_Array._fields_ = [
    ("length", ctypes.c_int64),
    ("null_count", ctypes.c_int64),
    ("offset", ctypes.c_int64),
    ("n_buffers", ctypes.c_int64),
    ("n_children", ctypes.c_int64),
    ("buffers", ctypes.POINTER(ctypes.c_void_p)),
    ("children", ctypes.POINTER(ctypes.POINTER(_Array))),
    ("dictionary", ctypes.POINTER(_Array)),
    ("release", ctypes.CFUNCTYPE(None, ctypes.POINTER(_Array))),
    ("private_data", ctypes.c_void_p),
]


def _buffer(array: _Array, index: int, dtype: Any, length: int) -> np.ndarray:
    pointer = array.buffers[index]
    if not pointer or length == 0:
        return np.zeros(length, dtype=dtype)
    size = length * np.dtype(dtype).itemsize
    return np.frombuffer((ctypes.c_char * size).from_address(pointer), dtype=dtype).copy()


def _valid(array: _Array) -> np.ndarray:
    if array.null_count == 0:
        return np.ones(array.length, dtype=bool)
    bits = _buffer(array, 0, np.uint8, (array.length + 7) // 8)
    return np.unpackbits(bits, bitorder="little")[: array.length].astype(bool)


def _column(schema: _Schema, array: _Array) -> np.ndarray:
    """A column of one of the types that the library hands out."""
    length, valid = array.length, _valid(array)
    if schema.dictionary:
        texts = _column(schema.dictionary.contents, array.dictionary.contents)
        codes = _buffer(array, 1, np.int32, length)
        with_none = np.array([*texts, None], dtype=object)
        chosen: np.ndarray = with_none[np.where(valid, codes, len(texts))]
        return chosen
    if schema.format == b"g":
        numbers = _buffer(array, 1, np.float64, length)
        numbers[~valid] = np.nan
        return numbers
    if schema.format == b"l":
        whole = _buffer(array, 1, np.int64, length)
        return whole if valid.all() else np.where(valid, whole.astype(np.float64), np.nan)
    if schema.format == b"b":
        bits = _buffer(array, 1, np.uint8, (length + 7) // 8)
        flags = np.unpackbits(bits, bitorder="little")[:length].astype(bool)
        if valid.all():
            return flags
        with_gaps = flags.astype(object)
        with_gaps[~valid] = None
        return with_gaps
    offsets = _buffer(array, 1, np.int64, length + 1)
    data = ctypes.string_at(array.buffers[2], int(offsets[-1])) if length and offsets[-1] else b""
    texts = np.empty(length, dtype=object)
    for i in range(length):
        texts[i] = data[offsets[i] : offsets[i + 1]].decode() if valid[i] else None
    return texts


def columns_of(stream: ArrowStream) -> dict[str, np.ndarray]:
    """The columns of a table of the library as arrays: NaN or None is missing."""
    capsule = stream.__arrow_c_stream__()
    raw = stream_of_capsule(capsule)
    schema, array = _Schema(), _Array()
    pointer = ctypes.byref(raw)
    get = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)
    if get(raw.get_schema)(pointer, ctypes.byref(schema)) or get(raw.get_next)(pointer, ctypes.byref(array)):
        raise MemoryError("There is not enough memory for this.")
    try:
        return {
            schema.children[i].contents.name.decode(): _column(
                schema.children[i].contents, array.children[i].contents
            )
            for i in range(schema.n_children)
        }
    finally:
        schema.release(ctypes.byref(schema))
        array.release(ctypes.byref(array))


def frame_of(stream: ArrowStream, kind: str) -> Any:
    """A table of the library as a frame of a kind: "pandas", "polars" or "pyarrow"."""
    try:
        library = importlib.import_module(kind)
    except ImportError as error:
        raise ImportError(f"Tables are shown as frames of {kind}, which is not installed.") from error
    if kind == "pyarrow":
        return library.table(stream)
    if kind == "polars":
        return library.DataFrame(stream)
    return library.DataFrame(columns_of(stream))
