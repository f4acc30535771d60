"""Automation objects: the dialogs and documents of the workbench, as docs/scripting.md lists them.

Each interface is a class, made from its description when an object of it is first met. Members are
attributes, found whatever the case of their letters; a class with Count and Item is also a sequence,
numbered from 0 as in Python.
"""

from __future__ import annotations

import ctypes
import json
import os
import signal
import struct
import sys
import threading
from collections.abc import Iterator, Mapping
from typing import Any, NoReturn

from velmora import _library, _progress
from velmora._library import VelmoraError

_LIBRARY = _library.LIBRARY
_EMPTY, _INTEGER, _REAL, _TEXT, _OBJECT, _ARRAY = range(6)
# velmora_value, with the union as a whole number and as a double.
_LAYOUT = struct.Struct("=iiqq")
_LAYOUT_OF_REAL = struct.Struct("=iiqd")
_DEEPEST_ARRAY = 32  # a list that contains itself ends here
_LARGEST_EXACT_INTEGER = 1 << 53


class Error(VelmoraError):
    """A call of the workbench that failed.

    ``description`` says why, ``member`` which one, ``code`` is the automation error's number.
    """

    description = ""
    member = ""
    code = 0


class _Member:
    """A member of an interface, as its class shows it to ``help()`` and ``dir()``."""

    def __init__(self, interface: str, description: Mapping[str, Any]) -> None:
        self.__name__: str = description["name"]
        self.__doc__ = "\n".join(filter(None, (description["signature"], description["help"])))
        self.encoded = self.__name__.encode()
        self.interface = interface
        self.signature: str = description["signature"]
        self.is_called: bool = description["call"]
        self.is_read: bool = description["read"]
        self.is_written: bool = description["write"]
        self.argument_count = len(description["arguments"])

    def __repr__(self) -> str:
        return f"<member {self.interface}.{self.__name__}>"

    def __get__(self, target: Object | None, _owner: type | None = None) -> Any:
        if target is None:
            return self
        if self.is_called:
            return Method(target, self)
        failure = TypeError if self.is_read else AttributeError
        return target._host.use(_LIBRARY.velmora_object_get, target, self.encoded, failure)

    # Makes it a data descriptor, which is how help() lists properties.
    def __set__(self, target: Object, value: Any) -> None:
        failure = TypeError if self.is_written else AttributeError
        with _Values(value) as values:
            target._host.use(_LIBRARY.velmora_object_put, target, self.encoded, failure, values)

    def __delete__(self, _target: Object) -> None:
        raise AttributeError(f"{self.interface}.{self.__name__} cannot be deleted.")


class Method:
    """A method, or a property with arguments, of one object."""

    def __init__(self, target: Object, member: _Member) -> None:
        self._target = target
        self._member = member
        self.__name__ = member.__name__
        self.__doc__ = member.__doc__

    def __repr__(self) -> str:
        return f"<velmora.{self._member.interface}.{self._member.signature}>"

    def __call__(self, *arguments: Any) -> Any:
        target = self._target
        with _Values(*arguments) as values:
            return target._host.use(
                _LIBRARY.velmora_object_call, target, self._member.encoded, TypeError, values, len(arguments)
            )


class Object:
    """An object of the workbench or of one of its dialogs."""

    __slots__ = ("__weakref__", "_handle", "_host")
    _handle: int
    _host: _Host

    def __new__(cls, *_arguments: Any, **_named: Any) -> Object:
        raise TypeError("Objects of velmora are not made by scripts; begin with velmora.Application.")

    # Handles may be freed at any time, on any thread.
    def __del__(self, free: Any = _LIBRARY.velmora_object_free) -> None:
        handle = getattr(self, "_handle", None)
        if handle:
            free(handle)

    def __repr__(self) -> str:
        return f"<velmora.{type(self).__name__}>"

    def __reduce__(self) -> NoReturn:
        raise TypeError("Objects of velmora cannot be pickled.")

    # Only for names that the class does not have.
    def __getattr__(self, name: str) -> Any:
        member = _members(self).get(name.lower())
        if member is not None:
            return member.__get__(self)
        if name.startswith("_"):
            raise AttributeError(f"{type(self).__name__} has no member {name}.")
        return self._host.use(_LIBRARY.velmora_object_get, self, name.encode(), AttributeError)

    def __setattr__(self, name: str, value: Any) -> None:
        member = _members(self).get(name.lower())
        if member is not None:
            member.__set__(self, value)
        else:
            with _Values(value) as values:
                self._host.use(_LIBRARY.velmora_object_put, self, name.encode(), AttributeError, values)

    def __delattr__(self, name: str) -> NoReturn:
        raise AttributeError(f"{type(self).__name__}.{name} cannot be deleted.")


