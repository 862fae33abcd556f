"""The texts of log lines, as the sources hold them and as docs/OPERATING.md lists them."""

import re

STRING = r'"(?:\\.|[^"\\])*"'
COMMENT = re.compile(STRING + r"|//[^\n]*|/\*.*?\*/", re.DOTALL)
NO_TEXT = re.compile(r"^#\s*include[^\n]*|static_assert\([^;]*;|__asm__\([^)]*\)", re.MULTILINE)
JOINT = re.compile(r'"\s*"')
LITERAL = re.compile(r'"((?:\\.|[^"\\])*)"')
ARGUMENTS = r"((?:" + STRING + r'|[^;"])*);'
CALL = re.compile(r"\b(?:UTIL_LOG|CPU_LOG|LOG_AT|LOG_LINE|dlog_printf)\(" + ARGUMENTS)
FAILURE = re.compile(r"\b(?:logFailure\(|startThread\(|FailureLines \w+\{)" + ARGUMENTS)
LEVEL = re.compile(r"level::(\w+)")
LEVELS = {"error": 1, "warning": 4, "info": 5, "trace": 9}

# What stands in a literal before the text itself.
PREFIXES = ("%s.%d.%s: ", "1 300 dlog.%d.%s: ")

# Literals with a blank or a conversion that are no text of a line.
NO_LINES = {
    "": "the prefix alone",
    "%s": "the words of a failure",
    "%.*s%s%.*s": "the words of a caller, around a text",
    "=": "a separator, see COMPOSED",
    "BAY": "what a designation is searched for",
    "SLOT": "what a designation is searched for",
    "Error in pipe creation OneWayChannel": "thrown, and logged as 'Caught an exception'",
    "the line needs exactly one %s": "said by the compiler",
}

# Lines whose text is put together: what the document lists, and the literals that it is made of.
COMPOSED = {
    "KOVD object path = %s": {"KOVD object path", "%s = %s"},
    "%s = %s": {"%s%s%s"},
    "%s=%s": {"%s%s%s"},
    "%s = %d": {"%s%s%d"},
    "%s=%d": {"%s%s%d"},
}


def text_of(literal):
    text = literal.replace("\\n", "")
    for prefix in PREFIXES:
        text = text.removeprefix(prefix)
    return text.strip()


def of_source(code):
    """Text to the levels at which this source says it, as far as the statement tells."""
    code = COMMENT.sub(lambda found: found[0] if found[0].startswith('"') else " ", code)
    code = JOINT.sub("", NO_TEXT.sub("", code))
    found = {
        text_of(literal): set() for literal in LITERAL.findall(code) if re.search("[ %]", literal)
    }
    for call in CALL.findall(code):
        level, literals = LEVEL.search(call), LITERAL.findall(call)
        if level and literals:
            found.setdefault(text_of(literals[0]), set()).add(LEVELS[level[1]])
    for call in FAILURE.findall(code):
        for literal in LITERAL.findall(call):
            found.setdefault(text_of(literal), set()).add(LEVELS["error"])
    return {text: levels for text, levels in found.items() if text not in NO_LINES}


def of_document(document):
    """[(text, levels)] of the rows of the tables that begin with a level."""
    found = []
    for row in re.findall(r"^\| ([\d, ]+) \| (`.*?`) \| .+ \|$", document, re.MULTILINE):
        levels = {int(level) for level in row[0].split(",")}
        found += [(text.strip(), levels) for text in re.findall("`([^`]+)`", row[1])]
    return found
