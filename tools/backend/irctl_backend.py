# omniidl back-end of irctl: prints the definitions of the parsed files
# in a line-oriented form that irctl reads and creates in the interface
# repository.
#
# Run by irctl as  omniidl -p <this directory> -birctl_backend [-Wbdeps] ...
#   -Wbdeps   also print the definitions of #included files
#
# Output (one record per line, tokens separated by one space; a token is
# either bare or a double-quoted string with \\ \" and \xHH escapes):
#   irctl-idl 1                       first line of the output
#   F <file> <path> <main 0|1>        a file, numbered on first sight
#   T <file>                          the tree of a main file begins
#   I <file> <included file>          the main file includes that file
#   D <kind> <file> <line> <id> <name> <container id> <fields...>
#   E <id>                            end of a container's definitions
#   Z <file>                          the tree of the main file is complete
# The container id of a top-level definition is "".  Types are written
# in prefix form: a primitive name (short, long, ushort, ulong, longlong,
# ulonglong, float, double, longdouble, boolean, char, wchar, octet, any,
# TypeCode, Principal, Object, ValueBase, void), "string N", "wstring N"
# (N = 0: unbounded), "seq N <type>", "array N <type>",
# "fixed DIGITS SCALE" or "ref <repository id>".

import re
import sys

from omniidl import idlast, idltype

_BASE_NAMES = {
    idltype.tk_void: "void",
    idltype.tk_short: "short",
    idltype.tk_long: "long",
    idltype.tk_ushort: "ushort",
    idltype.tk_ulong: "ulong",
    idltype.tk_float: "float",
    idltype.tk_double: "double",
    idltype.tk_boolean: "boolean",
    idltype.tk_char: "char",
    idltype.tk_octet: "octet",
    idltype.tk_any: "any",
    idltype.tk_TypeCode: "TypeCode",
    idltype.tk_Principal: "Principal",
    idltype.tk_longlong: "longlong",
    idltype.tk_ulonglong: "ulonglong",
    idltype.tk_longdouble: "longdouble",
    idltype.tk_wchar: "wchar",
}

_INTEGER_KINDS = (
    idltype.tk_short, idltype.tk_long, idltype.tk_ushort, idltype.tk_ulong,
    idltype.tk_longlong, idltype.tk_ulonglong, idltype.tk_octet,
)

# File numbers are shared by every tree of one omniidl run, so that irctl
# can tell a file included by several main files.
_files = {}
_out = []
# With -Wbdeps: the #included files whose definitions an earlier tree of
# this run printed already (irctl feeds a file once, from the first tree
# that has it).
_printed_includes = set()


# A token that needs no quoting: printable ASCII without space, '"' or
# '\\' (a regular expression: this runs for every name and id printed).
_BARE = re.compile(r'[\x21\x23-\x5b\x5d-\x7e]+')


def _token(text):
    if _BARE.fullmatch(text):
        return text
    parts = ['"']
    for c in text:
        o = ord(c)
        if c == '"' or c == "\\":
            parts.append("\\" + c)
        elif 0x20 <= o < 0x7F:
            parts.append(c)
        elif o < 0x100:
            parts.append("\\x%02x" % o)
        else:
            parts.append("\\u%04x" % o)
    parts.append('"')
    return "".join(parts)


def _emit(*fields):
    _out.append(" ".join(fields))


def _file_number(path, main):
    number = _files.get(path)
    if number is None:
        number = len(_files)
        _files[path] = number
        _emit("F", str(number), _token(path), "1" if main else "0")
    return number


def _full(decl):
    """The full declaration behind a forward declaration, when there is
    one (its id counts: #pragma ID may follow the full declaration)."""
    if isinstance(decl, (idlast.Forward, idlast.StructForward,
                         idlast.UnionForward, idlast.ValueForward)):
        full = decl.fullDecl()
        if full is not None:
            return full
    return decl


def _type(t):
    kind = t.kind()
    name = _BASE_NAMES.get(kind)
    if name is not None and isinstance(t, idltype.Base):
        return [name]
    if kind == idltype.tk_string:
        return ["string", str(t.bound())]
    if kind == idltype.tk_wstring:
        return ["wstring", str(t.bound())]
    if kind == idltype.tk_sequence:
        return ["seq", str(t.bound())] + _type(t.seqType())
    if kind == idltype.tk_fixed:
        return ["fixed", str(t.digits()), str(t.scale())]
    if isinstance(t, idltype.Declared):
        decl = t.decl()
        if decl.builtIn():
            if kind == idltype.tk_objref:
                return ["Object"]
            if kind == idltype.tk_value:
                return ["ValueBase"]
        return ["ref", _token(_full(decl).repoId())]
    raise RuntimeError("irctl back-end: unsupported type kind %d" % kind)