class Collection(Object):
    """Objects in a row: ``len()``, iteration, ``[0]`` for the first, ``[-1]`` for the last."""

    __slots__ = ()

    def __len__(self) -> int:
        return int(self.Count)

    def __getitem__(self, key: Any) -> Any:
        if isinstance(key, str):
            return self.Item(key)
        count = len(self)
        if isinstance(key, slice):
            return [self.Item(index + 1) for index in range(*key.indices(count))]
        place = key.__index__()
        if not -count <= place < count:
            raise IndexError(f"{type(self).__name__} index out of range: {place} of {count}.")
        return self.Item(place % count + 1)

    def __iter__(self) -> Iterator[Any]:
        place = 0
        while place < len(self):
            yield self.Item(place + 1)
            place += 1


for _shown in (Error, Method, Object, Collection):
    _shown.__module__ = "velmora"


# --- Interfaces

_KEY = "__velmora_members__"  # of a class: its members by their names in lower case
_classes: dict[bytes, type[Object]] = {}


def _members(target: Object) -> Mapping[str, _Member]:
    members: Mapping[str, _Member] = getattr(type(target), _KEY)
    return members


def _class_of(description: bytes) -> type[Object]:
    """The class of an interface, by its JSON."""
    known = _classes.get(description)
    if known is not None:
        return known
    interface = json.loads(description)
    name = interface["name"]
    members: dict[str, _Member] = {}
    for shown in interface["members"]:  # the interface's own come first
        members.setdefault(shown["name"].lower(), _Member(name, shown))
    namespace: dict[str, Any] = {member.__name__: member for member in members.values()}
    item = members.get("item")
    is_collection = "count" in members and item is not None and item.argument_count == 1
    namespace |= {"__slots__": (), "__module__": "velmora", "__doc__": interface["help"], _KEY: members}
    made: type[Object] = type(name, (Collection if is_collection else Object,), namespace)
    _classes[description] = made
    return made


# --- Values


class _Value(ctypes.Structure):
    _fields_ = [
        ("type", ctypes.c_int32),
        ("reserved", ctypes.c_int32),
        ("length", ctypes.c_int64),
        ("content", ctypes.c_int64),
    ]


class _Values:
    """Values of Python as an array of velmora_value, for one call."""

    def __init__(self, *values: Any) -> None:
        self._kept: list[Any] = []  # what the array points to
        self.address = self._block(self._pack_all(values, 0))

    def __enter__(self) -> int:
        return self.address

    def __exit__(self, *_raised: object) -> None:
        self._kept.clear()

    def _block(self, content: bytes) -> int:
        block = (ctypes.c_char * max(len(content), 1)).from_buffer_copy(content or b"\0")
        self._kept.append(block)
        return ctypes.addressof(block)

    def _pack_all(self, values: Any, depth: int) -> bytes:
        return b"".join([self._pack(value, depth) for value in values])

    # Numbers are read before texts and sequences: those of NumPy are neither.
    def _pack(self, value: Any, depth: int) -> bytes:
        if value is None:
            return _LAYOUT.pack(_EMPTY, 0, 0, 0)
        if isinstance(value, int):  # bool is one of its kinds
            if abs(value) > _LARGEST_EXACT_INTEGER:
                raise OverflowError("A whole number beyond 2 to the power of 53 cannot be passed exactly.")
            return _LAYOUT.pack(_INTEGER, 0, 0, value)
        if isinstance(value, float):
            return _LAYOUT_OF_REAL.pack(_REAL, 0, 0, value)
        if isinstance(value, str):
            text = value.encode()
            return _LAYOUT.pack(_TEXT, 0, len(text), self._block(text))
        if isinstance(value, Object):
            self._kept.append(value)
            return _LAYOUT.pack(_OBJECT, 0, 0, value._handle)
        if isinstance(value, (bytes, bytearray)):
            raise TypeError("Bytes cannot be passed; decode them to a text first.")
        if hasattr(value, "tolist"):  # arrays and numbers of NumPy
            plain = value.tolist()
            if hasattr(plain, "tolist"):
                raise TypeError("The array has no plain items.")
            return self._pack(plain, depth)
        if isinstance(value, os.PathLike):
            return self._pack(os.fspath(value), depth)
        if hasattr(type(value), "__index__"):
            return self._pack(value.__index__(), depth)
        is_view = hasattr(value, "mapping")  # of a dict's keys or values
        if is_view or (hasattr(type(value), "__getitem__") and not isinstance(value, dict)):
            if depth >= _DEEPEST_ARRAY:
                raise ValueError("Lists are nested too deeply.")
            items = list(value)
            return _LAYOUT.pack(_ARRAY, 0, len(items), self._block(self._pack_all(items, depth + 1)))
        raise TypeError(f"A value of type {type(value).__name__} cannot be passed.")


