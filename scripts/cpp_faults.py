"""The faults that a piece of C++ in the house style offers: what could be mistyped or forgotten.

The text is cut into tokens, not parsed. What a parser would be needed for is read off the format
that clang-format gives: a binary operator stands between blanks, an angle bracket or a reference
mark does not. A fault that turns out not to be C++ costs one vain compilation and nothing else.
"""

import re
from typing import NamedTuple

TOKEN = re.compile(
    r"""(?P<blank>\s+)
    |(?P<comment>//[^\n]*|/\*.*?\*/)
    |(?P<string>(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
    |(?P<char>'(?:\\.|[^'\\\n])+')
    |(?P<number>\.?\d(?:[eE][+-]\d|'?[0-9A-Za-z_.])*)
    |(?P<name>[A-Za-z_]\w*)
    |(?P<mark><<=|>>=|<=>|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)""",
    re.VERBOSE | re.DOTALL)

# What may stand in place of an operator. The last group stands between blanks.
ANYWHERE = {"++": ["--"], "--": ["++"], "==": ["!="], "!=": ["=="], "<=": ["<"], ">=": [">"],
            "+=": ["-=", "="], "-=": ["+=", "="], "*=": ["/=", "="], "/=": ["*=", "="],
            "|=": ["&=", "="], "&=": ["|=", "="], "<<": [">>"], ">>": ["<<"],
            "<<=": [">>="], ">>=": ["<<="]}
BINARY = {"<": ["<="], ">": [">="], "+": ["-"], "-": ["+"], "*": ["/", "+"], "/": ["*"],
          "%": ["/"], "&&": ["||"], "||": ["&&"], "&": ["|"], "|": ["&"], "^": ["|"]}

# Calls and the like whose arguments are no running code.
NO_CODE = {"assert", "static_assert", "alignas", "__attribute__", "sizeof", "offsetof", "template",
           "decltype", "noexcept"}
STATEMENT_WORDS = {"if", "else", "for", "while", "do", "switch", "case", "default", "using", "goto",
                   "public", "private", "protected", "struct", "class", "enum", "union", "template",
                   "namespace", "typedef", "static_assert", "assert", "try", "catch"}
DECLARATION = re.compile(
    r"(const|constexpr|static|inline|extern|auto|alignas|unsigned|signed|volatile|\[\[)\b"
    r"|(?!return\b|throw\b|delete\b)[A-Za-z_][\w:]*(<[^;=]*>)?(\s+[*&]*|\s*[*&]+\s*)[A-Za-z_]\w*"
    r"|(?!return\b|throw\b|delete\b)[A-Za-z_][\w:]*(<[^;=]*>)?\s*[&*]*\(&")
OPENING = {"(": ")", "[": "]", "{": "}"}
# Where an operand of && or || ends at the latest.
OPERAND_ENDS = {"&&", "||", ",", ";", "?", ":", "return", "{", "}", "(", ")", "[", "]",
                "=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>="}


class Fault(NamedTuple):
    """One edit: what replaces the text from `begin` to `end`."""
    file: str
    begin: int
    end: int
    text: str
    kind: str
    line: int
    function: str  # that it is in, empty outside of functions


class Token(NamedTuple):
    kind: str
    text: str
    begin: int
    end: int
    line: int


def Tokens(text):
    """The tokens of `text` but blanks and comments; its lines count from 1."""
    tokens = []
    line = 1
    for match in TOKEN.finditer(text):
        if match.lastgroup not in ("blank", "comment"):
            tokens.append(Token(match.lastgroup, match[0], match.start(), match.end(), line))
        line += match[0].count("\n")
    return tokens


def WithoutDirectives(text, active):
    """`text` with preprocessor lines, and lines not in `active` if that is given, made blank."""
    lines = []
    directive = False
    for number, line in enumerate(text.split("\n"), 1):
        directive = directive or line.lstrip().startswith("#")
        compiled = active is None or number in active
        lines.append(" " * len(line) if directive or not compiled else line)
        directive = directive and line.endswith("\\")
    return "\n".join(lines)


def WithoutComments(text):
    """`text` in one line, without comments, with single blanks but in its strings."""
    kept = [" " if match.lastgroup in ("blank", "comment") else match[0]
            for match in TOKEN.finditer(text)]
    return "".join(part for i, part in enumerate(kept) if kept[i - 1:i] != [" "] or part != " "
                   ).strip()


