"""Tables of an MPEG-2 transport stream: sections from files and live streams, as JSON and back bit for bit.

    import psi

    for s in psi.sections("multiplex.ts"):
        print(s.pid, s.table, s.json["tree"])

    document = psi.describe(s.data)
    document["tree"]["version_number"] = 5
    made, = psi.compile(document)               # lengths and CRC_32 are computed
"""

from __future__ import annotations

import ctypes
import itertools
import json as _json
import os
import pathlib
import warnings
from functools import cached_property
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Union

__all__ = ["CompiledSection", "Error", "InputError", "Section", "compile", "describe", "sections", "__version__"]

_STANDARDS = {None: 0, "dvb": 1, "atsc": 2}


class Error(ValueError):
    """Something that cannot be described or compiled. `place` is a JSON pointer, or "" where there is none."""

    def __init__(self, message: str, place: str = "") -> None:
        super().__init__(f"{place}: {message}" if place else message)
        self.place = place
        self.message = message


class InputError(OSError):
    """An input that cannot be opened or read, or that holds no transport stream."""


class _Error(ctypes.Structure):
    _fields_ = [("place", ctypes.c_char * 256), ("message", ctypes.c_char * 512)]

    def text(self, name: str) -> str:
        encoded: bytes = getattr(self, name)
        return encoded.decode("utf-8", "replace")


class _Section(ctypes.Structure):
    _fields_ = [
        ("bytes", ctypes.POINTER(ctypes.c_uint8)),
        ("length", ctypes.c_size_t),
        ("packet", ctypes.c_uint64),
        ("pid", ctypes.c_int),
        ("repeated", ctypes.c_int),
    ]


def _load() -> ctypes.CDLL:
    library = ctypes.CDLL(os.fspath(pathlib.Path(__file__).with_name("_psi.so")))
    pointer, text, size, number = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t, ctypes.c_int
    error = ctypes.POINTER(_Error)
    for name, result, arguments in (
        ("psiDescribeSection", pointer, [text, size, number, number, error]),
        ("psiDescribeFree", None, [pointer]),
        ("psiDescribeCompile", pointer, [text, size, number, error]),
        ("psiDescribeSectionCount", size, [pointer]),
        ("psiDescribeSectionBytes", pointer, [pointer, size, ctypes.POINTER(size), ctypes.POINTER(number)]),
        ("psiDescribeWarning", text, [pointer, size]),
        ("psiDescribeSectionsFree", None, [pointer]),
        ("psiStreamOpen", pointer, [text, number, error]),
        ("psiStreamNext", number, [pointer, number, ctypes.POINTER(_Section), error]),
        ("psiStreamClose", None, [pointer]),
        ("psiStreamVersion", text, []),
    ):
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


_library = _load()

__version__: str = _library.psiStreamVersion().decode()


def _standard(name: Optional[str]) -> int:
    try:
        return _STANDARDS[name]
    except KeyError:
        raise ValueError(f'standard is "dvb", "atsc" or None, not {name!r}') from None


class Section:
    """A section as it came."""

    def __init__(self, data: bytes, pid: int, packet: int, repeated: bool, standard: Optional[str]) -> None:
        self.data = data
        """table_id to the last byte"""
        self.pid = pid
        self.packet = packet
        """number of the packet, from 0, that completed it"""
        self.repeated = repeated
        """the same came before"""
        self._standard = standard

    @property
    def table_id(self) -> int:
        return self.data[0]

    @property
    def table(self) -> Optional[str]:
        """The table's name, such as "PMT" or "NIT actual"; None for an unknown one."""
        table: Optional[str] = self.json["table"]
        return table

    @cached_property
    def json(self) -> Dict[str, Any]:
        """Every field, as `psitool tables --json` has it."""
        return describe(self.data, self.pid, self._standard)

    def __repr__(self) -> str:
        return f"<psi.Section {self.table or hex(self.table_id)} on PID 0x{self.pid:04X}, {len(self.data)} bytes>"


class CompiledSection(NamedTuple):
    """A section made from JSON."""

    data: bytes
    pid: Optional[int]
    """None where neither the document nor a standard gives one"""


