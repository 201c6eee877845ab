"""What the product's sources can write, and the catalogue that explains it: share/messages.json."""

import json
import re
from pathlib import Path

CATALOGUE = 'share/messages.json'
SCHEMA = 'share/messages.schema.json'
SOURCES = ('src/mac/src', 'src/mac/include', 'sdk/include')
# The writers themselves, which take any text.
WRITERS = ('Trace.cpp', 'Trace.h', 'StandardStreams.cpp', 'StandardStreams.h')

TRACE, OUTPUT, ERROR = 'trace', 'standard output', 'standard error'
# Failures that no test sets off and sees exactly, with the reason.
UNREPORTED = {'transfer-failed curl=77': 'memory that runs out at this very place; what else fails then differs'}
# Tests that set off a case of an entry which names another test.
OF_CASES = ('TransferEnd.ShowsInFlagsAndTrace', 'DownloadControllerTest.DestructionEndsWhatIsBeingDownloaded')
# What docs/faults.md quotes where it tells of the log, and that stands in another place.
ELSEWHERE = ('Install', 'Content-Range', 'error while loading shared libraries',
             'Cannot go on: Resource temporarily unavailable')
ENGINE, SCRIPT, TOOL = 'engine', 'installer script', 'tool'

_token = re.compile(r'''//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*\'''', re.S)
_literal = re.compile(r'"(?:\\.|[^"\\\n])*"')
_call = re.compile(r'\b(trace|catalogTrace)\s*\.\s*(error|info|write)\s*\(|\b(printError|printOutput|assert)\s*\(')
# Whatever could write a line past these.
_past = re.compile(r'\b(?:trace|catalogTrace)\b(?!\s*\.\s*(?:error|info|write)\s*\()|\bTrace\b(?!\s*::)'
                   r'|\b(?:v?d?printf|puts|putchar|perror|psignal|v?syslog|logFilePtr|stdout|stderr)\b'
                   r'|\bv?(?:err|warn)x?\s*\('
                   r'|\bwritev?\s*\(\s*(?:STD(?:OUT|ERR)_FILENO|[12])\b'
                   r'|\bstd\s*::\s*w?c(?:err|out|log)\b')
_conversion = re.compile(r'%[-+ #0]*\d*(?:\.\d+)?(?:hh|h|ll|l|z)?([a-zA-Z%])')
_placeholder = re.compile(r'\{(\w+):(\w+)\}')


class Fault(Exception):
    """What is wrong, in words."""


class Message:
    """A text as the sources have it: "%s" and "%d" stand for what varies."""

    def __init__(self, text, by, stream, level, place):
        self.text, self.by, self.stream, self.level, self.place = text, by, stream, level, place

    def key(self):
        return self.text, self.by, self.stream

    def __str__(self):
        return f'{self.place}: {shown(self.text)}'


def shown(text):
    return json.dumps(text, ensure_ascii=False)


def without_comments(text):
    """With every character at its place."""
    return _token.sub(lambda found: found[0] if found[0][0] in '"\'' else re.sub(r'[^\n]', ' ', found[0]), text)


def without_literals(text):
    return _token.sub(lambda found: re.sub(r'[^\n]', ' ', found[0]), text)


def arguments_at(text, begin):
    """The arguments of a call whose bracket was opened before."""
    arguments, depth, start, position = [], 0, begin, begin
    while True:
        literal = _token.match(text, position)
        if literal:
            position = literal.end()
            continue
        character = text[position]
        if character in '([{':
            depth += 1
        elif character in ')]}':
            if depth == 0:
                return arguments + [text[start:position].strip()]
            depth -= 1
        elif character == ',' and depth == 0:
            arguments.append(text[start:position].strip())
            start = position + 1
        position += 1


def literal_text(argument):
    """The text of adjacent string literals; None for anything else."""
    if not argument or _literal.sub('', argument).strip():
        return None
    return ''.join(json.loads(re.sub(r'\\([ab fnrtv0\'?])', lambda found: {'n': '\\n', 't': '\\t'}.get(found[1], ''),
                                     literal)) for literal in _literal.findall(argument))


def normalised(format):
    """The same for every conversion of a kind."""
    kinds = {'s': '%s', 'd': '%d', 'u': '%d', 'i': '%d', '%': '%%'}
    return _conversion.sub(lambda found: kinds.get(found[1], found[0]), format)


