"""Kestrabel's tag library from Python: ctypes over libkestrabel.so.0, nothing to compile.

    import kestrabel
    with kestrabel.open("song.mp3") as f:
        print(f["Title"], f.get("Track Number"))
        f["Title"] = "New title"
        f.save()

Values are read and written by data-ID name (the constant's name, its short form "Title" or the
display name, any case) as Python types: int for integer IDs, str for texts, bytes for binary
data such as "Cover Art". A failing call raises KestrabelError, which carries the status number
and its constant name ("kMediaFileErrNotFound", "ENOENT").
"""

import ctypes
import os

__all__ = ["KestrabelError", "MediaFile", "open", "data_ids", "status_name", "status_message",
           "FLAG_KEEP_TAG_VERSION", "FLAG_PRESERVE_DATES", "FLAG_SKIP_MPEG_INFO", "FLAG_IN_PLACE"]

FLAG_SKIP_MPEG_INFO = 0x10
FLAG_KEEP_TAG_VERSION = 0x1000
FLAG_PRESERVE_DATES = 0x10000
FLAG_IN_PLACE = 0x40000

# What "the file has no such value" is: the library's code, and the Ogg handler's own.
_ABSENT = (-6727, 2005)


class _DataIDInfo(ctypes.Structure):
    _fields_ = [("dataID", ctypes.c_int32), ("constantName", ctypes.c_char_p), ("displayName", ctypes.c_char_p),
                ("valueType", ctypes.c_char), ("readOnly", ctypes.c_uint8)]


def _load():
    # KESTRABEL_LIBRARY names a library outside the linker's search path (a build tree).
    lib = ctypes.CDLL(os.environ.get("KESTRABEL_LIBRARY") or "libkestrabel.so.0")
    status, ref, text, size = ctypes.c_int32, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_size_t
    out_buffer = ctypes.POINTER(ctypes.c_void_p)
    for name, result, arguments in [
        ("MediaFileOpen", status, [text, ctypes.POINTER(ref), ctypes.c_uint32]),
        ("MediaFileClose", status, [ref]),
        ("MediaFileUpdate", status, [ref, ctypes.c_uint32]),
        ("MediaFileGetPath", text, [ref]),
        ("MediaFileGetType", status, [ref, ctypes.POINTER(ctypes.c_int32)]),
        ("MediaFileGetTypeName", text, [ctypes.c_int32]),
        ("MediaFileGetInteger", status, [ref, ctypes.c_int32, ctypes.POINTER(ctypes.c_int32)]),
        ("MediaFileSetInteger", status, [ref, ctypes.c_int32, ctypes.c_int32]),
        ("MediaFileGetString", status, [ref, ctypes.c_int32, out_buffer]),
        ("MediaFileSetString", status, [ref, ctypes.c_int32, text]),
        ("MediaFileGetData", status, [ref, ctypes.c_int32, out_buffer, ctypes.POINTER(size)]),
        ("MediaFileSetData", status, [ref, ctypes.c_int32, ctypes.c_char_p, size]),
        ("MediaFileGetStatusName", text, [status]),
        ("MediaFileGetStatusMessage", text, [status]),
        ("MediaFileGetDataIDCount", size, []),
        ("MediaFileGetDataIDInfoAt", ctypes.POINTER(_DataIDInfo), [size]),
        ("MediaFileFindDataID", ctypes.POINTER(_DataIDInfo), [text]),
    ]:
        function = getattr(lib, name)
        function.restype, function.argtypes = result, arguments
    return lib


_lib = _load()
# Texts and bytes the library hands out are released with the C library's free().
_free = ctypes.CDLL(None).free
_free.argtypes, _free.restype = [ctypes.c_void_p], None


def status_name(status):
    """The constant's name of a status: "kMediaFileErrNotFound", "ENOENT", or "?"."""
    return _lib.MediaFileGetStatusName(status).decode()


def status_message(status):
    return _lib.MediaFileGetStatusMessage(status).decode()


class KestrabelError(OSError):
    """A failed library call; status is the number, name the constant's name."""

    def __init__(self, status, what, path=None):
        self.status = status
        self.name = status_name(status)
        where = f"{path}: " if path else ""
        super().__init__(f"{where}{what}: status {status} ({self.name}): {status_message(status)}")


