"""Typed keys of collections from the texts of data paths.

    >>> import drovan
    >>> schema = drovan.Schema.yaml("network.yaml", root="Device")
    >>> vrf, route = schema.resolve("/vrf[name=red]/route[protocol=bgp]")
    >>> vrf.key.value
    'red'
    >>> route.filter
    {'protocol': 'bgp'}

A path that is refused is a `DecodeError`, which says what, where, and what there is instead.

Schemas and keys never change: any number of threads may use them. `Schema.resolve_many` takes whole lists and works
without the interpreter's lock.
"""

from __future__ import annotations

import array
import collections.abc
import functools
import ipaddress
import os

from drovan import _drovan

_ffi = _drovan.ffi
_lib = _drovan.lib

__all__ = ["DecodeError", "Key", "Node", "Resolved", "ResolvedMany", "Schema", "Selection"]
__version__ = "{}.{}".format(*divmod(_lib.drovan_version(), 1000))

_NOWHERE = int(_ffi.cast("size_t", -1))
_ERROR_SIZE = _ffi.sizeof("drovan_error")
_SELECTED_SIZE = _ffi.sizeof("drovan_selected")
_MODES = {"read": _lib.DROVAN_READ, "write": _lib.DROVAN_WRITE, "delete": _lib.DROVAN_DELETE,
          "notify": _lib.DROVAN_NOTIFY}
_NODE_KINDS = {_lib.DROVAN_LEAF: "leaf", _lib.DROVAN_LEAF_LIST: "leaf-list", _lib.DROVAN_CONTAINER: "container",
               _lib.DROVAN_LIST: "list"}
_KINDS = {getattr(_lib, name): name.removeprefix("DROVAN_").lower().replace("_", "-")
          for name in ("DROVAN_BOOL", "DROVAN_INT", "DROVAN_UINT", "DROVAN_DOUBLE", "DROVAN_STRING", "DROVAN_BYTES",
                       "DROVAN_SECONDS", "DROVAN_TIME", "DROVAN_IP_ADDRESS", "DROVAN_IP_PREFIX", "DROVAN_MAC_ADDRESS",
                       "DROVAN_ENUM", "DROVAN_WRAPPER", "DROVAN_UNION", "DROVAN_PARTS")}


class DecodeError(ValueError):
    """What was refused, where, and what there is instead.

    text       one sentence
    kind       the class. Of a path: "Malformed", "UnknownNode", "UnknownOrigin", "Ambiguous", "KeyMissing",
               "KeyUnknown", "KeyTwice", "ValueRefused" (also all that `decode` refuses), "WildcardRefused", "Conflict",
               "Unsupported", "BoundPassed". Of a schema, a file that cannot be read included: "BadSchema". Of a type,
               attribute or part that there is not: "NoName". Of a key that holds something else: "OtherKind"
    offset     the byte of the path; None where there is none
    element    the index of the path's element; the number of elements where it is about none of them, as for an
               origin; None where it is about no path
    in_prefix  whether the element is one of the prefix of a message
    key        the name of the key; "" where it is about none
    unknown    the name that does not exist; "" where it is about none
    near       the names that do exist, the ones like it first
    index      of `resolve_many`: which path it was; else None
    """

    def __init__(self, text, kind, offset=None, element=None, key="", unknown="", near=(), in_prefix=False):
        super().__init__(text if offset is None else f"{text} (at byte {offset})")
        self.text = text
        self.kind = kind
        self.offset = offset
        self.element = element
        self.key = key
        self.unknown = unknown
        self.near = list(near)
        self.in_prefix = in_prefix
        self.index = None

    def __reduce__(self):
        arguments = (self.text, self.kind, self.offset, self.element, self.key, self.unknown, self.near,
                     self.in_prefix)
        return (DecodeError, arguments, {"index": self.index})


def _place(number):
    return None if number == _NOWHERE else number


def _bytes(text):
    return _ffi.buffer(text.data, text.size)[:] if text.size else b""


def _shown(text):
    """A text for a person, whatever bytes it holds."""
    return _bytes(text).decode("utf-8", "backslashreplace")


def _name(text):
    """A name of the schema, which is UTF-8 where it can be written in Python at all."""
    return _bytes(text).decode("utf-8", "surrogateescape")