def _declarator_type(t, declarator):
    tokens = []
    for size in declarator.sizes() or []:
        tokens += ["array", str(size)]
    return tokens + _type(t)


def _label(label, disc):
    if label.default():
        return "default"
    value = label.value()
    kind = disc.kind()
    if isinstance(value, idlast.Enumerator):
        return str(value.value())
    if kind == idltype.tk_char or kind == idltype.tk_wchar:
        return str(value if isinstance(value, int) else ord(value))
    if kind == idltype.tk_boolean:
        return "1" if value else "0"
    return str(int(value))


def _const_value(const):
    kind = const.constKind()
    value = const.value()
    if kind in _INTEGER_KINDS:
        return str(int(value))
    if kind == idltype.tk_boolean:
        return "1" if value else "0"
    if kind in (idltype.tk_float, idltype.tk_double, idltype.tk_longdouble):
        return repr(float(value))
    if kind == idltype.tk_char:
        return str(ord(value))
    if kind == idltype.tk_wchar:
        return str(int(value))
    if kind == idltype.tk_string:
        return _token(value)
    if kind == idltype.tk_wstring:
        return "w:" + ",".join(str(c) for c in value)
    if kind == idltype.tk_fixed:
        return _token(str(value))
    if kind == idltype.tk_enum:
        return str(value.value())
    raise RuntimeError("irctl back-end: unsupported constant kind %d" % kind)


