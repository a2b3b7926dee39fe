"""The process for processors in Python, which ``tyksim replay --with FILE.py`` starts.

A processor is a Python file with a function ``process(frame)``, and optionally ``open(...)`` and
``close()``; docs/python.md describes them. tyksim starts an interpreter that calls main(). The two
processes communicate through a socket and two files of shared memory. A processor uses only the
class Frame.
"""

from __future__ import annotations

import copy
import mmap
import os
import struct
import sys
from typing import TYPE_CHECKING, Any, Callable, Iterator, Mapping, NamedTuple, Optional

import numpy as np

from . import _core
from ._arguments import name_of_value
from ._images import Image
from ._parameters import ByTag
from ._values import ValuesByName
from ._writing import setting

if TYPE_CHECKING:
    import ast
    import inspect
    import socket
    from types import ModuleType, TracebackType

    from ._images import ImageLike, Samples

# The messages and the layouts of tools/processor/Protocol.h.
_LOAD, _OPEN, _FRAME, _CLOSE = 1, 2, 3, 4
_DONE, _FAILED, _REFUSED = 100, 101, 102
_MESSAGE = struct.Struct("=IIQ")
_PIECE = struct.Struct("=QQ")
_FRAME_GIVEN = struct.Struct("=iiiiII iiQQ QQ")
_PARAMETER = struct.Struct("=IIiIII QQ QQ")
_FRAME_MADE = struct.Struct("=iiQQ II QQ")
_VALUE = struct.Struct("=II QQ")
_ALIGNMENT = 64
_GROWTH = 1 << 16

_PROCESSOR_NAME = "__tyksim_processor__"
_RETURNED_NAME = "__tyksim_returned__"
_DROPPED = object()


class Refused(Exception):
    """The user's options are wrong; the text is the reason."""


class Failed(Exception):
    """A request failed; the text is the reason."""