def data_ids():
    """Every data ID as (number, constant name, display name, value type 'I', 'S', 'D', 'P' or '-')."""
    result = []
    for index in range(_lib.MediaFileGetDataIDCount()):
        info = _lib.MediaFileGetDataIDInfoAt(index).contents
        result.append((info.dataID, info.constantName.decode(), info.displayName.decode(), info.valueType.decode()))
    return result


def _info(name):
    if isinstance(name, int):
        for entry in data_ids():
            if entry[0] == name:
                return entry
        raise KeyError(f"no data ID {name}")
    found = _lib.MediaFileFindDataID(name.encode())
    if not found:
        raise KeyError(f"no data ID named {name!r}")
    info = found.contents
    return info.dataID, info.constantName.decode(), info.displayName.decode(), info.valueType.decode()


class MediaFile:
    """One open media file. Close it (or use it in a with block) to release it."""

    def __init__(self, path, flags=0):
        self._ref = ctypes.c_void_p()
        self.path = os.fspath(path)
        status = _lib.MediaFileOpen(os.fsencode(self.path), ctypes.byref(self._ref), flags)
        if status:
            self._ref = None
            raise KestrabelError(status, "open", self.path)

    def _handle(self):
        if not self._ref:
            raise ValueError("the file is closed")
        return self._ref

    @property
    def kind(self):
        """The file's kind by name: "MP3", "MP4", "AIFF", "Ogg", "FLAC", "WAVE", ..."""
        kind = ctypes.c_int32()
        _lib.MediaFileGetType(self._handle(), ctypes.byref(kind))
        return _lib.MediaFileGetTypeName(kind.value).decode()

    def get(self, name, default=None):
        """The value of a data ID (int, str or bytes), or default when the file has none."""
        try:
            return self[name]
        except KeyError:
            _info(name)  # an unknown name is still an error
            return default

    def __getitem__(self, name):
        number, constant, _, kind = _info(name)
        ref = self._handle()
        if kind == "I":
            value = ctypes.c_int32()
            status = _lib.MediaFileGetInteger(ref, number, ctypes.byref(value))
            result = value.value
        elif kind == "D":
            buffer, length = ctypes.c_void_p(), ctypes.c_size_t()
            status = _lib.MediaFileGetData(ref, number, ctypes.byref(buffer), ctypes.byref(length))
            result = self._take(status, buffer, length.value)
        else:
            buffer = ctypes.c_void_p()
            status = _lib.MediaFileGetString(ref, number, ctypes.byref(buffer))
            result = self._take(status, buffer, None)
            result = result.decode("utf-8", "surrogateescape") if result is not None else None
        if status in _ABSENT:
            raise KeyError(name)
        if status:
            raise KestrabelError(status, f"reading {constant}", self.path)
        return result

    @staticmethod
    def _take(status, buffer, length):
        if status or not buffer.value:
            return None
        try:
            return ctypes.string_at(buffer.value, length) if length is not None else ctypes.string_at(buffer.value)
        finally:
            _free(buffer.value)

    def __setitem__(self, name, value):
        number, constant, _, kind = _info(name)
        ref = self._handle()
        if isinstance(value, bool) or not isinstance(value, (int, str, bytes, bytearray)):
            raise TypeError(f"{constant} takes int, str or bytes, not {type(value).__name__}")
        if isinstance(value, int):
            status = _lib.MediaFileSetInteger(ref, number, value)
        elif isinstance(value, str):
            status = _lib.MediaFileSetString(ref, number, value.encode("utf-8", "surrogateescape"))
        else:
            status = _lib.MediaFileSetData(ref, number, bytes(value), len(value))
        if status:
            raise KestrabelError(status, f"setting {constant}", self.path)

    set = __setitem__

    def save(self, flags=FLAG_KEEP_TAG_VERSION):
        """Writes every change into the file."""
        status = _lib.MediaFileUpdate(self._handle(), flags)
        if status:
            raise KestrabelError(status, "save", self.path)

    def close(self):
        if self._ref:
            status = _lib.MediaFileClose(self._ref)
            if status:
                # The handle stays open after a failed close; it may be closed again.
                raise KestrabelError(status, "close", self.path)
            self._ref = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __del__(self):
        if getattr(self, "_ref", None):
            _lib.MediaFileClose(self._ref)


def open(path, flags=0):  # noqa: A001 - the module's entry point, as built-in open is the file's
    """Opens a media file; use it in a with block."""
    return MediaFile(path, flags)