def _raise(error):
    if error.kind == _lib.DROVAN_NO_MEMORY:
        raise MemoryError(_shown(error.text))
    raise DecodeError(_shown(error.text), _ffi.string(_lib.drovan_class_name(error.kind)).decode(),
                      _place(error.offset), _place(error.element), _shown(error.key), _shown(error.unknown),
                      [_shown(error.near_names[i]) for i in range(error.near_count)], error.in_prefix != 0)


def _call(function, *arguments):
    """Calls a function whose last argument is the error, and raises that."""
    error = _ffi.new("drovan_error *", (_ERROR_SIZE,))
    if function(*arguments, error) != _lib.DROVAN_OK:
        try:
            _raise(error)
        finally:
            _lib.drovan_error_clear(error)


def _encoded(text):
    if isinstance(text, (bytes, bytearray, memoryview)):
        return bytes(text)
    if isinstance(text, str):
        return text.encode()
    raise TypeError(f"a text is str or bytes, not {type(text).__name__}")


class _Text:
    """A text as an argument; it lives as long as this does."""

    def __init__(self, text):
        self.own = _ffi.from_buffer(_encoded(text))
        self.view = _ffi.new("drovan_text *", (self.own, len(self.own)))[0]


def _field(message, name, default):
    """A field of a message or of a dict; the default where it is not there."""
    given = message.get(name) if isinstance(message, collections.abc.Mapping) else getattr(message, name, None)
    return default if given is None else given


def _known(fields, of, names):
    """What is spelled in another way is not to be left out: a path that lost its elements is the root."""
    for name in fields:
        if name not in names:
            raise ValueError(f"a {of} has no field {name!r}; it has {', '.join(names)}")


class _Message:
    """A path of gNMI as an argument; it lives as long as this does."""

    def __init__(self, message):
        if isinstance(message, collections.abc.Mapping):
            _known(message, "path", ("elem", "origin", "target"))
        elif not hasattr(message, "elem"):
            raise TypeError(f"a path is a message or dict with the field elem, not {type(message).__name__}")
        elif len(getattr(message, "element", ())):
            raise ValueError("the path has the old field element, which holds no keys; its elements go into elem")
        self._kept = []
        elems = []
        for elem in _field(message, "elem", ()):
            if isinstance(elem, collections.abc.Mapping):
                _known(elem, "path element", ("name", "key"))
            elems.append((self._text(_field(elem, "name", "")), *self._keys(_field(elem, "key", {}))))
        list_ = self._keep(_ffi.new("drovan_path_elem[]", elems))
        texts = [self._text(_field(message, name, "")) for name in ("origin", "target")]
        self.own = _ffi.new("drovan_path *", (_ffi.sizeof("drovan_path"), *texts, list_, len(elems)))

    def _keep(self, one):
        self._kept.append(one)
        return one

    def _text(self, text):
        return self._keep(_Text(text)).view

    def _keys(self, keys):
        if not hasattr(keys, "items"):
            raise TypeError(f"the keys of a path element are a map from name to value, not {type(keys).__name__}")
        pairs = [(self._text(name), self._text(value)) for name, value in keys.items()]
        return self._keep(_ffi.new("drovan_path_key[]", pairs)), len(pairs)


def _made(ctype, free, function, *arguments):
    """A handle that the function makes; None where it makes none."""
    out = _ffi.new(ctype + " **")
    _call(function, *arguments, out)
    return _ffi.gc(out[0], free) if out[0] else None


def _written(function, *arguments):
    """The bytes of a text that the function hands out."""
    text = _ffi.new("char **")
    size = _ffi.new("size_t *")
    _call(function, *arguments, text, size)
    try:
        return _ffi.buffer(text[0], size[0])[:]
    finally:
        _lib.drovan_free(text[0])


def _mode(mode):
    try:
        return _MODES[mode]
    except KeyError:
        raise ValueError(f"a mode is one of {', '.join(_MODES)}; not {mode!r}") from None


