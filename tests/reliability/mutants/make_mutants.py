"""Plants mutants in a copy of the sources: changed operators, constants and conditions, and deleted statements.

    /usr/bin/python3 make_mutants.py BUILD COPY [WITHOUT [FILE]]

BUILD: a build folder with compile_commands.json. COPY: a copy of the tree; its sources are rewritten in place, and COPY/mutants.tsv
lists what was planted: number, file, line, the kind of change and the text that is changed. WITHOUT: a file with the keys of mutants
(the last column) that do not compile and are left out. FILE: only this source. All mutants are in one program; NERIO_MUTANT chooses one.
"""

import hashlib
import json
import re
import subprocess
import sys
from pathlib import Path

from clang import cindex
from clang.cindex import CursorKind as Kind

ROOMS = ["nerio/registry/", "nerio/support/", "nerio/hosts/linux/store/"]
COMPARISONS = {"<": "Less", "<=": "LessEqual", ">": "Greater", ">=": "GreaterEqual", "==": "Equal", "!=": "NotEqual"}
ARITHMETIC = {"+": "Plus", "-": "Minus", "&": "And", "|": "Or"}
PLAIN_TYPES = {cindex.TypeKind.BOOL, cindex.TypeKind.CHAR_S, cindex.TypeKind.UCHAR, cindex.TypeKind.SCHAR, cindex.TypeKind.SHORT,
               cindex.TypeKind.USHORT, cindex.TypeKind.INT, cindex.TypeKind.UINT, cindex.TypeKind.LONG, cindex.TypeKind.ULONG,
               cindex.TypeKind.LONGLONG, cindex.TypeKind.ULONGLONG, cindex.TypeKind.CHAR16, cindex.TypeKind.ENUM}


def kind_of(cursor):
    """The kind of a cursor; the binding does not know those that are new in the library."""
    try:
        return cursor.kind
    except ValueError:
        return Kind.UNEXPOSED_EXPR


class File:
    """The changes of one file: texts that are put in, and stretches that are taken out."""

    def __init__(self, name, text):
        self.name, self.text = name, text
        self.changes = []  # (offset, end, order, text)
        self.mutants = []

    def wrap(self, start, end, depth, before, after):
        # At one offset an end stands before a start; the outer start first, the inner end first.
        self.changes.append((start, start, (1, depth), before))
        self.changes.append((end, end, (0, -depth), after))

    def replace(self, start, end, text):
        self.changes.append((start, end, (2, 0), text))

    def rewritten(self):
        result, at = [], 0
        for start, end, _, text in sorted(self.changes, key=lambda change: (change[0], change[2])):
            result += [self.text[at:start], text]
            at = max(at, end)
        return b"".join(part if isinstance(part, bytes) else part.encode() for part in result) + self.text[at:]


