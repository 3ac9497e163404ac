#!/usr/bin/env python3
"""Writes the Python binding's generated modules from their one source each, so that they cannot drift:

  python/vnr32/_prototypes.py   the ctypes prototype of every function that include/vnr_32.h declares (and
                                include/vnr_emv.h, when the tree has it), and the header's integer constants;
  python/vnr32/_statuses.py     the words of every status of the library, from `vnr statuses --json`, which
                                prints the table of core/status.h.

  scripts/gen-python-prototypes.py [--vnr PATH] [--check]
    --vnr PATH   the built tool (default: build/tools/vnr)
    --check      write nothing; exit 1 and show the difference when a committed module is not what a fresh
                 generation gives
Standard library only.
"""
import argparse
import difflib
import json
import pathlib
import re
import subprocess
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
PACKAGE = TOP / "python" / "vnr32"
# Each header, and the name of the table of its functions in _prototypes.py. A header of a library apart
# (vnr_emv.h, for libvnr_emv) gets a table of its own, which the binding applies to that library.
HEADERS = [("vnr_32.h", "PROTOTYPES", "CONSTANTS"), ("vnr_emv.h", "EMV_PROTOTYPES", "EMV_CONSTANTS")]

# C types of the interface and their ctypes names. Pointers to numbers become POINTER(...); char pointers,
# in or out, are c_char_p (a bytes object or a create_string_buffer() both pass).
SCALARS = {
    "int8_t": "c_int8", "uint8_t": "c_uint8", "int16_t": "c_int16", "uint16_t": "c_uint16",
    "int32_t": "c_int32", "uint32_t": "c_uint32", "int64_t": "c_int64", "uint64_t": "c_uint64",
    "double": "c_double", "float": "c_float", "int": "c_int", "unsigned": "c_uint", "long": "c_long",
    "size_t": "c_size_t", "char": "c_char",
}
DECLARATION = re.compile(r"\b\w+_API\s+(?P<result>[\w\s\*]+?)\s+\w+_CALL\s+(?P<name>\w+)\s*\((?P<arguments>[^)]*)\)\s*;")
DEFINE = re.compile(r"^#\s*define\s+(?P<name>[A-Z][A-Z0-9_]*)\s+\(?\s*(?P<value>-?(?:0x[0-9A-Fa-f]+|\d+))\s*\)?\s*(?:/\*.*)?$",
                    re.M)


STRUCT = re.compile(r"typedef struct (?P<tag>\w+) \{(?P<body>[^}]*)\} (?P<name>\w+);")
FIELD = re.compile(r"^(?P<type>[\w\s\*]+?)\s*\b(?P<name>\w+)\s*(?:\[(?P<count>\d+)\])?$")
# The header's structures, by name, as they are parsed: a pointer to one becomes POINTER(name).
STRUCTURES = {}


class HeaderError(Exception):
    pass


def ctype(text, where):
    """The ctypes name of the C type `text` ("const uint8_t*", "int16_t", "void")."""
    words = text.replace("*", " * ").split()
    stars = words.count("*")
    base = " ".join(w for w in words if w not in ("*", "const"))
    if base == "void":
        if stars == 0:
            return "None"
        if stars == 1:
            return "c_void_p"
    if base == "char" and stars == 1:
        return "c_char_p"
    if base in SCALARS or base in STRUCTURES:
        name = SCALARS.get(base, base)
        for _ in range(stars):
            name = f"POINTER({name})"
        return name
    raise HeaderError(f"{where}: no ctypes form for the C type '{text}'")


def parse_header(path):
    """The functions of a header as (name, result, [(argument type, argument name)]) and its constants."""
    source = path.read_text(encoding="utf-8")
    code = re.sub(r"/\*.*?\*/", " ", source, flags=re.S)
    code = re.sub(r"//[^\n]*", " ", code)
    code = "\n".join(line for line in code.splitlines() if not line.lstrip().startswith("#"))
    flat = re.sub(r"\s+", " ", code)
    structures = []
    for match in STRUCT.finditer(flat):
        fields = []
        for declaration in filter(None, (part.strip() for part in match["body"].split(";"))):
            field = FIELD.match(declaration)
            if not field:
                raise HeaderError(f"{match['name']}: cannot read the field '{declaration}'")
            kind = ctype(field["type"], f"{match['name']}.{field['name']}")
            if field["count"]:
                kind = f"{kind} * {field['count']}"
            fields.append((field["name"], kind))
        STRUCTURES[match["name"]] = fields
        structures.append((match["name"], fields))
    functions = []
    for match in DECLARATION.finditer(flat):
        name = match["name"]
        result = ctype(match["result"], name)
        arguments = []
        text = match["arguments"].strip()
        if text and text != "void":
            for index, argument in enumerate(text.split(",")):
                parts = re.match(r"^(?P<type>.*?[\s\*])(?P<name>\w+)\s*$", argument.strip())
                if not parts:
                    raise HeaderError(f"{name}: argument {index + 1} '{argument.strip()}' has no name")
                arguments.append((ctype(parts["type"], f"{name}({parts['name']})"), parts["name"]))
        functions.append((name, result, arguments))
    if not functions:
        raise HeaderError(f"{path}: no exported function found")
    constants = [(m["name"], int(m["value"], 0)) for m in DEFINE.finditer(source)]
    return functions, constants, structures