# --- Calls

_CONTROLS = {code: 0x2400 + code for code in range(0x20)} | {0x7F: 0x2421}
_HIDDEN = [*range(0x80, 0xA0), 0x61C, 0x200E, 0x200F, *range(0x2028, 0x202F), *range(0x2066, 0x206A)]
_MARKS: dict[int, Any] = _CONTROLS | {code: f"<U+{code:04X}>" for code in _HIDDEN}


class _Watch:
    """What happens during a call: progress, and the interruption that ends it."""

    def __init__(self) -> None:
        self.bar = _progress.TerminalBar()
        self.raised: list[BaseException] = []

        # It runs on the thread of the call about twenty times a second, which is when Python
        # notices a signal.
        def report(_user: int | None, stage: bytes, fraction: float) -> int:
            try:
                self.bar.show(stage.decode(), fraction)
            except BaseException as error:
                self.raised.append(error)
            return 1 if self.raised else 0

        self.callback = _library.ProgressFunction(report)

    # An exception of Python's own handler could come up outside of report's try.
    def interrupted(self, number: int, _frame: object) -> None:
        if self.raised:  # the second time: at once
            signal.signal(number, signal.SIG_DFL)
            os.kill(os.getpid(), number)
        self.raised.append(KeyboardInterrupt())