def levels_of(header):
    """The levels by the names that Trace.h gives them."""
    return {name: int(number) for name, number in re.findall(r'int (\w+Level) = (\d+);', header)}


class Sources:
    """Everything that the sources below a folder can write."""

    def __init__(self, root):
        self.root = Path(root)
        self.messages, self.tools = [], set()
        header = self._read(self.root / 'src/mac/include/Trace.h')
        self.levels = levels_of(header)
        for folder in SOURCES:
            for file in sorted((self.root / folder).rglob('*')):
                if file.suffix in ('.cpp', '.h') and file.name not in WRITERS:
                    self._scan(file)

    @staticmethod
    def _read(file):
        return without_comments(file.read_text())

    def _scan(self, file):
        text = self._read(file)
        for call in _call.finditer(text):
            self.messages.append(self._message(file, text, call))
        place = file.relative_to(self.root)
        if file.name == 'InstallerScript.cpp':
            self._scan_script(text, place)
        bare = without_literals(re.sub(r'#\s*include[^\n]*', '', text))
        past = _past.search(bare)
        if past:
            line = bare.count('\n', 0, past.start()) + 1
            raise Fault(f'{place}:{line}: {past[0].strip()} writes past the trace and StandardStreams.h, '
                        'where no message is looked for')
        self._scan_tools(text)

    def _message(self, file, text, call):
        place = f'{file.relative_to(self.root)}:{text.count(chr(10), 0, call.start()) + 1}'
        arguments = arguments_at(text, call.end())
        _, operation, printing = call.groups()
        if printing == 'assert':
            # In the words of the C library.
            return Message(f"%s: %s:%d: %s: Assertion `{arguments[0]}' failed.\n", ENGINE, ERROR, None, place)
        level = None
        if operation == 'write':
            level = self.levels.get(arguments.pop(0).removeprefix('Trace::'))
        elif operation:
            level = self.levels[operation + 'Level']
        format = literal_text(arguments[0])
        if format is None:
            raise Fault(f'{place}: a message text stands whole at its call site, and this is none: {arguments[0]}')
        stream = TRACE if operation else OUTPUT if printing == 'printOutput' else ERROR
        return Message(normalised(format), ENGINE, stream, level, place)

    def _scan_script(self, text, place):
        """Lines that the installer script echoes: the shell's variables and what C++ puts in are what varies."""
        entry = re.compile(r'("echo (?:\\.|[^"\\\n])*"(?:\s*\+\s*\w+\s*\+\s*"(?:\\.|[^"\\\n])*")*)')
        for found in entry.finditer(text):
            line = ''.join('%s' if not part.startswith('"') else literal_text(part)
                           for part in re.split(r'\s*\+\s*', found[1]))
            echo = re.fullmatch(r'echo "(.*)"( >> \$LOG_NAME)?', line)
            where = f'{place}:{text.count(chr(10), 0, found.start()) + 1}'
            if not echo:
                raise Fault(f'{where}: the script echoes what is neither for its log nor for standard output: {line}')
            self.messages.append(Message(re.sub(r'\$\w+', '%s', echo[1]) + '\n', SCRIPT,
                                         TRACE if echo[2] else OUTPUT, None, where))
            if echo[2]:
                continue
        if 'set -x' in text:
            self.messages.append(Message('+ %s\n', SCRIPT, ERROR, None, f'{place}: set -x'))

    def _scan_tools(self, text):
        """The programs that are started: what they complain of is passed on."""
        for literal in _literal.findall(text):
            words = literal_text(literal) if not re.search(r'\\(?!["n\\])', literal) else ''
            self.tools.update(re.findall(r'^(sudo) ', words), re.findall(r'^(?:sudo )?(installer|mkdir|rm|touch|chmod|cp) ', words),
                              re.findall(r'\| (\w+) ', words), re.findall(r'^#!/bin/(\w+)', words))
        if re.search(r'\bpopen\b', text):
            self.tools.add('sh')
        if re.search(r'\bhashToolPath\b', text):
            self.tools.add('sha1sum')