@functools.total_ordering
class Key:
    """A key, or a value in general: immutable, with the attributes of its type as attributes.

    `key.prefix` is the value of that part as Python has it, None where it was never set; `key["prefix"]` is the same
    for names that Python or this class takes. `==`, `hash` and the order are by value and type; the types of two
    schemas differ, but for those that are built in.

    A key does not know the entries around its own: the keys of `/vrf[name=a]/route[...]` and `/vrf[name=b]/route[...]`
    may be equal. All keys of the path, or `path`, tell entries apart.

    A key of `resolve_many` keeps all answers of that call. `repr` is for people: strings stand in it unescaped.
    """

    __slots__ = ("_handle", "_at")

    def __init__(self):
        raise TypeError("keys are made by a schema: Schema.resolve, Schema.decode")

    @classmethod
    def _of(cls, handle, at=None):
        if handle is None:
            return None
        key = object.__new__(cls)
        object.__setattr__(key, "_handle", handle)
        object.__setattr__(key, "_at", at)
        return key

    def __setattr__(self, name, value):
        raise AttributeError("keys never change")

    def __delattr__(self, name):
        raise AttributeError("keys never change")

    @property
    def type(self):
        """The name of the type: "Network::RouteKey"."""
        name = _ffi.new("drovan_text *")
        _call(_lib.drovan_key_type, self._handle, name)
        return _name(name)

    @property
    def kind(self):
        """"bool", "int", "uint", "double", "string", "bytes", "seconds", "time", "ip-address", "ip-prefix",
        "mac-address", "enum", "wrapper", "union", or "parts"."""
        return _KINDS[_lib.drovan_key_kind(self._handle)]

    def part(self, name):
        """One attribute as a `Key`; None where it was never set. An unknown name is a DecodeError."""
        text = _Text(name)
        return Key._of(_made("drovan_key", _lib.drovan_key_free, _lib.drovan_key_part_named, self._handle, text.view))

    @property
    def value(self):
        """What it holds, as Python has it: bool, int, float, str, bytes.

        Wrappers and unions are what they hold; seconds and times are nanoseconds, as int; enumerators and addresses
        are str. What is put together from parts is the key itself. A string that is no UTF-8 raises UnicodeError: see
        `bytes`.
        """
        kind = _lib.drovan_key_kind(self._handle)
        if kind == _lib.DROVAN_PARTS:
            return self
        if kind in (_lib.DROVAN_WRAPPER, _lib.DROVAN_UNION):
            held = self._held()
            return None if held is None else held.value
        if kind == _lib.DROVAN_BOOL:
            return bool(self._number("int *", _lib.drovan_key_bool))
        if kind in (_lib.DROVAN_INT, _lib.DROVAN_SECONDS, _lib.DROVAN_TIME):
            return self._number("int64_t *", _lib.drovan_key_int64)
        if kind == _lib.DROVAN_UINT:
            return self._number("uint64_t *", _lib.drovan_key_uint64)
        if kind == _lib.DROVAN_DOUBLE:
            return self._number("double *", _lib.drovan_key_double)
        text = _written(_lib.drovan_key_text, self._handle)
        if kind == _lib.DROVAN_BYTES:
            return text
        try:
            return text.decode()
        except UnicodeDecodeError as error:
            error.reason += "; the bytes of this key are its `bytes`"
            raise

    @property
    def bytes(self):
        """The bytes of a string, of Bytes, and of the text of every other scalar."""
        held = self
        while _lib.drovan_key_kind(held._handle) in (_lib.DROVAN_WRAPPER, _lib.DROVAN_UNION):
            held = held._held()
            if held is None:
                return b""
        return _written(_lib.drovan_key_text, held._handle)

    @property
    def address(self):
        """An address or a prefix as an object of `ipaddress`, through wrappers and unions."""
        held = self
        while held is not None and held.kind in ("wrapper", "union"):
            held = held._held()
        if held is None or held.kind not in ("ip-address", "ip-prefix"):
            raise TypeError(f"{self!r} is no address")
        return (ipaddress.ip_address if held.kind == "ip-address" else ipaddress.ip_network)(held.value)

    @property
    def path(self):
        """The canonical path of the entry; None where the key is not from a path, or one before it is not exact."""
        return None if self._at is None else self._at[0]._path_to(self._at[1])

    @property
    def json(self):
        """The value in JSON, as text."""
        return _written(_lib.drovan_key_json, self._handle).decode()

    def items(self):
        """The names of its attributes and their values, in declaration order."""
        name = _ffi.new("drovan_text *")
        for index in range(_lib.drovan_key_part_count(self._handle)):
            part = _ffi.new("drovan_key **")
            _call(_lib.drovan_key_part, self._handle, index, name, part)
            key = Key._of(_ffi.gc(part[0], _lib.drovan_key_free) if part[0] else None)
            yield _name(name), None if key is None else key.value

    def _held(self):
        for index in range(_lib.drovan_key_part_count(self._handle)):
            held = _made_part(self._handle, index)
            if held is not None:
                return Key._of(held)
        return None

    def _number(self, ctype, function):
        number = _ffi.new(ctype)
        _call(function, self._handle, number)
        return number[0]

    def __getitem__(self, name):
        try:
            part = self.part(name)
        except DecodeError as error:
            raise KeyError(error.text) from None
        return None if part is None else part.value

    def __getattr__(self, name):
        if name in Key.__slots__ or name.startswith("__"):  # What copying and the like ask for.
            raise AttributeError(name)
        try:
            part = self.part(name)
        except DecodeError as error:
            raise AttributeError(error.text) from None
        return None if part is None else part.value

    def __copy__(self):
        return self

    def __deepcopy__(self, memo):
        return self

    def __reduce__(self):
        raise TypeError("a key is of its schema: pickle its path, or the text of its parts")

    __iter__ = None
    __contains__ = None

    def __dir__(self):
        return [*super().__dir__(), *(name for name, _ in self.items())]

    def __eq__(self, other):
        if not isinstance(other, Key):
            return NotImplemented
        answer = _ffi.new("int *")
        _call(_lib.drovan_key_equal, self._handle, other._handle, answer)
        return answer[0] != 0

    def __lt__(self, other):
        if not isinstance(other, Key):
            return NotImplemented
        answer = _ffi.new("int *")
        _call(_lib.drovan_key_compare, self._handle, other._handle, answer)
        return answer[0] < 0

    def __hash__(self):
        answer = _ffi.new("uint64_t *")
        _call(_lib.drovan_key_hash, self._handle, answer)
        return hash(answer[0])

    def __repr__(self):
        return _written(_lib.drovan_key_print, self._handle).decode("utf-8", "backslashreplace")

    def __str__(self):
        """As it stands in a path; where it does not by itself, its literal."""
        try:
            return _written(_lib.drovan_key_path_text, self._handle).decode("utf-8", "backslashreplace")
        except DecodeError:
            return repr(self)