class _Host:
    """A session and its application: the calls of all its objects, one at a time."""

    def __init__(self, session: _library.Session) -> None:
        self._session = session
        self._lock = threading.RLock()
        self._interfaces: dict[bytes, type[Object]] = {}
        self._watch = _Watch()

    def start(self, options: Mapping[str, Any]) -> Object:
        """Starts the application; called once."""
        session, handle = self._session, ctypes.c_void_p()
        session.check(
            _LIBRARY.velmora_application(session.handle, _library.options_text(options), ctypes.byref(handle))
        )
        self._report_notices()
        _LIBRARY.velmora_set_progress(session.handle, self._watch.callback, None)
        return self._wrap(handle.value or 0)

    def use(
        self,
        function: Any,
        target: Object,
        member: bytes,
        bad_use: type[Exception],
        arguments: int | None = None,
        count: int | None = None,
    ) -> Any:
        """Gets, puts or calls a member; bad_use is raised for what does not fit the member."""
        result = _Value()
        words: list[Any] = [target._handle, member]
        if arguments is not None:
            words.append(arguments)
        if count is not None:
            words.append(count)
        if function is not _LIBRARY.velmora_object_put:
            words.append(ctypes.byref(result))
        value: Any = None
        failure: BaseException | None = None
        with self._lock:
            code = self._interruptible(function, words)
            if code != _library.OK:
                failure = self._failure(code, target, bad_use)
            elif result.type != _EMPTY:
                value = self._value(result)
            self._report_notices()
            raised, self._watch.raised = self._watch.raised, []
        if raised:
            raise raised[0]
        if failure is not None:
            raise failure
        return value

    def _interruptible(self, function: Any, words: list[Any]) -> int:
        handled = (
            threading.current_thread() is threading.main_thread()
            and signal.getsignal(signal.SIGINT) is signal.default_int_handler
        )
        try:
            if handled:
                signal.signal(signal.SIGINT, self._watch.interrupted)
            code: int = function(*words)
            return code
        finally:
            self._watch.bar.clear()
            if handled:  # an interruption may be raised from here on
                signal.signal(signal.SIGINT, signal.default_int_handler)

    def _failure(self, code: int, target: Object, bad_use: type[Exception]) -> BaseException:
        try:
            self._session.check(code)
        except VelmoraError as error:
            member, reason, number = ctypes.c_char_p(), ctypes.c_char_p(), ctypes.c_int32()
            failed = Error(*error.args)
            failed.description = str(error)
            if (
                _LIBRARY.velmora_object_failure(
                    target._handle, ctypes.byref(member), ctypes.byref(reason), ctypes.byref(number)
                )
                == _library.OK
            ):
                failed.member = (member.value or b"").decode()
                failed.description = (reason.value or b"").decode(errors="replace")
                failed.code = number.value
            return failed
        except ValueError as error:
            made = bad_use(*error.args)
            if isinstance(made, AttributeError):  # Python would add its own suggestion to ours
                made.name = made.obj = None
            return made
        except BaseException as error:
            return error
        raise AssertionError("a call that has not failed")

    def _report_notices(self) -> None:
        """Shows what the latest call has to say on standard error."""
        if sys.stderr is None:
            return
        for line in self._session.notices():
            sys.stderr.write(line.translate(_MARKS) + "\n")

    def _value(self, value: _Value) -> Any:
        """A value of the library, whose texts and arrays end with the object's next call."""
        return self._values(ctypes.addressof(value), 1)[0]

    def _values(self, address: int, count: int) -> list[Any]:
        block = ctypes.string_at(address, count * _LAYOUT.size)
        made: list[Any] = []
        for (kind, _, length, content), (_, _, _, real) in zip(
            _LAYOUT.iter_unpack(block), _LAYOUT_OF_REAL.iter_unpack(block), strict=True
        ):
            if kind == _REAL:
                made.append(real)
            elif kind == _EMPTY:
                made.append(None)
            elif kind == _INTEGER:
                made.append(content)
            elif kind == _TEXT:
                made.append(ctypes.string_at(content, length).decode(errors="replace"))
            elif kind == _ARRAY:
                made.append(self._values(content, length) if length else [])
            else:
                made.append(self._wrap(content))
        return made

    def _wrap(self, handle: int) -> Object:
        """The object of a handle, which it frees."""
        interface = bytes(_LIBRARY.velmora_object_interface(handle))
        shown = self._interfaces.get(interface)
        if shown is None:
            text = ctypes.c_void_p()
            self._session.check(_LIBRARY.velmora_object_members(handle, ctypes.byref(text)))
            shown = self._interfaces[interface] = _class_of(ctypes.string_at(text.value or 0))
        made = object.__new__(shown)
        object.__setattr__(made, "_handle", handle)
        object.__setattr__(made, "_host", self)
        return made


# --- Applications

_application: Object | None = None


def new_application(
    data: Any = None,
    *,
    quiet: bool = False,
    decimal_separator: str | None = None,
) -> Object:
    """Starts an application of its own.

    Parameters
    ----------
    data : frame, dict of columns, array or path, optional
        The table to begin with; see :func:`velmora.rank`.
    quiet : bool
        Whether messages of analyses are left out; notices and failures are shown on standard error
        in any case.
    decimal_separator : str, optional
        Of numbers in labels; a point by default.

    Returns
    -------
    Object
        The application, whose members docs/scripting.md lists. It ends with its last object.
    """
    session = _library.Session()
    if data is not None:
        from velmora import _frames

        _frames.load(session, data)
    return _Host(session).start({"quiet": quiet, "decimal_separator": decimal_separator})


def start(options: Mapping[str, Any]) -> Object:
    """Starts ``velmora.Application`` with options of the library."""
    global _application
    _application = _Host(_library.Session()).start(options)
    return _application


def application() -> Object:
    """``velmora.Application``: the application of this process, which the first use starts."""
    return _application if _application is not None else start({})