def tuple_text(items):
    """Python source of a tuple of the given source texts."""
    items = list(items)
    return "(" + ", ".join(items) + ("," if len(items) == 1 else "") + ")"


def prototypes_module():
    lines = [
        '"""The ctypes prototypes of the library\'s exported functions and the header\'s constants.',
        "",
        "Generated by scripts/gen-python-prototypes.py from the public headers: do not edit. Each entry is",
        "name: (result type, (argument types...), (argument names...)).",
        '"""',
        "from ctypes import (POINTER, Structure, c_char, c_char_p, c_double, c_float, c_int, c_int8, c_int16,  # noqa: F401",
        "                    c_int32, c_int64, c_long, c_size_t, c_uint, c_uint8, c_uint16, c_uint32, c_uint64, c_void_p)",
    ]
    for header, table, constant_table in HEADERS:
        path = TOP / "include" / header
        lines.append("")
        if not path.exists():
            lines += [f"# include/{header} is not in this tree.", f"{table} = {{}}", f"{constant_table} = {{}}"]
            continue
        functions, constants, structures = parse_header(path)
        for name, fields in structures:
            lines += ["", "", f"class {name}(Structure):", f'    """struct {name} of include/{header}."""',
                      "    _fields_ = ["]
            lines += [f"        ({field!r}, {kind})," for field, kind in fields]
            lines += ["    ]", ""]
        lines.append(f"# include/{header}: {len(functions)} functions.")
        lines.append(f"{table} = {{")
        for name, result, arguments in functions:
            lines.append(f"    {name!r}: ({result}, {tuple_text(t for t, _ in arguments)}, "
                         f"{tuple_text(repr(n) for _, n in arguments)}),")
        lines.append("}")
        lines.append(f"{constant_table} = {{")
        for name, value in constants:
            lines.append(f"    {name!r}: {value},")
        lines.append("}")
    return "\n".join(lines) + "\n"


def statuses_module(vnr):
    try:
        output = subprocess.run([str(vnr), "statuses", "--json"], check=True, capture_output=True, text=True).stdout
    except (OSError, subprocess.CalledProcessError) as error:
        raise HeaderError(f"cannot run '{vnr} statuses --json' (build the tool first): {error}")
    words = {int(code): text for code, text in json.loads(output).items()}
    lines = [
        '"""What each status of the library means, in words.',
        "",
        "Generated by scripts/gen-python-prototypes.py from `vnr statuses --json` (the table of core/status.h):",
        "do not edit. Any status not listed here is the reader's own.",
        '"""',
        "",
        "STATUS_WORDS = {",
    ]
    lines += [f"    {code}: {text!r}," for code, text in sorted(words.items(), reverse=True)]
    lines.append("}")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--vnr", default=str(TOP / "build" / "tools" / "vnr"))
    parser.add_argument("--check", action="store_true")
    options = parser.parse_args()
    try:
        modules = {PACKAGE / "_prototypes.py": prototypes_module(), PACKAGE / "_statuses.py": statuses_module(options.vnr)}
    except HeaderError as error:
        print(f"gen-python-prototypes: {error}", file=sys.stderr)
        return 2
    stale = 0
    for path, text in modules.items():
        old = path.read_text(encoding="utf-8") if path.exists() else ""
        if old == text:
            continue
        if options.check:
            stale += 1
            name = str(path.relative_to(TOP))
            sys.stdout.writelines(difflib.unified_diff(old.splitlines(True), text.splitlines(True), name, name + " (fresh)"))
        else:
            path.write_text(text, encoding="utf-8")
            print(f"wrote {path.relative_to(TOP)}")
    if stale:
        print(f"gen-python-prototypes: {stale} generated module(s) differ from their source; "
              "run scripts/gen-python-prototypes.py and commit", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