def _made_part(handle, index):
    part = _ffi.new("drovan_key **")
    _call(_lib.drovan_key_part, handle, index, _ffi.NULL, part)
    return _ffi.gc(part[0], _lib.drovan_key_free) if part[0] else None


class Selection:
    """What a path selects of one keyed collection: an exact `key`, the keys that a `filter` matches, or `every` one.

    collection  "Network::Vrf.route"
    entity      the type that has it: "Network::Vrf"
    name        its name there: "route"
    element     the index of its node on the way from the root
    """

    __slots__ = ("_index", "_own", "_resolved")

    def __init__(self, resolved, index):
        self._own = _ffi.new("drovan_selected *", (_SELECTED_SIZE,))
        _call(_lib.drovan_selection_at, resolved._handle, index, self._own)
        self._resolved = resolved
        self._index = index

    @property
    def entity(self):
        return _name(self._own.entity)

    @property
    def name(self):
        return _name(self._own.name)

    @property
    def element(self):
        return self._own.element

    @property
    def collection(self):
        return f"{self.entity}.{self.name}"

    @property
    def every(self):
        """Whether every key is selected."""
        return self._own.kind == _lib.DROVAN_EVERY

    @property
    def key(self):
        """The exact key; None where there is none."""
        if self._own.kind != _lib.DROVAN_ONE:
            return None
        handle = _made("drovan_key", _lib.drovan_key_free, _lib.drovan_selection_key, self._resolved._handle,
                       self._index)
        return Key._of(handle, (self._resolved, self._index))

    @property
    def filter(self):
        """The values that a filter asks for, by name; empty where every key is selected, None for an exact key.

        A string that is no UTF-8 is bytes.
        """
        if self._own.kind == _lib.DROVAN_ONE:
            return None
        values = {}
        name = _ffi.new("drovan_text *")
        for part in range(self._own.filter_count):
            handle = _made("drovan_key", _lib.drovan_key_free, lambda *all: _lib.drovan_selection_filter(
                self._resolved._handle, self._index, part, name, *all))
            key = Key._of(handle)
            try:
                values[_name(name)] = key.value
            except UnicodeDecodeError:
                values[_name(name)] = key.bytes
        return values

    def matches(self, key):
        """Whether a key of the collection is selected."""
        if not isinstance(key, Key):
            raise TypeError(f"a key is a drovan.Key, not {type(key).__name__}")
        answer = _ffi.new("int *")
        _call(_lib.drovan_selection_matches, self._resolved._handle, self._index, key._handle, answer)
        return answer[0] != 0

    def __repr__(self):
        what = "every" if self.every else repr(self.key) if self.filter is None else f"filter {self.filter}"
        return f"<{self.collection}: {what}>"