def describe(section: bytes, pid: Optional[int] = None, standard: Optional[str] = None) -> Dict[str, Any]:
    """Every field of a section, also of a damaged one.

    `standard` ("dvb" or "atsc") says whose private descriptors are meant where the section does not say it.
    """
    section = bytes(section)
    error = _Error()
    text = _library.psiDescribeSection(
        section, len(section), -1 if pid is None else pid, _standard(standard), ctypes.byref(error)
    )
    if not text:
        raise Error(error.text("message"), error.text("place"))
    try:
        described: Dict[str, Any] = _json.loads(ctypes.string_at(text))
        return described
    finally:
        _library.psiDescribeFree(text)


def compile(
    document: Union[str, bytes, Dict[str, Any], List[Any]], standard: Optional[str] = None
) -> List[CompiledSection]:
    """The sections of a document: JSON text, or what json.loads() makes of it.

    A section of describe(), several of them in a list, the tree of one, or the whole of `psitool tables --json`. What
    was not edited comes back bit for bit. Raises Error with the place of the first field that cannot be written, and
    warns of what was passed over because it contradicts something else.
    """
    text = document if isinstance(document, (str, bytes)) else _json.dumps(document)
    text = text.encode() if isinstance(text, str) else text
    error = _Error()
    made = _library.psiDescribeCompile(text, len(text), _standard(standard), ctypes.byref(error))
    if not made:
        raise Error(error.text("message"), error.text("place"))
    try:
        for index in itertools.count():
            warning = _library.psiDescribeWarning(made, index)
            if warning is None:
                break
            warnings.warn(warning.decode(), stacklevel=2)
        return [_compiled(made, index) for index in range(_library.psiDescribeSectionCount(made))]
    finally:
        _library.psiDescribeSectionsFree(made)


def _compiled(made: int, index: int) -> CompiledSection:
    length, pid = ctypes.c_size_t(), ctypes.c_int()
    data = _library.psiDescribeSectionBytes(made, index, ctypes.byref(length), ctypes.byref(pid))
    return CompiledSection(ctypes.string_at(data, length.value), None if pid.value < 0 else pid.value)


def sections(
    source: Union[str, "os.PathLike[str]"],
    *,
    repetitions: bool = False,
    timeout: Optional[float] = None,
    standard: Optional[str] = None,
) -> Iterator[Section]:
    """The sections of a file, of standard input ("-"), or of a live stream ("udp://...", "rtp://..."), as they come.

    With `repetitions` those that came before as well. A live stream has no end: with `timeout` the iteration ends when
    nothing new has come for so many seconds. Raises InputError.
    """
    _standard(standard)
    return _iterate(_Stream(os.fsencode(source), repetitions), timeout, standard)


class _Stream:
    """An open input. It is closed with its last user, also one that never asked for a section."""

    handle: Optional[int] = None

    def __init__(self, source: bytes, repetitions: bool) -> None:
        if b"\0" in source:
            raise ValueError("embedded null byte")
        error = _Error()
        self.handle = _library.psiStreamOpen(source, repetitions, ctypes.byref(error))
        if not self.handle:
            raise InputError(error.text("message"))

    def close(self) -> None:
        handle, self.handle = self.handle, None
        if handle:
            _library.psiStreamClose(handle)

    __del__ = close


def _iterate(stream: _Stream, timeout: Optional[float], standard: Optional[str]) -> Iterator[Section]:
    step = 100  # milliseconds, so that Ctrl-C is heard
    section, error = _Section(), _Error()
    waited = 0.0
    try:
        while True:
            result = _library.psiStreamNext(stream.handle, step, ctypes.byref(section), ctypes.byref(error))
            if result == 1:
                waited = 0.0
                data = ctypes.string_at(section.bytes, section.length)
                yield Section(data, section.pid, section.packet, bool(section.repeated), standard)
            elif result == 0:
                waited += step / 1000
                if timeout is not None and waited >= timeout:
                    return
            elif result == -2:
                raise InputError(error.text("message"))
            else:
                return
    finally:
        stream.close()
