# SPDX-License-Identifier: MIT
"""The mutants of a unit: each is the unit's text with one change, of a kind that people make."""

import errno
import re
from bisect import bisect_left
from dataclasses import dataclass

from clang.cindex import CursorKind as Cursor
from clang.cindex import Index, TranslationUnit, TypeKind
from clang.cindex import TokenKind as Token

COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"],
               ">": [">=", "<="], ">=": [">", "<"]}
OPERATORS = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|",
             "<<": ">>", ">>": "<<", "&&": "||", "||": "&&", "+=": "-=", "-=": "+=", "|=": "&=",
             "&=": "|=", "^=": "|=", "<<=": ">>=", ">>=": "<<=", "++": "--", "--": "++"}
# Whatever they stand for, they are operators; the others are also templates, pointers and signs.
UNMISTAKABLE = {"==", "!=", "<=", ">=", "%", "&&", "||", "+=", "-=", "|=", "&=", "^=", "<<=", ">>=",
                "++", "--"}
GUARD = re.compile(r"\b\w*(Lock|Locker|Shield|Silence|lock_guard|unique_lock)\b")
ERROR = set(errno.errorcode.values())
FUNCTIONS = {Cursor.FUNCTION_DECL, Cursor.CXX_METHOD, Cursor.CONSTRUCTOR, Cursor.DESTRUCTOR,
             Cursor.CONVERSION_FUNCTION, Cursor.FUNCTION_TEMPLATE}
SCOPES = {Cursor.NAMESPACE, Cursor.CLASS_DECL, Cursor.STRUCT_DECL, Cursor.CLASS_TEMPLATE}
BODIES = {Cursor.IF_STMT, Cursor.FOR_STMT, Cursor.WHILE_STMT, Cursor.CXX_FOR_RANGE_STMT,
          Cursor.DO_STMT}
DECLARATIONS_AND_BLOCKS = BODIES | {Cursor.COMPOUND_STMT, Cursor.DECL_STMT, Cursor.SWITCH_STMT,
                                    Cursor.CXX_TRY_STMT, Cursor.NULL_STMT, Cursor.CASE_STMT,
                                    Cursor.DEFAULT_STMT, Cursor.LABEL_STMT, Cursor.INVALID_FILE}
INTEGERS = {TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.LONGLONG,
            TypeKind.ULONGLONG, TypeKind.SHORT, TypeKind.USHORT, TypeKind.CHAR_S, TypeKind.SCHAR,
            TypeKind.UCHAR, TypeKind.WCHAR}


@dataclass(frozen=True)
class Mutant:
    unit: str      # such as Bases/Impl/Date.cpp
    function: str  # in which function, with its scopes; empty: in none
    kind: str
    line: int
    text: str      # the line, without its indentation
    change: str    # in words; with #2 if the second of the same on its line
    begin: int     # what is replaced, by offset
    end: int
    new: str

    def key(self):
        """What names it in the list of equivalents, wherever its line moves."""
        return (self.unit, self.function, self.text, self.change)

    def apply(self, source: bytes) -> bytes:
        return source[:self.begin] + self.new.encode() + source[self.end:]


def shown(text):
    return " ".join(text.split())


def lacks_a_lock(path, text, arguments):
    """Whether Clang, which builds the library with a check of what each lock guards, refuses the
    text of a unit."""
    parsed = Index.create().parse(str(path), arguments + ["-Wthread-safety"],
                                  unsaved_files=[(str(path), text)])
    return any(d.option.startswith("-Wthread-safety") for d in parsed.diagnostics)