class Entry:
    """An entry of the catalogue."""

    def __init__(self, value):
        self.value = value
        self.id, self.text, self.by = value['id'], value['text'], value['by']
        self.stream, self.level = value['stream'], value.get('level')

    def format(self):
        """The text as the sources have it."""
        kinds = {'number': '%d'}
        return _placeholder.sub(lambda found: kinds.get(found[2], '%s'), self.text.replace('%', '%%'))

    def key(self):
        return self.format(), self.by, self.stream

    def placeholders(self):
        return _placeholder.findall(self.text)

    def pattern(self):
        """A regular expression for the whole text, in which any text stands for what varies."""
        parts = _placeholder.split(self.text)
        return re.compile(''.join(re.escape(part) if i % 3 == 0 else '.*' if i % 3 == 1 else ''
                                  for i, part in enumerate(parts)), re.S)


def read_catalogue(root):
    return json.loads(Path(root, CATALOGUE).read_text())


class Catalogue:
    """The entries, with what is wrong among themselves."""

    def __init__(self, root):
        self.document = read_catalogue(root)
        self.entries = [Entry(value) for value in self.document['messages']]
        self.by_id = {entry.id: entry for entry in self.entries}
        self.steps = {step['id']: step['title'] for step in self.document['steps']}

    def faults(self):
        seen = set()
        for entry in self.entries:
            for key in (entry.id, entry.key()):
                if key in seen:
                    yield f'{entry.id}: stands twice'
                seen.add(key)
            yield from self._faults_of(entry)

    def _faults_of(self, entry):
        names = [name for name, _ in entry.placeholders()]
        if len(set(names)) < len(names):
            yield f'{entry.id}: two parts have one name'
        yield from (f'{entry.id}: there is no kind {kind}' for _, kind in entry.placeholders()
                    if kind not in self.document['kinds'])
        if '{' in _placeholder.sub('', entry.text):
            yield f'{entry.id}: a part that varies is {{name:kind}}'
        if entry.value['step'] not in self.steps:
            yield f'{entry.id}: there is no step {entry.value["step"]}'
        if (entry.level is None) == (entry.by == ENGINE and entry.stream == TRACE):
            yield f'{entry.id}: the engine\'s messages in the trace have a level, and no others'
        if ('tool' in entry.value) != (entry.by == TOOL):
            yield f'{entry.id}: messages of tools name their tool, and no others'
        if not entry.value['normal'] and not entry.value['causes']:
            yield f'{entry.id}: what is not normal has a cause'
        for case in entry.value.get('cases', []):
            yield from (f'{entry.id}: a case asks for {name}, which its text does not have'
                        for name in case['with'] if name not in names)
        yield from (f'{entry.id}: is followed by {following["by"]}, which is no entry'
                    for following in entry.value.get('followed', []) if following['by'] not in self.by_id)


def differences(sources, catalogue):
    """What the sources and the catalogue have apart."""
    entries = {entry.key(): entry for entry in catalogue.entries if entry.by != TOOL}
    for message in sources.messages:
        entry = entries.get(message.key())
        if entry is None:
            yield f'{message}: no entry of {CATALOGUE} has this text for {message.stream}'
        elif entry.level != message.level:
            yield f'{message}: written at level {message.level}, and {entry.id} says {entry.level}'
    written = {message.key() for message in sources.messages}
    yield from (f'{entry.id}: nothing in the sources writes this to {entry.stream}: {shown(entry.text)}'
                for key, entry in entries.items() if key not in written)
    explained = {entry.value['tool'] for entry in catalogue.entries if 'tool' in entry.value}
    yield from (f'{tool}: is started, and no entry tells of its complaints' for tool in sorted(sources.tools - explained))
    yield from (f'{tool}: has entries, and nothing in the sources starts it'
                for tool in sorted(explained - sources.tools - {'C++ runtime', 'dynamic loader'}))


def rows_of(file):
    """The rows of a document's tables, by the first cell."""
    rows = {}
    for line in file.read_text().splitlines():
        if line.startswith('| '):
            cells = [cell.strip() for cell in re.split(r'(?<!\\)\|', line)[1:-1]]
            rows[cells[0].strip('`')] = cells
    return rows


def limits_of(root):
    return {line.split(' | ')[0][2:].strip() for line in Path(root, 'docs/limits.md').read_text().splitlines()
            if line.startswith('| ')}