class Node:
    """The node that a path names: its `kind` ("leaf", "leaf-list", "container", "list"), `name` and `type`."""

    def __init__(self, resolved):
        own = _ffi.new("drovan_node *", (_ffi.sizeof("drovan_node"),))
        _call(_lib.drovan_selection_node, resolved._handle, own)
        self.kind = _NODE_KINDS[own.kind]
        self.name = _name(own.name)
        self.type = _name(own.type)

    def __repr__(self):
        return f"<{self.kind} {self.name or '/'}: {self.type}>"


class Resolved(collections.abc.Sequence):
    """What a path means: its selections, one for each keyed collection on the way, and its `node`."""

    def __init__(self, schema, handle, owner=None):
        self._schema = schema
        self._handle = handle
        self._owner = owner  # What frees the handle, where that is not its own.

    def __len__(self):
        return _lib.drovan_selection_count(self._handle)

    def __getitem__(self, index):
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(len(self)))]
        count = len(self)
        if not -count <= index < count:
            raise IndexError(f"there is no selection {index} of {count}")
        return Selection(self, index % count)

    @property
    def node(self):
        """The final node."""
        return Node(self)

    @property
    def path(self):
        """The path in its canonical form: str, or bytes where it is no UTF-8."""
        return _str_or_bytes(_written(_lib.drovan_selection_path, self._handle))

    def _path_to(self, index):
        selections = self[:index + 1]
        keys = [one.key for one in selections]
        if None in keys:
            return None
        return self._schema.path_of([(one.entity, one.name, key) for one, key in zip(selections, keys)])

    def __eq__(self, other):
        return self.path == other.path if isinstance(other, Resolved) else NotImplemented

    __hash__ = None

    def __repr__(self):
        return f"[{', '.join(map(repr, self))}]"


def _str_or_bytes(text):
    try:
        return text.decode()
    except UnicodeDecodeError:
        return text


class ResolvedMany(collections.abc.Sequence):
    """What many paths mean, in their order. Selections and keys are made as they are asked for."""

    def __init__(self, schema, handle, paths, mode):
        self._schema = schema
        self._handle = handle
        self._paths = paths
        self._mode = mode

    def __len__(self):
        return self._handle.count

    def __getitem__(self, index):
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(len(self)))]
        count = len(self)
        if not -count <= index < count:
            raise IndexError(f"there is no path {index} of {count}")
        found = self._handle.found[index % count]
        return Resolved(self._schema, found, self._handle) if found else self._error(index % count)

    def _error(self, index):
        try:
            self._schema.resolve(self._paths[index], mode=self._mode)
        except DecodeError as error:
            error.index = index
            return error
        raise MemoryError("out of memory")