class _Walker:
    def __init__(self, deps):
        self.deps = deps

    def wanted(self, decl):
        if decl.mainFile():
            return True
        return self.deps and decl.file() not in _printed_includes

    def record(self, kind, decl, container, name, repo_id, *fields):
        number = _file_number(decl.file(), decl.mainFile())
        _emit("D", kind, str(number), str(decl.line()), _token(repo_id),
              _token(name), _token(container), *fields)

    def simple(self, kind, decl, container, *fields):
        self.record(kind, decl, container, decl.identifier(), decl.repoId(),
                    *fields)

    # Inline type declarations (struct S {...} s; in a member, a case, a
    # typedef, a switch or a boxed type) come before their first use.
    def inline(self, has_constr, t, container):
        if has_constr:
            self.decl(t.decl(), container)

    def decls(self, decls, container):
        for d in decls:
            self.decl(d, container)

    def decl(self, d, container):
        if isinstance(d, idlast.Module):
            # A module of an included file can hold main-file definitions
            # when the #include sits inside the module.
            if not self.wanted(d) and not self._has_wanted(d):
                return
            self.simple("module", d, container)
            self.decls(d.definitions(), d.repoId())
            _emit("E", _token(d.repoId()))
            return
        if not self.wanted(d):
            return
        method = getattr(self, "_" + type(d).__name__, None)
        if method is None:
            raise RuntimeError("irctl back-end: unexpected declaration %s" %
                               type(d).__name__)
        method(d, container)

    def _has_wanted(self, d):
        if self.wanted(d) and not isinstance(d, idlast.Module):
            return True
        if isinstance(d, idlast.Module):
            return any(self._has_wanted(x) for x in d.definitions())
        return False

    def _Forward(self, d, container):
        if d.abstract():
            what = "abstract_interface"
        elif d.local():
            what = "local_interface"
        else:
            what = "interface"
        full = _full(d)
        self.record("forward", d, container, d.identifier(), full.repoId(),
                    what)

    def _ValueForward(self, d, container):
        full = _full(d)
        self.record("forward", d, container, d.identifier(), full.repoId(),
                    "abstract_value" if d.abstract() else "value")

    def _StructForward(self, d, container):
        self.record("forward", d, container, d.identifier(),
                    _full(d).repoId(), "struct")

    def _UnionForward(self, d, container):
        self.record("forward", d, container, d.identifier(),
                    _full(d).repoId(), "union")

    def _Interface(self, d, container):
        if d.abstract():
            flavour = "abstract"
        elif d.local():
            flavour = "local"
        else:
            flavour = "plain"
        bases = [_token(_full(b).repoId()) for b in d.inherits()]
        self.simple("interface", d, container, flavour, str(len(bases)),
                    *bases)
        self.decls(d.contents(), d.repoId())
        _emit("E", _token(d.repoId()))

    def _value_record(self, d, container, abstract, custom, truncatable):
        bases = [_full(b) for b in d.inherits()]
        concrete = ""
        if bases and isinstance(bases[0], idlast.Value):
            concrete = bases[0].repoId()
            bases = bases[1:]
        supports = [_full(s).repoId() for s in d.supports()]
        fields = [abstract, custom, truncatable, _token(concrete),
                  str(len(bases))] + [_token(b.repoId()) for b in bases]
        fields += [str(len(supports))] + [_token(s) for s in supports]
        factories = d.factories()
        fields.append(str(len(factories)))
        for f in factories:
            params = f.parameters()
            fields += [_token(f.identifier()), str(len(params))]
            for p in params:
                fields += [_token(p.identifier())] + _type(p.paramType())
        self.simple("value", d, container, *fields)
        for c in d.contents():
            if isinstance(c, idlast.Factory):
                continue
            self.decl(c, d.repoId())
        _emit("E", _token(d.repoId()))

    def _Value(self, d, container):
        self._value_record(d, container, "0", "1" if d.custom() else "0",
                           "1" if d.truncatable() else "0")

    def _ValueAbs(self, d, container):
        self._value_record(d, container, "1", "0", "0")

    def _ValueBox(self, d, container):
        self.inline(d.constrType(), d.boxedType(), container)
        self.simple("valuebox", d, container, *_type(d.boxedType()))

    def _StateMember(self, d, container):
        self.inline(d.constrType(), d.memberType(), container)
        public = "1" if d.memberAccess() == 0 else "0"
        for dd in d.declarators():
            self.record("valuemember", dd, container, dd.identifier(),
                        dd.repoId(), public,
                        *_declarator_type(d.memberType(), dd))

    def _members(self, members):
        fields = []
        count = 0
        for m in members:
            for dd in m.declarators():
                fields += [_token(dd.identifier())]
                fields += _declarator_type(m.memberType(), dd)
                count += 1
        return [str(count)] + fields

    def _inline_members(self, members, container):
        for m in members:
            self.inline(m.constrType(), m.memberType(), container)

    def _Struct(self, d, container):
        self.simple("struct", d, container, *self._members(d.members()))
        self._inline_members(d.members(), d.repoId())
        _emit("E", _token(d.repoId()))

    def _Exception(self, d, container):
        self.simple("exception", d, container, *self._members(d.members()))
        self._inline_members(d.members(), d.repoId())
        _emit("E", _token(d.repoId()))

    def _Union(self, d, container):
        disc = d.switchType().unalias()
        fields = _type(disc)
        cases = []
        for c in d.cases():
            for label in c.labels():
                cases += [_token(c.declarator().identifier()),
                          _label(label, disc)]
                cases += _declarator_type(c.caseType(), c.declarator())
        fields += [str(sum(len(c.labels()) for c in d.cases()))] + cases
        self.simple("union", d, container, *fields)
        self.inline(d.constrType(), d.switchType(), d.repoId())
        for c in d.cases():
            self.inline(c.constrType(), c.caseType(), d.repoId())
        _emit("E", _token(d.repoId()))

    def _Enum(self, d, container):
        names = [_token(e.identifier()) for e in d.enumerators()]
        self.simple("enum", d, container, str(len(names)), *names)

    def _Typedef(self, d, container):
        self.inline(d.constrType(), d.aliasType(), container)
        for dd in d.declarators():
            self.record("alias", dd, container, dd.identifier(), dd.repoId(),
                        *_declarator_type(d.aliasType(), dd))

    def _Native(self, d, container):
        self.simple("native", d, container)

    def _Const(self, d, container):
        self.simple("const", d, container, *_type(d.constType().unalias()),
                    _const_value(d))

    def _Attribute(self, d, container):
        for dd in d.declarators():
            self.record("attribute", dd, container, dd.identifier(),
                        dd.repoId(), "1" if d.readonly() else "0",
                        *_type(d.attrType()))

    def _Operation(self, d, container):
        fields = ["1" if d.oneway() else "0"] + _type(d.returnType())
        params = d.parameters()
        fields.append(str(len(params)))
        for p in params:
            fields += [("in", "out", "inout")[p.direction()],
                       _token(p.identifier())] + _type(p.paramType())
        raises = [_token(_full(e).repoId()) for e in d.raises()]
        fields += [str(len(raises))] + raises
        contexts = [_token(c) for c in d.contexts()]
        fields += [str(len(contexts))] + contexts
        self.simple("operation", d, container, *fields)


def _included_files(decls, main_path, found):
    for d in decls:
        if d.file() != main_path:
            found.setdefault(d.file(), None)
        if isinstance(d, idlast.Module):
            _included_files(d.definitions(), main_path, found)


def run(tree, args):
    deps = "deps" in args
    if not _files:
        _emit("irctl-idl", "1")
    main = _file_number(tree.file(), True)
    _emit("T", str(main))
    included = {}
    _included_files(tree.declarations(), tree.file(), included)
    for path in included:
        _emit("I", str(main), str(_file_number(path, False)))
    _Walker(deps).decls(tree.declarations(), "")
    _emit("Z", str(main))
    sys.stdout.write("\n".join(_out) + "\n")
    sys.stdout.flush()
    del _out[:]
    if deps:
        _printed_includes.update(p for p in included if p != tree.file())