class Names:
    """What the sources of the program declare: enumerators, constants, functions."""

    def __init__(self):
        self.others = {}  # named constant: what may stand in its place
        self.parameters = {}  # function: types of its parameters, None if there are several

    def Learn(self, text):
        tokens = Tokens(WithoutDirectives(text, None))
        groups = {}
        same = set()  # pairs of constants of which one is the other: no fault
        for i, token in enumerate(tokens):
            if token.text == "enum":
                self._LearnEnum(tokens, i)
            elif token.text == "constexpr":
                self._LearnConstant(tokens, i, groups, same)
            elif token.text == "(" and i >= 2 and tokens[i - 1].kind == "name":
                self._LearnFunction(tokens, i, text)
        for group in groups.values():
            self._LearnGroup(group)
            for name in group:
                self.others[name] = [other for other in self.others[name]
                                     if not {(name, other), (other, name)} & same]
                self.others[name].append(f"({name} + 1)")

    def _LearnGroup(self, group):
        """Each may be taken for its neighbours in the list."""
        for k, name in enumerate(group):
            around = {group[k - 1], group[(k + 1) % len(group)]} - {name}
            self.others[name] = sorted(around)

    def _LearnEnum(self, tokens, i):
        while tokens[i].text not in "{;":
            i += 1
        names = []
        while tokens[i].text not in "};":
            if tokens[i].text in "{," and tokens[i + 1].kind == "name":
                names.append(tokens[i + 1].text)
            i += 1
        self._LearnGroup(names)

    def _LearnConstant(self, tokens, i, groups, same):
        begin = i + 1
        while tokens[i].text not in ("=", ";", "(", "{", "["):
            i += 1
        if tokens[i].text == "=" and tokens[i - 1].text.isupper():
            kind = " ".join(token.text for token in tokens[begin:i - 1])
            if "char" not in kind:
                groups.setdefault(kind, []).append(tokens[i - 1].text)
            if tokens[i + 2].text == ";":
                same.add((tokens[i - 1].text, tokens[i + 1].text))

    def _LearnFunction(self, tokens, i, text):
        name = tokens[i - 1].text
        before = tokens[i - 2]
        if before.kind != "name" and before.text not in "*&>" or before.text in ("return", "else"):
            return
        depth = 0
        begin = tokens[i].end
        types = []
        for token in tokens[i:]:
            depth += (token.text in "([{") - (token.text in ")]}")
            if depth == 0 or depth == 1 and token.text == ",":
                types.append(re.sub(r"\w+$", "", text[begin:token.begin].split("=")[0].strip()))
                begin = token.end
            if depth == 0:
                break
        if self.parameters.setdefault(name, types) != types:
            self.parameters[name] = None


def OtherNumbers(text):
    """One more and one less than the number, written as it is; not below 0."""
    match = re.fullmatch(r"(0[xX][\dA-Fa-f']+|\d[\d']*)([uUlLzZ]*)", text)
    if match:
        digits = match[1].replace("'", "")
        base = 16 if digits[:2] in ("0x", "0X") else 8 if digits[0] == "0" and digits != "0" else 10
        write = {16: "0x{:X}", 8: "0{:o}", 10: "{}"}[base]
    else:
        match = re.fullmatch(r"(\d+)(\.\d*f?)", text)
        if not match:
            return []
        digits, base, write = match[1], 10, "{}"
    value = int(digits, base)
    return [write.format(other) + match[2] for other in (value + 1, value - 1) if other >= 0]


def OtherTexts(text):
    """Places in a string literal and what may stand there. Conversions stay what they are."""
    changes = []
    for match in re.finditer(r'%%|%[-+ #0]*[\d.]*(?:hh?|ll?|[zj])?[a-zA-Z]|\\.|[^%\\"]', text):
        part = match[0]
        for k, letter in enumerate(part):
            if part == r"\t":
                other, k = " ", None
            elif part[0] == "\\" or part == "%%":
                continue
            elif letter.isdigit():
                other = str((int(letter) + 1) % 10) if part[0] != "%" or letter != "9" else "8"
            elif part[0] == "%":
                continue
            elif letter == " ":
                other = ""
            elif letter.isascii() and letter.isalpha():
                other = letter.swapcase()
            else:
                continue
            begin, end = (match.start(), match.end()) if k is None else \
                (match.start() + k, match.start() + k + 1)
            changes.append((begin, end, other))
            if k is None:
                break
    return changes