class Schema:
    """The types that paths lead through. Made by `yaml`, `yaml_text` or `yang`.

    `root` names the entity type that paths start from; without it, it is that of the YANG modules, or the one entity
    type that is a part of no other. With `s4`, a value whose type has an encoding in protobuf is written as that message
    in base64, a whole key included: [key=...].
    """

    def __init__(self):
        raise TypeError("a schema is made by Schema.yaml, Schema.yaml_text or Schema.yang")

    @classmethod
    def _of(cls, root, s4, function, *arguments):
        schema = object.__new__(cls)
        schema._handle = _made("drovan_schema", _lib.drovan_schema_free, function, *arguments)
        schema._flags = _lib.DROVAN_USE_S4 if s4 else 0
        schema._resolver = _made("drovan_resolver", _lib.drovan_resolver_free, _lib.drovan_resolver_new, schema._handle,
                                 _Text(root).view, schema._flags)
        return schema

    @classmethod
    def yaml(cls, path, *, root="", s4=False):
        """Loads a YAML file. What is wrong with it is one DecodeError, with a line for each problem."""
        text = _Text(os.fsencode(path))
        return cls._of(root, s4, _lib.drovan_schema_yaml_file, text.view)

    @classmethod
    def yaml_text(cls, text, *, name="schema.yaml", root="", s4=False):
        """Loads YAML; `name` stands for the file in errors."""
        texts = _Text(text), _Text(name)
        return cls._of(root, s4, _lib.drovan_schema_yaml_text, *(one.view for one in texts))

    @classmethod
    def yang(cls, dirs, modules=(), *, features=(), root="", all_features=False, implement_imports=False, strict=False):
        """Loads YANG modules by name from folders, or all that are there where none is named.

        features           "module:feature", of modules that are loaded
        all_features       every feature is on; otherwise none but those in `features`
        implement_imports  identities of modules that are only imported are values, too
        strict             a module that does not load is an error, also where none is named; else it is in `warnings`
        """
        if any(isinstance(given, (str, bytes, os.PathLike)) for given in (dirs, modules, features)):
            raise TypeError("dirs, modules and features are lists")
        lists = [[_Text(os.fsencode(folder)) for folder in dirs], [_Text(module) for module in modules],
                 [_Text(feature) for feature in features]]
        views = [_ffi.new("drovan_text[]", [one.view for one in texts]) for texts in lists]
        flags = ((_lib.DROVAN_ALL_FEATURES if all_features else 0) |
                 (_lib.DROVAN_IMPLEMENT_IMPORTS if implement_imports else 0) | (_lib.DROVAN_STRICT if strict else 0))
        yang = _ffi.new("drovan_yang *", (_ffi.sizeof("drovan_yang"), views[0], len(views[0]), views[1], len(views[1]),
                                          views[2], len(views[2]), flags))
        return cls._of(root, False, _lib.drovan_schema_yang, yang)

    @property
    def warnings(self):
        """Modules that did not load, and those of which one of several files was taken."""
        warning = _ffi.new("drovan_text *")
        lines = []
        for index in range(_lib.drovan_schema_warning_count(self._handle)):
            _call(_lib.drovan_schema_warning, self._handle, index, warning)
            lines.append(_shown(warning))
        return lines

    def resolve(self, path, *, mode="read"):
        """The selections of one path, str or bytes.

        A key is exact where every part that its type is built from is given. What a path is for is its `mode`:

            "read", "delete"  keys may be left out or "*": all entries that match
            "write"           every key of every list, but without any the last element is its list as a whole
            "notify"          keys may be left out, but not "*"

        Whether a leaf can be written is not asked. A path with an element "*" or "..." means many nodes: see `expand`.
        """
        text = _Text(path)
        return self._resolved(_lib.drovan_resolve_text, text.view, _mode(mode))

    def resolve_message(self, path, *, prefix=None, mode="read"):
        """The same of a path as a message of gNMI has it, behind its prefix where there is one.

        Each is an object with the fields of gNMI's Path, as the classes made from gnmi.proto have them, or a dict of
        them: {"elem": [{"name": "vrf", "key": {"name": "red"}}], "origin": "", "target": ""}.
        """
        before, own = None if prefix is None else _Message(prefix), _Message(path)
        return self._resolved(_lib.drovan_resolve_message, _ffi.NULL if before is None else before.own, own.own,
                              _mode(mode))

    def _resolved(self, function, *arguments):
        found = _made("drovan_selection", _lib.drovan_selection_free, _lib.drovan_selection_new)
        _call(function, self._resolver, *arguments, found)
        return Resolved(self, found)

    def resolve_many(self, paths, *, mode="read", errors="raise"):
        """The same of many paths at once, without the interpreter's lock.

        The first path that is refused raises its DecodeError, whose `index` tells which it is; with errors="return",
        errors stand among the answers. What is no text is a TypeError for the whole list, and no UTF-8 a UnicodeError.
        """
        if errors not in ("raise", "return"):
            raise ValueError(f"errors is 'raise' or 'return', not {errors!r}")
        if isinstance(paths, (str, bytes)):
            raise TypeError("paths are a list")
        paths = list(paths)
        try:
            joined = "".join(paths).encode("ascii")
            sizes = array.array("Q", map(len, paths))
        except (TypeError, UnicodeEncodeError):
            encoded = [_encoded(path) for path in paths]
            paths = encoded
            joined = b"".join(encoded)
            sizes = array.array("Q", map(len, encoded))
        many = _lib.drovan_py_resolve_many(self._resolver, _ffi.from_buffer(joined),
                                           _ffi.from_buffer("uint64_t[]", sizes), len(paths), _mode(mode),
                                           errors == "raise")
        if not many:
            raise MemoryError("out of memory")
        answers = ResolvedMany(self, _ffi.gc(many, _lib.drovan_py_many_free), paths, mode)
        if errors == "raise" and many.first_failed != len(paths):
            raise answers[many.first_failed]
        return answers

    def expand(self, path, *, mode="read", max_nodes=0):
        """The canonical path of each node of the schema that a path with wildcards means; at most `max_nodes`, 0 for
        100,000. Lists whose keys are left out, or "*", stand without keys."""
        text = _Text(path)
        paths, failures = [], []
        context = _ffi.new_handle((paths, failures))
        _call(_lib.drovan_expand_text, self._resolver, text.view, _mode(mode), max_nodes, _lib.drovan_py_visit, context)
        if failures:
            raise failures[0]
        return paths

    def decode(self, entity, collection, fields):
        """A key from key paths, attribute names joined by "__", and their values: {"key__vrf": "red", ...}.

        Each path begins with the attribute of the entity that holds the key; of YANG lists the key leaf alone will do.
        `entity` and `collection` are named as a Selection names them.
        """
        if not isinstance(fields, collections.abc.Mapping):
            raise TypeError(f"fields are a map from key path to value, not {type(fields).__name__}")
        names = _Text(entity), _Text(collection)
        texts = [(_Text(path), _Text(value)) for path, value in fields.items()]
        list_ = _ffi.new("drovan_field[]", [(path.view, value.view) for path, value in texts])
        return Key._of(_made("drovan_key", _lib.drovan_key_free, _lib.drovan_decode_key, self._handle, names[0].view,
                             names[1].view, list_, len(list_), self._flags))

    def decode_scalar(self, entity, collection, name, value):
        """A key that is one value; None for "*", which is every key. `name`: the attribute that holds the key."""
        texts = [_Text(text) for text in (entity, collection, name, value)]
        return Key._of(_made("drovan_key", _lib.drovan_key_free, _lib.drovan_decode_scalar, self._handle,
                             *(text.view for text in texts), self._flags))

    def path_of(self, entries):
        """The path of an entry, from its collections, outermost first: (entity, name, key) each."""
        entries = list(entries)
        for _, _, key in entries:
            if not isinstance(key, Key):
                raise TypeError(f"a key is a drovan.Key, not {type(key).__name__}")
        texts = [(_Text(entity), _Text(name), key._handle) for entity, name, key in entries]
        list_ = _ffi.new("drovan_entry[]", [(entity.view, name.view, key) for entity, name, key in texts])
        return _str_or_bytes(_written(_lib.drovan_path_of, self._resolver, list_, len(list_)))


@_ffi.def_extern(error=0)
def drovan_py_visit(context, selection):
    paths, failures = _ffi.from_handle(context)
    try:
        paths.append(_str_or_bytes(_written(_lib.drovan_selection_path, selection)))
        return 1
    except BaseException as failure:  # Raised where Python is around the call again.
        failures.append(failure)
        return 0


del drovan_py_visit