class Planter:
    def __init__(self, root, without):
        self.root, self.without = root, without
        self.files, self.seen, self.number, self.rows, self.times = {}, set(), 0, [], {}

    def file_of(self, cursor):
        location = cursor.location.file
        name = location and location.name
        if not name or not name.startswith(str(self.root) + "/"):
            return None
        name = name[len(str(self.root)) + 1:]
        if not name.startswith(tuple(ROOMS)):
            return None
        if name not in self.files:
            self.files[name] = File(name, (self.root / name).read_bytes())
        return self.files[name]

    def plant(self, file, cursor, kind):
        """Counts a mutant in; its number, or 0 when it is left out."""
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        if (file.name, start, end, kind) in self.seen:
            return 0
        self.seen.add((file.name, start, end, kind))
        text = " ".join(file.text[start:end].decode("latin-1").split())
        line = " ".join(file.text.split(b"\n")[cursor.extent.start.line - 1].decode("latin-1").split())
        # What tells a mutant from another also after the file has changed elsewhere.
        plain = f"{file.name}|{kind}|{line}|{text}"
        self.times[plain] = self.times.get(plain, 0) + 1
        key = hashlib.sha256(f"{plain}|{self.times[plain]}".encode()).hexdigest()[:12]
        if key in self.without:
            return 0
        self.number += 1
        self.rows.append((self.number, file.name, cursor.extent.start.line, kind, text[:100], key))
        return self.number

    def walk(self, cursor, depth=0, in_function=False):
        for child in cursor.get_children():
            if depth == 0 and self.file_of(child) is None and kind_of(child) != Kind.NAMESPACE:
                continue
            self.visit(child, cursor, depth, in_function)

    def visit(self, cursor, parent, depth, in_function):
        file = self.file_of(cursor)
        # The last one is `sizeof`, of which only the type counts.
        constant = (kind_of(cursor) in (Kind.STATIC_ASSERT, Kind.TEMPLATE_TYPE_PARAMETER, Kind.TEMPLATE_NON_TYPE_PARAMETER, Kind.ENUM_DECL,
                                        Kind.CXX_UNARY_EXPR)
                    or kind_of(cursor) == Kind.VAR_DECL and any(token.spelling == "constexpr" for token in list(cursor.get_tokens())[:3]))
        # How much is kept ready changes only the time.
        if constant or kind_of(cursor) == Kind.CALL_EXPR and cursor.spelling in ("reserve", "Reserve"):
            return
        if kind_of(cursor) in (Kind.CXX_METHOD, Kind.FUNCTION_DECL, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.FUNCTION_TEMPLATE, Kind.LAMBDA_EXPR):
            in_function = True
        if file is not None and in_function:
            self.change(file, cursor, parent, depth)
        children = list(cursor.get_children())
        for index, child in enumerate(children):
            # What the compiler itself computes cannot be chosen when the program runs.
            if index == 0 and (kind_of(cursor) == Kind.CASE_STMT or self.is_constexpr_if(cursor)):
                continue
            if kind_of(cursor) in (Kind.VAR_DECL, Kind.FIELD_DECL) and child.extent.end.offset <= cursor.location.offset:
                continue
            if kind_of(child) == Kind.PARM_DECL:
                continue
            self.visit(child, cursor, depth + 1, in_function)

    def change(self, file, cursor, parent, depth):
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        # What a macro makes cannot be rewritten where it is used.
        if cursor.extent.start.file is None or cursor.extent.start.file.name != cursor.extent.end.file.name or end <= start:
            return
        if kind_of(cursor) in (Kind.BINARY_OPERATOR, Kind.CALL_EXPR):
            self.operator(file, cursor, depth)
        elif kind_of(cursor) in (Kind.INTEGER_LITERAL, Kind.CXX_BOOL_LITERAL_EXPR, Kind.CHARACTER_LITERAL):
            self.constant(file, cursor, depth)
        elif kind_of(cursor) == Kind.DECL_REF_EXPR and self.is_constant(cursor):
            self.constant(file, cursor, depth)
        if kind_of(cursor) in (Kind.IF_STMT, Kind.WHILE_STMT) and not self.is_constexpr_if(cursor):
            condition = next((child for child in cursor.get_children() if kind_of(child).is_expression()), None)
            children = list(cursor.get_children())
            if condition is not None and children[0] == condition or kind_of(cursor) == Kind.IF_STMT and condition is not None and children[1] == condition:
                self.condition(file, condition, depth)
        if kind_of(parent) == Kind.COMPOUND_STMT or kind_of(parent) == Kind.IF_STMT and cursor != next(parent.get_children()):
            self.statement(file, cursor, depth)

    @staticmethod
    def is_constexpr_if(cursor):
        return kind_of(cursor) == Kind.IF_STMT and [token.spelling for token in list(cursor.get_tokens())[:2]] == ["if", "constexpr"]

    @staticmethod
    def is_constant(cursor):
        declared = cursor.referenced
        if declared is None:
            return False
        if declared.kind == Kind.ENUM_CONSTANT_DECL:
            return True
        return (declared.kind == Kind.VAR_DECL and declared.type.get_canonical().kind in PLAIN_TYPES
                and any(token.spelling == "constexpr" for token in list(declared.get_tokens())[:3]))

    def operator(self, file, cursor, depth):
        children = list(cursor.get_children())
        if kind_of(cursor) == Kind.CALL_EXPR:
            if cursor.spelling not in ("operator==", "operator!=", "operator<", "operator>") or len(children) != 3:
                return
            left, right, sign = children[0], children[2], cursor.spelling[len("operator"):]
        elif len(children) == 2:
            left, right = children
            between = file.text[left.extent.end.offset:right.extent.start.offset]
            sign = between.decode("latin-1").strip()
        else:
            return
        between_start = left.extent.end.offset
        gap = file.text[between_start:right.extent.start.offset]
        at = between_start + gap.find(sign.encode())
        if gap.strip() != sign.encode():
            return
        if sign in ("&&", "||"):
            number = self.plant(file, cursor, sign + " -> " + ("||" if sign == "&&" else "&&"))
            if number == 0:
                return
            chosen = f"::nerio_mutants::Is({number})"
            compare, last = ("!=", chosen) if sign == "&&" else ("==", "!" + chosen)
            file.wrap(left.extent.start.offset, left.extent.end.offset, depth, f"(({chosen} {compare} static_cast<bool>(", "))")
            file.replace(at, at + 2, "?")
            file.wrap(right.extent.start.offset, right.extent.end.offset, depth, "static_cast<bool>(", f") : {last})")
            return
        names = COMPARISONS if kind_of(cursor) == Kind.CALL_EXPR else {**COMPARISONS, **ARITHMETIC}
        if sign not in names:
            return
        if sign in ARITHMETIC and not all(child.type.get_canonical().kind in PLAIN_TYPES for child in children):
            return
        changed = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "+": "-", "-": "+", "&": "|", "|": "&"}[sign]
        number = self.plant(file, cursor, f"{sign} -> {changed}")
        if number == 0:
            return
        file.wrap(left.extent.start.offset, right.extent.end.offset, depth, f"::nerio_mutants::{names[sign]}({number}, ", ")")
        file.replace(at, at + len(sign), ",")

    def constant(self, file, cursor, depth):
        text = file.text[cursor.extent.start.offset:cursor.extent.end.offset].decode("latin-1")
        if not re.fullmatch(r"[\w:]+|'(\\.|[^\\])+'", text):
            return
        number = self.plant(file, cursor, "the next constant")
        if number:
            file.wrap(cursor.extent.start.offset, cursor.extent.end.offset, depth, f"::nerio_mutants::Constant({number}, ", ")")

    def condition(self, file, cursor, depth):
        number = self.plant(file, cursor, "condition turned round")
        if number:
            file.wrap(cursor.extent.start.offset, cursor.extent.end.offset, depth - 0.5,
                      f"::nerio_mutants::Is({number}) != static_cast<bool>(", ")")

    def statement(self, file, cursor, depth):
        deletable = kind_of(cursor) in (Kind.CALL_EXPR, Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.UNARY_OPERATOR,
                                    Kind.CONTINUE_STMT, Kind.BREAK_STMT, Kind.UNEXPOSED_EXPR)
        after = file.text[cursor.extent.end.offset:].lstrip()
        # An "else" would go over to the condition that is put before; a place that is kept early changes only the time.
        before = file.text[:cursor.extent.start.offset].rstrip()
        if not before.endswith((b";", b"{", b"}", b")", b"else")):
            return
        if not deletable or not after.startswith(b";") or after[1:].lstrip().startswith(b"else"):
            return
        number = self.plant(file, cursor, "statement deleted")
        if number:
            file.changes.append((cursor.extent.start.offset, cursor.extent.start.offset, (1, depth - 0.7),
                                 f"if (!::nerio_mutants::Is({number})) "))