class Maker:
    """Collects the changes of one unit."""

    def __init__(self, unit, path, arguments):
        self.unit = unit
        self.source = path.read_bytes()
        self.path = str(path)
        parsed = Index.create().parse(self.path, arguments,
                                      options=TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        errors = [d for d in parsed.diagnostics if d.severity >= 3]
        if errors:
            raise SystemExit(f"cannot read {unit}: {errors[0]}")
        self.tokens = [t for t in parsed.get_tokens(extent=parsed.cursor.extent)
                       if t.kind != Token.COMMENT]
        self.starts = [t.extent.start.offset for t in self.tokens]
        self.skipped = self.directives() + self.uncompiled()
        self.functions = []
        self.changes = {}
        for child in parsed.cursor.get_children():
            if child.location.file and child.location.file.name == self.path:
                self.visit(child, [])
        self.visit_tokens()

    # --- Where not -------------------------------------------------------------------------------

    def directives(self):
        found = re.finditer(rb"(?m)^[ \t]*#(?:[^\n\\]|\\\n|\\.)*", self.source)
        return [match.span() for match in found]

    def uncompiled(self):
        """What is only there for the compiler, or is not compiled on this host."""
        spans = []
        for i, token in enumerate(self.tokens):
            if token.spelling == "static_assert":
                spans.append(self.brackets(i + 1, "(", ")"))
            elif token.spelling == "[" and self.spelling(i + 1) == "[" and self.adjoins(i):
                spans.append(self.brackets(i, "[", "]"))
        return spans

    def spelling(self, i):
        return self.tokens[i].spelling if 0 <= i < len(self.tokens) else ""

    def adjoins(self, i):
        return self.tokens[i].extent.end.offset == self.tokens[i + 1].extent.start.offset

    def brackets(self, i, opening, closing):
        """The span from this bracket to the one that closes it."""
        depth = 0
        for j in range(i, len(self.tokens)):
            depth += {opening: 1, closing: -1}.get(self.tokens[j].spelling, 0)
            if depth == 0:
                return self.tokens[i].extent.start.offset, self.tokens[j].extent.end.offset
        return 0, 0

    # --- Changes ---------------------------------------------------------------------------------

    def add(self, kind, begin, end, new, change=None):
        if begin >= end or any(first <= begin < last for first, last in self.skipped):
            return
        old = self.source[begin:end].decode()
        if old != new:
            change = change or f"`{shown(old)}` to `{shown(new)}`"
            self.changes.setdefault((begin, end, new), (kind, change))

    def text(self, cursor):
        return self.source[cursor.extent.start.offset:cursor.extent.end.offset].decode()

    def replace(self, kind, cursor, new, change=None):
        self.add(kind, cursor.extent.start.offset, cursor.extent.end.offset, new, change)

    def drop(self, kind, cursor):
        if self.is_whole(cursor):
            self.replace(kind, cursor, "", f"drop `{shown(self.text(cursor))}`")

    def is_whole(self, cursor):
        """Whether the text is a statement's: macros may hide where an expression ends."""
        text = self.text(cursor)
        return text.count("(") == text.count(")") and text.count("{") == text.count("}")

    def visit(self, cursor, scopes):
        if cursor.kind in FUNCTIONS and cursor.is_definition():
            name = "::".join([s for s in scopes if s] + [cursor.spelling])
            self.functions.append((cursor.extent.start.offset, cursor.extent.end.offset, name))
        if cursor.kind in SCOPES or cursor.kind in FUNCTIONS:
            scopes = scopes + [cursor.spelling]
        children = list(cursor.get_children())
        self.visit_operator(cursor, children)
        self.visit_statements(cursor, children)
        self.visit_others(cursor, children)
        for child in children:
            self.visit(child, scopes)

    def visit_operator(self, cursor, children):
        overloaded = cursor.kind == Cursor.CALL_EXPR and cursor.spelling.startswith("operator")
        if cursor.kind in (Cursor.BINARY_OPERATOR, Cursor.COMPOUND_ASSIGNMENT_OPERATOR):
            sides = children
        elif overloaded and len(children) == 3:
            sides = [children[0], children[2]]
        else:
            return
        if len(sides) != 2:
            return
        first = bisect_left(self.starts, sides[0].extent.end.offset)
        last = bisect_left(self.starts, sides[1].extent.start.offset)
        for i in range(first, last):
            if self.tokens[i].kind == Token.PUNCTUATION:
                self.change_operator(i)

    def change_operator(self, i):
        token = self.tokens[i]
        span = token.extent.start.offset, token.extent.end.offset
        for new in COMPARISONS.get(token.spelling, []):
            self.add("comparison", *span, new)
        if token.spelling in OPERATORS:
            self.add("operator", *span, OPERATORS[token.spelling])

    def visit_statements(self, cursor, children):
        if cursor.kind == Cursor.COMPOUND_STMT:
            statements = children
        elif cursor.kind in BODIES:
            statements = [c for c in children[1:] if c.kind != Cursor.COMPOUND_STMT
                          and self.ends_statement(c)]
        else:
            return
        for statement in statements:
            if statement.kind == Cursor.DECL_STMT:
                if GUARD.search(self.text(statement).split("(")[0]):
                    self.drop("lock", statement)
            elif statement.kind == Cursor.RETURN_STMT:
                if self.text(statement) == "return":
                    self.drop("statement", statement)
            elif statement.kind not in DECLARATIONS_AND_BLOCKS:
                self.drop("statement", statement)

    def ends_statement(self, cursor):
        return self.source[cursor.extent.end.offset:].lstrip().startswith(b";")

    def visit_others(self, cursor, children):
        if cursor.kind == Cursor.CALL_EXPR:
            self.swap_arguments(cursor)
        elif cursor.kind == Cursor.RETURN_STMT and children:
            self.change_result(children[0])
        elif cursor.kind == Cursor.CONDITIONAL_OPERATOR and children and self.is_whole(children[0]):
            self.negate(children[0].extent.start.offset, children[0].extent.end.offset)

    def swap_arguments(self, call):
        if call.spelling.startswith("operator"):
            return
        arguments = [a for a in call.get_arguments() if a is not None]
        for first, second in zip(arguments, arguments[1:]):
            begin, end = first.extent.start.offset, second.extent.end.offset
            one, two = self.text(first), self.text(second)
            between = self.source[first.extent.end.offset:second.extent.start.offset].decode()
            if one and two and shown(between) == "," and one != two and self.alike(first, second):
                self.add("arguments", begin, end, two + between + one)

    @staticmethod
    def alike(first, second):
        one, two = first.type.get_canonical(), second.type.get_canonical()
        numbers = INTEGERS | {TypeKind.BOOL, TypeKind.DOUBLE}
        return one.spelling.replace("const ", "") == two.spelling.replace("const ", "") or (
            one.kind in numbers and two.kind in numbers)

    def change_result(self, value):
        kind, text = value.type.get_canonical().kind, self.text(value)
        if not self.is_whole(value):
            return
        if kind == TypeKind.BOOL:
            new = {"true": "false", "false": "true"}.get(text, f"!({text})")
        elif kind in INTEGERS:
            new = f"({text}) + 1"
        elif kind == TypeKind.POINTER:
            new = "nullptr"
        else:
            new = "{}"
        self.replace("result", value, new)

    def negate(self, begin, end):
        text = self.source[begin:end].decode()
        self.add("condition", begin, end, f"!({text})", f"`{shown(text)}` negated")

    # --- By tokens, also in the arguments of macros --------------------------------------------

    def visit_tokens(self):
        for i, token in enumerate(self.tokens):
            span = token.extent.start.offset, token.extent.end.offset
            spelling, before = token.spelling, self.spelling(i - 1)
            if token.kind == Token.LITERAL:
                self.change_literal(spelling, span)
            elif spelling in ("true", "false"):
                self.add("constant", *span, "false" if spelling == "true" else "true")
            elif token.kind == Token.IDENTIFIER and spelling in ERROR:
                self.add("error", *span, "EINVAL" if spelling != "EINVAL" else "EIO")
            elif spelling in ("if", "while", "for"):
                self.change_condition(i)
            elif before == "operator":
                continue
            elif spelling in UNMISTAKABLE:
                self.change_operator(i)
            elif spelling in ("!", "~") and not (spelling == "~" and before in ("::", "{", "}", ";",
                                                                               "virtual")):
                self.add("operator", *span, "", f"drop `{spelling}`")

    def change_literal(self, spelling, span):
        number = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)([uUlLzZ]*)", spelling)
        if number:
            value = int(number[1].replace("'", ""), 0 if number[1][:2] in ("0x", "0X") else 10)
            for new in {value + 1, max(value - 1, 0)} - {value}:
                digits = hex(new) if number[1][:2] in ("0x", "0X") else str(new)
                self.add("constant", *span, digits + number[2])
        elif re.fullmatch(r"(L|u|U|u8)?'[ -~]'", spelling):
            new = chr(ord(spelling[-2]) + 1)
            if new not in "\\'\x7f":
                self.add("constant", *span, spelling[:-2] + new + "'")
        elif re.fullmatch(r"(L|u|U|u8)?'\\.'", spelling):
            new = {"0": "\\1", "n": "\\t"}.get(spelling[-2], "x")
            self.add("constant", *span, spelling[:-3] + new + "'")
        elif re.fullmatch(r'(L|u|U|u8)?".*"', spelling) and not spelling.startswith("R"):
            quote = spelling.index('"') + 1
            self.add("message", *span, spelling[:quote] + "~" + spelling[quote:])

    def change_condition(self, i):
        if self.spelling(i + 1) != "(":
            return
        begin, end = self.brackets(i + 1, "(", ")")
        parts = self.source[begin + 1:end - 1].decode().split(";")
        if self.tokens[i].spelling == "for":
            if len(parts) != 3 or not parts[1].strip():
                return
            first = begin + 1 + len(parts[0].encode()) + 1
            self.negate(first + 1, first + len(parts[1].encode()))
        elif len(parts) == 1 and not re.match(r"(const )?(auto|\w+)[ *&]+\w+ = ", parts[0]):
            self.negate(begin + 1, end - 1)

    # --- The result ------------------------------------------------------------------------------

    def function_at(self, offset):
        inner = [f for f in self.functions if f[0] <= offset < f[1]]
        return min(inner, key=lambda f: f[1] - f[0])[2] if inner else ""

    def mutants(self):
        seen, mutants = {}, []
        for (begin, end, new), (kind, change) in sorted(self.changes.items()):
            line = self.source.count(b"\n", 0, begin) + 1
            text = self.source.split(b"\n")[line - 1].decode().strip()
            function = self.function_at(begin)
            same = seen[(function, text, change)] = seen.get((function, text, change), 0) + 1
            if same > 1:
                change += f" #{same}"
            mutants.append(Mutant(self.unit, function, kind, line, text, change, begin, end, new))
        return mutants


def mutants_of(unit, path, arguments):
    """All mutants of a unit, in the order of its text. The arguments are the compiler's."""
    return Maker(unit, path, arguments).mutants()