class Source:
    """One file: its tokens, what encloses each of them, and the faults that it offers."""

    def __init__(self, file, text, active, names):
        self.file = file
        self.text = text
        self.names = names
        self.tokens = Tokens(WithoutDirectives(text, active))
        self.code_lines = {token.line for token in self.tokens}
        self.faults = []
        self._Match()
        self._FindFunctions()
        self._FindNoCode()
        for i, token in enumerate(self.tokens):
            if i not in self.no_code:
                self._Operators(i, token)
                self._Constants(i, token)
                self._Conditions(i, token)
                self._Statements(i, token)
                self._Indices(i, token)
                self._Arguments(i, token)
                self._Texts(token)

    def KeyOf(self, fault):
        """The lines that `fault` changes, before and after, as the lists show them."""
        begin = self.text.rfind("\n", 0, fault.begin) + 1
        end = self.text.find("\n", fault.end)
        old = self.text[begin:end]
        new = self.text[begin:fault.begin] + fault.text + self.text[fault.end:end]
        return WithoutComments(old), WithoutComments(new) or "(nothing)"

    def Apply(self, fault):
        return self.text[:fault.begin] + fault.text + self.text[fault.end:]

    def _Add(self, kind, begin, end, text, i):
        self.faults.append(Fault(self.file, begin, end, text, kind, self.text.count("\n", 0, begin)
                                 + 1, self.function[i]))

    def _Match(self):
        """Each bracket's partner, and the innermost bracket around each token."""
        self.partner = {}
        self.around = []
        stack = []
        for i, token in enumerate(self.tokens):
            if token.kind == "mark" and token.text in ")]}" and stack:
                self.partner[i] = stack.pop()
                self.partner[self.partner[i]] = i
            self.around.append(stack[-1] if stack else None)
            if token.kind == "mark" and token.text in OPENING:
                stack.append(i)
        while stack:
            self.partner[stack.pop()] = len(self.tokens) - 1

    def _Text(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def _FindFunctions(self):
        """Which braces hold statements, and the function that each token is in."""
        self.blocks = set()
        self.function = [""] * len(self.tokens)
        for i, token in enumerate(self.tokens):
            if token.text != "{" or token.kind != "mark":
                continue
            back = i - 1
            while self._Text(back) in ("const", "noexcept"):
                back -= 1
            before = self._Text(back)
            inside = self.around[i] in self.blocks or self.function[i]
            if before not in (")", "else", "do", "]") and not (inside and before in "{};:"):
                continue
            self.blocks.add(i)
            if not self.function[i] and before == ")":
                name = self._Text(self.partner[back] - 1)
                if name == "]":  # of a lambda, or of the operator
                    name = "lambda" if self._Text(self.partner[back] - 3) != "operator" else "[]"
                for k in range(i, self.partner[i] + 1):
                    self.function[k] = name

    def _FindNoCode(self):
        self.no_code = set()
        for i, token in enumerate(self.tokens):
            if token.text not in NO_CODE:
                continue
            end = self.partner.get(i + 1, i)
            if token.text == "template":
                while self._Text(end) != ">" and end < len(self.tokens):
                    end += 1
            self.no_code.update(range(i, end + 1))
        # Sizes of arrays where these are declared: a larger one is no fault.
        for i, token in enumerate(self.tokens):
            if token.text == "[" and self._IsDeclarator(i):
                self.no_code.update(range(i, self.partner[i] + 1))

    def _IsDeclarator(self, i):
        while self._Text(i - 1) == "]":
            i = self.partner[i - 1]
        if self._Text(i - 1) == ")":
            return self._Text(self.partner[i - 1] + 1) in "*&"
        if i < 2 or self.tokens[i - 1].kind != "name":
            return False
        before = self.tokens[i - 2]
        if before.kind == "name":
            return before.text not in ("return", "case", "else", "throw")
        return before.text in ("*", "&", ">") and before.end == self.tokens[i - 1].begin

    def _IsBinary(self, token):
        return self.text[token.begin - 1].isspace() and self.text[token.end].isspace()

    def _Operators(self, i, token):
        if token.kind == "mark":
            others = ANYWHERE.get(token.text, []) + \
                (BINARY.get(token.text, []) if self._IsBinary(token) else [])
            for other in others:
                self._Add("operator", token.begin, token.end, other, i)
            unary = token.text in "!~-" and not self.text[token.end].isspace()
            if unary and not (token.text == "~" and self._Text(i - 1) in "};"):
                self._Add("operator", token.begin, token.end, "", i)
        elif token.text in ("min", "max") and self._Text(i - 1) == "::":
            self._Add("operator", token.begin, token.end, {"min": "max", "max": "min"}[token.text],
                      i)

    def _Constants(self, i, token):
        others = []
        if token.kind == "number":
            others = OtherNumbers(token.text)
        elif token.text in ("true", "false"):
            others = [{"true": "false", "false": "true"}[token.text]]
        elif token.kind == "name" and self._Text(i - 1) != "case" and self._Text(i + 1) != "=":
            # An enumerator without a value is followed by a comma in its own list.
            around = self.around[i]
            if around is not None and self._Text(around) == "{" and not self.function[i] and \
                    "enum" in (self._Text(around - k) for k in (1, 2, 4)):
                return
            others = self.names.others.get(token.text, [])
        for other in others:
            self._Add("constant", token.begin, token.end, other, i)

    def _Conditions(self, i, token):
        if token.text in ("if", "while") and self._Text(i + 1) == "(":
            first, last = i + 2, self.partner[i + 1] - 1
            if any(self._Text(k) == ";" for k in range(first, last)):
                return
            begin, end = self.tokens[first].begin, self.tokens[last].end
            self._Add("condition", begin, end, f"!({self.text[begin:end]})", i)
            self._Add("condition", begin, end, "false", i)
            if token.text == "if":
                self._Add("condition", begin, end, "true", i)
        elif token.text == "for" and self._Text(i + 1) == "(":
            ends = [k for k in range(i + 2, self.partner[i + 1])
                    if self._Text(k) == ";" and self.around[k] == i + 1]
            if len(ends) == 2 and ends[1] > ends[0] + 1:
                self._Add("condition", self.tokens[ends[0] + 1].begin, self.tokens[ends[1]].begin,
                          "false", i)
        elif token.text in ("&&", "||", "?") and self._IsBinary(token):
            first = self._OperandBegin(i)
            begin = self.tokens[first].begin
            if token.text == "?":
                self._Add("condition", begin, self.tokens[i - 1].end,
                          f"!({self.text[begin:self.tokens[i - 1].end]})", i)
                return
            self._Add("condition", begin, self.tokens[i + 1].begin, "", i)
            self._Add("condition", self.tokens[i - 1].end, self.tokens[self._OperandEnd(i)].end, "",
                      i)

    def _OperandBegin(self, i):
        """First token of the operand in front of token `i`; all of && and || in front of a `?`."""
        ends = OPERAND_ENDS - ({"&&", "||"} if self._Text(i) == "?" else set())
        first = i
        while first > 0 and self._Text(first - 1) not in ends - {")", "]", "}"}:
            first -= 1
            first = self.partner[first] if self._Text(first) in (")", "]", "}") else first
        return first

    def _OperandEnd(self, i):
        last = i
        while self._Text(last + 1) not in OPERAND_ENDS - {"(", "[", "{"}:
            last += 1
            last = self.partner[last] if self._Text(last) in ("(", "[", "{") else last
        return last

    def _Statements(self, i, token):
        if self.around[i] not in self.blocks or token.text in STATEMENT_WORDS or \
                token.text in ("{", "}", ";"):
            return
        before = self._Text(i - 1)
        if before not in ("{", "}", ";") and not (before == ":" and self._EndsLabel(i - 1)):
            return
        end = i
        while self._Text(end) != ";":
            end = self.partner.get(end, end) + 1
            if end >= len(self.tokens) or end <= i:
                return
        text = self.text[token.begin:self.tokens[end].end]
        if DECLARATION.match(text) or text.startswith("return "):
            return
        if text == "break;" and [self._Text(end + k) for k in (1, 3)] == ["default", "break"]:
            return  # leads to the same place
        if before == ":" and self._Text(end + 1) == "}":
            return  # a label needs a statement
        self._Add("statement", token.begin, self.tokens[end].end, "", i)

    def _EndsLabel(self, i):
        return self._Text(i - 1) == "default" or self._Text(i - 2) == "case"

    def _Indices(self, i, token):
        if token.text != "[" or i + 1 == self.partner[i] or not self.function[i]:
            return
        if self.tokens[i - 1].kind != "name" and self._Text(i - 1) not in ("]", ")"):
            return
        first, last = i + 1, self.partner[i] - 1
        if first == last and self.tokens[first].kind == "number":
            return  # a constant
        begin, end = self.tokens[first].begin, self.tokens[last].end
        inner = self.text[begin:end]
        plain = {".", "->", "::", "+", "-", "*", "(", ")", "[", "]", ","}
        if any(self.tokens[k].kind == "mark" and self._Text(k) not in plain
               for k in range(first, last + 1)):
            inner = f"({inner})"
        self._Add("index", begin, end, f"{inner} + 1", i)
        self._Add("index", begin, end, f"{inner} - 1", i)

    def _Arguments(self, i, token):
        types = self.names.parameters.get(token.text)
        if not types or self._Text(i + 1) != "(" or not self.function[i]:
            return
        last = self.partner[i + 1]
        cuts = [i + 1] + [k for k in range(i + 2, last)
                          if self._Text(k) == "," and self.around[k] == i + 1] + [last]
        spans = [(self.tokens[a + 1].begin, self.tokens[b - 1].end) for a, b in zip(cuts, cuts[1:])]
        for k, (a, b) in enumerate(zip(spans, spans[1:])):
            first, second = self.text[slice(*a)], self.text[slice(*b)]
            if len(spans) == len(types) and types[k] == types[k + 1] and first != second:
                between = self.text[a[1]:b[0]]
                self._Add("arguments", a[0], b[1], second + between + first, i)

    def _Texts(self, token):
        if token.kind == "string":
            i = self.tokens.index(token)
            for begin, end, other in OtherTexts(token.text):
                self._Add("text", token.begin + begin, token.begin + end, other, i)