class _SharedMemory:
    """One of the files that both processes map. It grows and never shrinks."""

    def __init__(self, descriptor: int) -> None:
        self._descriptor = descriptor
        self._map: Optional[mmap.mmap] = None
        self._used = 0

    def view(self) -> mmap.mmap:
        """The whole file; maps it again if it has grown."""
        size = os.fstat(self._descriptor).st_size
        if self._map is None or len(self._map) < size:
            # Arrays of earlier frames keep the old mapping.
            self._map = mmap.mmap(self._descriptor, size)
        return self._map

    def clear(self) -> None:
        """Removes all pieces."""
        self._used = 0

    @property
    def used(self) -> int:
        """Bytes up to the end of the last piece."""
        return self._used

    def add(self, data: Any) -> tuple[int, int]:
        """Writes a piece after the others and returns its offset and its length."""
        piece = memoryview(data).cast("B")
        at = -(-self._used // _ALIGNMENT) * _ALIGNMENT
        end = at + len(piece)
        size = os.fstat(self._descriptor).st_size
        if end > size:
            os.ftruncate(self._descriptor, -(-max(end, 2 * size) // _GROWTH) * _GROWTH)
        if end > at:
            self.view()[at:end] = piece
        self._used = end
        return at, len(piece)


class _Arrived(NamedTuple):
    """A parameter in the shared memory."""

    tag: int
    camera: int
    pipe_type: int
    sof: int
    is_block: bool
    name: str
    at: int
    size: int


class Value:
    """A parameter's value.

    Attributes:
        tag: name of the tag.
        id: of the tag.
        camera, pipe_type, sof: as the parameter arrived.
        kind: "fixed" or "block".
        bytes: the value.
    """

    __slots__ = ("_table", "bytes", "camera", "id", "kind", "pipe_type", "sof", "tag")

    def __init__(self, table: _core.Table, arrived: _Arrived, value: bytes) -> None:
        self._table = table
        self.tag = arrived.name
        self.id = arrived.tag
        self.camera = arrived.camera
        self.pipe_type = arrived.pipe_type
        self.sof = arrived.sof
        self.kind = "block" if arrived.is_block else "fixed"
        self.bytes = value

    @property
    def fields(self) -> dict[str, Any]:
        """The values of the tag table's fields, by name."""
        return self._table.fields(self.tag, self.bytes, self.tag)

    def __getitem__(self, field: str) -> Any:
        return self._table.decode(f"{self.tag}.{field}", self.bytes, [self.tag])

    def __len__(self) -> int:
        return len(self.bytes)

    def _with(self, value: bytes) -> Value:
        """A copy of the parameter with another value."""
        changed = copy.copy(self)
        changed.bytes = value
        return changed

    def __repr__(self) -> str:
        return f"<tyksim.processor.Value {self.tag}: {len(self.bytes)} bytes>"


class Values(ByTag[Value]):
    """The parameters of a frame by tag name; if a tag has several, its name stands for the first."""

    def __init__(self, values: list[Value]) -> None:
        super().__init__(values, "the frame has no parameter")


class Frame(ValuesByName):
    """The frame to process.

    ``frame[NAME]`` gets a value, and ``frame[NAME] = value`` sets it in every parameter of its tag.
    NAME is TAG.field, a field of the scene record, or TAG for all bytes. ``y`` and ``vu`` are the
    picture in memory that tyksim shares and records. They are valid until process() returns; copy
    samples that you keep. After an assignment to ``image`` they are the assigned picture.

    Attributes:
        request, sof, camera, pipe: ids.
        task: position of the task, from 1.
        position: of the frame within its task, from 1.
    """

    def __init__(self, given: mmap.mmap, table: _core.Table) -> None:
        (
            self.request, self.sof, self.camera, self.pipe, self.task, self.position,
            self._width, self._height, self._pixels, self._bytes, self._list, self._list_bytes,
        ) = _FRAME_GIVEN.unpack_from(given)
        self._given = given
        self._table = table
        self._values: Optional[Values] = None
        self._set: dict[str, bytes] = {}
        self._samples: Optional[Samples] = None  # of a picture that was assigned
        self._dropped = False

    @property
    def has_image(self) -> bool:
        """Whether the frame has a picture."""
        return self.width > 0

    @property
    def width(self) -> int:
        """Pixels in a row; 0 without a picture."""
        return int(self._width)

    @property
    def height(self) -> int:
        """Rows of pixels; 0 without a picture."""
        return int(self._height)

    @property
    def nv21(self) -> Samples:
        """The (W * H * 3) / 2 bytes of the image file, shape (N,), uint8, writable."""
        if self._samples is not None:
            return self._samples
        if not self.has_image:
            raise ValueError("the frame has no image")
        return np.frombuffer(self._given, np.uint8, self._bytes, self._pixels)

    @property
    def y(self) -> Samples:
        """Luma, shape (H, W), uint8, writable."""
        return self.nv21[: self.width * self.height].reshape(self.height, self.width)

    @y.setter
    def y(self, samples: Samples) -> None:
        _replace("y", self.y, samples)

    @property
    def vu(self) -> Samples:
        """Chroma, shape (H/2, W/2, 2), uint8, writable: V, then U.

        Raises ValueError for a picture with an odd side: its file lacks the last chroma samples.
        """
        if self.width % 2 or self.height % 2:
            raise ValueError(
                f"{self.width}x{self.height}: an image file with an odd side lacks its last chroma "
                "samples; nv21 has the others"
            )
        chroma = self.nv21[self.width * self.height :]
        return chroma.reshape(self.height // 2, self.width // 2, 2)

    @vu.setter
    def vu(self, samples: Samples) -> None:
        _replace("vu", self.vu, samples)

    @property
    def image(self) -> Image:
        """A copy of the picture. Assign an Image, a pair (y, vu) or an NV21 array of any size."""
        return Image(self.y.copy(), self.vu.copy())

    @image.setter
    def image(self, image: ImageLike) -> None:
        given = Image._from(image, (self.height, self.width))
        self._samples = given._file_samples()
        self._height, self._width = given.shape

    @property
    def parameters(self) -> Values:
        """The parameters as they arrived, by tag name."""
        if self._values is None:
            self._values = Values([
                Value(self._table, arrived, self._given[arrived.at : arrived.at + arrived.size])
                for arrived in self._arrived()
            ])
        return self._values

    def _arrived(self) -> Iterator[_Arrived]:
        for at in range(self._list, self._list + self._list_bytes, _PARAMETER.size):
            tag, camera, pipe_type, sof, is_block, _, name_at, name_size, data, size = (
                _PARAMETER.unpack_from(self._given, at)
            )
            name = self._given[name_at : name_at + name_size].decode("utf-8", "surrogateescape")
            yield _Arrived(tag, camera, pipe_type, sof, bool(is_block), name, data, size)

    def drop(self) -> None:
        """Leaves the frame out of the recording."""
        self._dropped = True

    def __getitem__(self, name: str) -> Any:
        names = list(self.parameters)
        tag = self._table.tag_of(name_of_value(name), names)
        value = self.parameters[tag]
        if tag in self._set:
            value = value._with(self._set[tag])
        return value if name == tag else self._table.decode(name, value.bytes, names)

    def __setitem__(self, name: str, value: Any) -> None:
        names = list(self.parameters)
        tag, given = setting(self._table, names, name, value)
        of_tag = self.parameters.all(tag)
        first = self.parameters[tag]
        if isinstance(given, bytes):
            new = given
        else:
            if tag not in self._set and any(other.bytes != first.bytes for other in of_tag):
                raise ValueError(
                    f"{name}: the frame has several values of {tag}, which are not the same; "
                    f"set all of it as frame[{tag!r}] = bytes"
                )
            new = self._table.encode(name, given, self._set.get(tag, first.bytes), names)
        for other in of_tag:
            _core.check_value(other.id, other.kind == "block", len(other), len(new))
        self._set[tag] = new

    def __repr__(self) -> str:
        return (
            f"<tyksim.processor.Frame {self.position} of task {self.task}, "
            f"request {self.request}>"
        )

    def _give_back(self, made: _SharedMemory) -> None:
        """Writes the processor's result into the shared memory."""
        made.add(bytes(_FRAME_MADE.size))
        picture = (0, 0, 0, 0)
        is_given = 0
        if self._dropped:
            pass
        elif self._samples is not None:
            picture = (self.width, self.height, *made.add(self._samples))
        else:
            is_given = int(self.has_image)
        values = b""
        for tag, value in self._set.items():
            values += _VALUE.pack(self.parameters[tag].id, 0, *made.add(value))
        listed = made.add(values)
        _FRAME_MADE.pack_into(made.view(), 0, *picture, is_given, 0, *listed)


def _replace(name: str, old: Samples, new: Any) -> None:
    """Replaces samples by others of the same shape."""
    new = np.asarray(new)
    if new.shape != old.shape or new.dtype != np.uint8:
        raise ValueError(
            f"{name}: expected shape {old.shape} of uint8, found {new.shape} of {new.dtype}"
        )
    old[:] = new


def _functions(node: ast.AST) -> Iterator[ast.FunctionDef]:
    """The functions of a module, also those inside its ``if`` and ``try`` statements."""
    import ast

    for child in ast.iter_child_nodes(node):
        if isinstance(child, ast.FunctionDef):
            yield child
        elif not isinstance(child, (ast.AsyncFunctionDef, ast.ClassDef, ast.Lambda)):
            yield from _functions(child)


def _mark_returns(tree: ast.Module) -> None:
    """Distinguishes ``return None`` in process() from the end of the function.

    A function that changes the frame in place ends without a return statement and keeps it; one
    that returns None drops it.
    """
    import ast

    class Returns(ast.NodeTransformer):
        def visit_FunctionDef(self, node: ast.FunctionDef) -> ast.AST:
            return node  # the returns of an inner function do not count

        def visit_AsyncFunctionDef(self, node: ast.AsyncFunctionDef) -> ast.AST:
            return node

        def visit_ClassDef(self, node: ast.ClassDef) -> ast.AST:
            return node

        def visit_Lambda(self, node: ast.Lambda) -> ast.AST:
            return node

        def visit_Return(self, node: ast.Return) -> ast.AST:
            call = ast.Call(
                func=ast.Name(id=_RETURNED_NAME, ctx=ast.Load()),
                args=[node.value or ast.Constant(value=None)],
                keywords=[],
            )
            return ast.fix_missing_locations(ast.copy_location(ast.Return(value=call), node))

    for function in _functions(tree):
        if function.name == "process":
            function.body = [Returns().visit(line) for line in function.body]


def _returned(value: Any) -> Any:
    return _DROPPED if value is None else value


def _module_name(path: str) -> str:
    """The name of the processor's module: that of its file, so that other processes can import it."""
    name = os.path.splitext(os.path.basename(path))[0]
    return name if name.isidentifier() and name not in sys.modules else _PROCESSOR_NAME


def _load(path: str) -> ModuleType:
    """Loads the processor at ``path`` as a module."""
    import ast
    from types import ModuleType

    try:
        with open(path, "rb") as file:
            source = file.read()
    except OSError as error:
        raise Failed(f"cannot be read: {error.strerror}") from None
    tree = compile(source, path, "exec", ast.PyCF_ONLY_AST, dont_inherit=True)
    _mark_returns(tree)
    name = _module_name(path)
    module = ModuleType(name)
    module.__file__ = path
    setattr(module, _RETURNED_NAME, _returned)
    sys.modules[name] = module
    sys.path.insert(0, os.path.dirname(path))  # as for a script, so that it finds its modules
    exec(compile(tree, path, "exec", dont_inherit=True), module.__dict__)
    if not callable(getattr(module, "process", None)):
        raise Failed("expected a function process(frame), found none")
    return module


_BOOLS = {"1": True, "true": True, "yes": True, "on": True,
          "0": False, "false": False, "no": False, "off": False}


def _bool(text: str) -> bool:
    if text.lower() not in _BOOLS:
        raise ValueError(text)
    return _BOOLS[text.lower()]


def _converter(annotation: Any, default: Any) -> tuple[Callable[[str], Any], str]:
    """The function that converts an option's text, and a description of valid texts."""
    import inspect
    import typing

    if annotation is inspect.Parameter.empty:
        known = default is not None and default is not inspect.Parameter.empty
        annotation = type(default) if known else str
    choices = [choice for choice in typing.get_args(annotation) if choice is not type(None)]
    if typing.get_origin(annotation) is typing.Literal:
        words = {str(choice): choice for choice in choices}

        def choose(text: str) -> Any:
            if text not in words:
                raise ValueError(text)
            return words[text]

        return choose, "one of " + ", ".join(words)
    if len(choices) == 1:  # Optional[T]
        annotation = choices[0]
    if annotation is bool:
        return _bool, "true or false"
    if not isinstance(annotation, type):
        return str, "a text"
    return annotation, {int: "a whole number", float: "a number"}.get(
        annotation, annotation.__name__
    )


def _options(function: Callable[..., Any], given: list[str]) -> inspect.BoundArguments:
    """The options as arguments of open(), by name. Raises Refused for invalid ones."""
    import inspect
    import typing

    signature = inspect.signature(function)
    variable = (inspect.Parameter.VAR_POSITIONAL, inspect.Parameter.VAR_KEYWORD)
    named = {name: one for name, one in signature.parameters.items() if one.kind not in variable}
    further = next((one for one in signature.parameters.values() if one.kind == variable[1]), None)
    try:
        hints = typing.get_type_hints(function)
    except Exception:  # an annotation may be anything; one that is not a type is ignored
        hints = {}
    values: dict[str, Any] = {}
    rest: dict[str, Any] = {}
    for option in given:
        name, equals, text = option.partition("=")
        if not equals or not name:
            raise Refused(f"--option {option}: expected NAME=VALUE")
        parameter = named.get(name, further)
        if parameter is None:
            nearest = _core.nearest(name, list(named)) or list(named)
            there = f"; there is {', '.join(nearest)}" if nearest else "; it takes none"
            raise Refused(f"--option {option}: no option {name}{there}")
        annotation = hints.get(parameter.name, parameter.annotation)
        convert, what = _converter(annotation, parameter.default)
        try:
            (values if name in named else rest)[name] = convert(text)
        except Exception:  # the user's own types may raise any
            raise Refused(f"--option {option}: expected {what}, found {text!r}") from None
    for name, parameter in named.items():
        if name not in values and parameter.default is inspect.Parameter.empty:
            raise Refused(f"expected --option {name}=VALUE, found none")
    arguments = signature.bind_partial()
    arguments.arguments.update(values)
    if further is not None:
        arguments.arguments[further.name] = rest
    arguments.apply_defaults()
    return arguments


def _own_part(traceback: Optional[TracebackType]) -> Optional[TracebackType]:
    """The traceback without this module's calls."""
    while traceback is not None and traceback.tb_frame.f_code.co_filename == __file__:
        traceback = traceback.tb_next
    return traceback


def _said(error: Exception) -> str:
    """The type and the text of an exception."""
    try:
        return f"{type(error).__name__}: {error}"
    except Exception:  # from the exception's own __str__()
        return type(error).__name__


class _Server:
    """Answers the requests one after the other."""

    def __init__(self, given: _SharedMemory, made: _SharedMemory) -> None:
        self._given = given
        self._made = made
        self._module: Optional[ModuleType] = None
        self._table: Optional[_core.Table] = None
        self._where = ""

    def answer(self, kind: int, size: int) -> tuple[int, int]:
        """Serves a request; returns the kind of the answer and its bytes in the shared memory."""
        self._made.clear()
        self._where = ""
        try:
            self._serve(kind, size)
            return _DONE, self._made.used
        except Refused as refused:
            return self._reason(_REFUSED, str(refused))
        except Failed as failed:
            return self._reason(_FAILED, str(failed))
        except Exception as error:
            self._show(error)
            return self._reason(_FAILED, _said(error))

    def _reason(self, kind: int, reason: str) -> tuple[int, int]:
        self._made.clear()
        self._made.add(reason.encode("utf-8", "replace"))
        return kind, self._made.used

    def _show(self, error: Exception) -> None:
        """Prints the exception's traceback, with the frame."""
        import traceback

        if self._where:
            print(f"tyksim: {self._where}:", file=sys.stderr)
        traceback.print_exception(type(error), error, _own_part(error.__traceback__))

    def _texts(self, size: int) -> list[str]:
        texts = self._given.view()[:size].split(b"\0")[:-1] if size else []
        return [text.decode("utf-8", "surrogateescape") for text in texts]

    def _serve(self, kind: int, size: int) -> None:
        if kind == _LOAD:
            path, table = self._texts(size)
            self._table = _core.Table(table)
            self._module = _load(path)
        elif kind == _OPEN:
            function = getattr(self._module, "open", None)
            options = self._texts(size)
            if function is None or function is open:
                if options:
                    raise Refused(f"--option {options[0]}: the processor has no function open()")
                return
            arguments = _options(function, options)
            function(*arguments.args, **arguments.kwargs)
        elif kind == _FRAME:
            self._process()
        elif kind == _CLOSE:
            function = getattr(self._module, "close", None)
            if function is not None:
                function()
        else:
            raise Failed(f"expected a request, found {kind}")

    def _process(self) -> None:
        assert self._table is not None and self._module is not None
        frame = Frame(self._given.view(), self._table)
        self._where = (
            f"frame {frame.position} of task {frame.task}, request {frame.request}"
        )
        returned = self._module.process(frame)
        if returned is _DROPPED:
            frame.drop()
        elif isinstance(returned, (Image, tuple, np.ndarray)):
            picture: Any = returned
            frame.image = picture
        elif returned is not None and returned is not frame and returned is not True:
            raise Failed(
                "process() returned a " + type(returned).__name__ + "; expected nothing, the "
                "frame, an Image, a pair (y, vu), an NV21 array, or None to drop the frame"
            )
        frame._give_back(self._made)


def _serve(connection: socket.socket, given: _SharedMemory, made: _SharedMemory) -> None:
    server = _Server(given, made)
    while True:
        request = connection.recv(_MESSAGE.size)
        if len(request) != _MESSAGE.size:
            return
        kind, _, size = _MESSAGE.unpack(request)
        answer, used = server.answer(kind, size)
        # The processor's output must appear before tyksim's messages about the frame.
        sys.stdout.flush()
        sys.stderr.flush()
        connection.send(_MESSAGE.pack(answer, 0, used))
        if kind == _CLOSE:
            return


def main(words: list[str]) -> None:
    """Serves tyksim. ``words`` are the descriptors of the socket and of the two files."""
    import signal
    import socket

    if len(words) != 3:
        sys.exit("expected the descriptors that 'tyksim replay --with FILE.py' gives")
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGPIPE):
        # tyksim gets these signals, too, and ends this process. A handler, other than SIG_IGN, does
        # not pass to programs that the processor starts.
        signal.signal(number, lambda *_: None)
    descriptors = [int(word) for word in words]
    for descriptor in descriptors:
        os.set_inheritable(descriptor, False)
    connection = socket.socket(fileno=descriptors[0])
    _serve(connection, _SharedMemory(descriptors[1]), _SharedMemory(descriptors[2]))