def main():
    build, copy = Path(sys.argv[1]), Path(sys.argv[2])
    without = set(Path(sys.argv[3]).read_text().split()) if len(sys.argv) > 3 and Path(sys.argv[3]).exists() else set()
    root = Path(__file__).resolve().parents[3]
    planter = Planter(root, without)
    index = cindex.Index.create()
    own_headers = subprocess.run(["clang", "-print-resource-dir"], check=True, capture_output=True, text=True).stdout.strip() + "/include"
    for entry in json.loads((build / "compile_commands.json").read_text()):
        name = entry["file"]
        if len(sys.argv) > 4 and name != f"{root}/{sys.argv[4]}":
            continue
        if not name.startswith(tuple(f"{root}/{room}" for room in ROOMS)):
            continue
        words = entry["command"].split()
        arguments = [word for word in words if word.startswith(("-I", "-D", "-std"))]
        unit = index.parse(name, args=arguments + ["-isystem", own_headers])
        errors = [diagnostic for diagnostic in unit.diagnostics if diagnostic.severity >= cindex.Diagnostic.Error]
        if errors:
            sys.exit(f"{name}: {errors[0].spelling}")
        planter.walk(unit.cursor)
    for file in planter.files.values():
        (copy / file.name).write_bytes(file.rewritten())
    with (copy / "mutants.tsv").open("w") as table:
        for row in planter.rows:
            table.write("\t".join(str(field) for field in row) + "\n")
    print(f"{planter.number} mutants in {len(planter.files)} files", file=sys.stderr)


main()