def can_be_equal(left, right):
    """Whether two texts in which None stands for anything have a text in common."""
    states = {(0, 0)}
    reached = set()
    while states:
        state = states.pop()
        if state in reached:
            continue
        reached.add(state)
        i, j = state
        if i == len(left) and j == len(right):
            return True
        if i < len(left) and left[i] is None:
            states |= {(i + 1, j)} | ({(i, j + 1)} if j < len(right) else set())
        if j < len(right) and right[j] is None:
            states |= {(i, j + 1)} | ({(i + 1, j)} if i < len(left) else set())
        if i < len(left) and j < len(right) and left[i] is not None and left[i] == right[j]:
            states.add((i + 1, j + 1))
    return False


def with_gaps(text, gap):
    """The characters of a text, with None for what the gap's expression matches."""
    characters = []
    for index, part in enumerate(re.split(gap, text)):
        characters += ([None] if index else []) + list(part)
    return characters


def quoted_faults(root, catalogue):
    """Lines of the log that the documents quote, and that nothing writes."""
    # An exception's own words may be anything.
    texts = [with_gaps(entry.text.strip('\n '), r'\{\w+:\w+\}') for entry in catalogue.entries
             if entry.stream == TRACE and entry.id != 'call-failed']
    quotes = [('docs/limits.md', quote)
              for quote in re.findall(r'"([^"]+)"', Path(root, 'docs/limits.md').read_text())
              if re.match(r'ERROR|INFO|Error o|Error: (?!unable)|Tolvane Handler|Installed |Failed to ', quote)]
    for cells in rows_of(Path(root, 'docs/faults.md')).values():
        quotes += [('docs/faults.md', quote) for quote in re.findall(r'"([^"]+)"', cells[3] if len(cells) > 3 else '')
                   if quote not in ELSEWHERE]
    for file, quote in quotes:
        quoted = with_gaps(quote.strip(), r'\.\.\.')
        # A text may go on behind its fixed beginning.
        if not any(can_be_equal(quoted, text) or text[:len(quoted)] == quoted for text in texts):
            yield f'{file}: quotes a line that nothing writes: {quote}'


def name_of(entry, case):
    return ' '.join([entry.id] + [f'{part}={value}' for part, value in sorted(case['with'].items())])


def unreported_faults(catalogue, reported):
    """Failures of which no test tells that it sees exactly them."""
    for entry in catalogue.entries:
        if entry.value['normal'] or entry.stream != TRACE or 'unreachable' in entry.value:
            continue
        names = [name_of(entry, case) for case in entry.value.get('cases', [])]
        if not any(name.split()[0] == entry.id for name in reported):
            names.append(entry.id)
        yield from (f'{name}: no scenario of tests/faults/reported.json reports it' for name in names
                    if name not in reported and name not in UNREPORTED)


def row_faults(root, catalogue):
    """Rows that entries rest on and that are not there, or whose scenario shows other messages."""
    limits, rows = limits_of(root), rows_of(Path(root, 'docs/faults.md'))
    reported = {scenario: set().union(*parameters.values()) for scenario, parameters
                in json.loads(Path(root, 'tests/faults/reported.json').read_text()).items()}
    for entry in catalogue.entries:
        for case in [None] + entry.value.get('cases', []):
            value = entry.value if case is None else case
            yield from (f'{entry.id}: docs/limits.md has no row that begins: {row}'
                        for row in value.get('limits', []) if row not in limits)
            for row in value.get('faults', []):
                if row not in rows:
                    yield f'{entry.id}: docs/faults.md has no row for {row}'
                elif row in reported and not entry.value['normal'] and entry.stream == TRACE:
                    name = entry.id if case is None else name_of(entry, case)
                    if not any(each == name or (case is None and each.startswith(name + ' ')) for each in reported[row]):
                        yield f'{name}: rests on {row}, whose scenario does not report it'
    yield from unreported_faults(catalogue, set().union(*reported.values()))
    tests = {entry.value.get('test', '').split('/')[0] for entry in catalogue.entries}
    for scenario, names in reported.items():
        if scenario not in rows and scenario not in tests and scenario not in OF_CASES:
            yield f'tests/faults/reported.json: docs/faults.md has no row for {scenario}'
        yield from (f'tests/faults/reported.json: {scenario} reports {name}, which is no entry'
                    for name in sorted(names) if name.split()[0] not in catalogue.by_id)
