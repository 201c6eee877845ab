"""Where the product's sources can be broken, and how: one change of one line each.

A rule is a function of a line of code that gives the changed lines. Lines stand as clang-format leaves them, so blanks
tell an operator from a template's bracket, and a statement from the part of one.
"""

import re
from hashlib import sha1

STRING = re.compile(r'"(?:[^"\\]|\\.)*"')
# What ends a statement that may be left out or change places with its neighbour: neither a declaration nor a jump.
STATEMENT = re.compile(r'^\s+(?!return\b|break\b|continue\b|throw\b|using\b|case\b|goto\b|delete\b)'
                       r'(?:\+\+|--|static_cast<void>\(|std::|::)?[\w.>:\-\[\]()*]*(?: [-+*|&]?= .*|\(.*\)|)(?: \?.*)?;$')
MEMBER_INDENT = 4
# What no change of a line could break, or what a compiler alone reads.
NO_BODY = re.compile(r'^\s*(?:#|\*|namespace|using|static_assert|extern "|[{}]+;?$)|__attribute__|\) (?:const )?= 0;$')
DECLARATION = re.compile(r'^\s+(?:const |constexpr |static |mutable |auto |virtual |explicit |friend )')


def code_of(line):
    """The line with its texts and its comment blanked out, columns as they were."""
    blanked = STRING.sub(lambda text: '"' + '_' * (len(text.group()) - 2) + '"', line)
    blanked = re.sub(r'/\*.*?(?:\*/|$)', lambda comment: ' ' * len(comment.group()), blanked)
    comment = blanked.find('//')
    return blanked if comment < 0 else blanked[:comment] + ' ' * (len(blanked) - comment)


def indent(line):
    return len(line) - len(line.lstrip())


def replaced(line, matches, by):
    return [line[:match.start()] + by(match) + line[match.end():] for match in matches]


def negate(line, code):
    found = []
    for match in re.finditer(r'\b(?:if|while) \(', code):
        depth, end = 1, match.end()
        while end < len(code) and depth:
            depth += {'(': 1, ')': -1}.get(code[end], 0)
            end += 1
        if not depth:
            found.append(f'{line[:match.end()]}!({line[match.end():end - 1]}){line[end - 1:]}')
    return found


def compare(line, code):
    others = {'<': '<=', '<=': '<', '>': '>=', '>=': '>', '==': '!=', '!=': '=='}
    return replaced(line, re.finditer(r'(?<= )(?:[<>]=?|[=!]=)(?= |$)', code), lambda match: others[match.group()])


def logic(line, code):
    others = {'&&': '||', '||': '&&'}
    return replaced(line, re.finditer(r'(?<= )(?:&&|\|\|)(?= |$)|(?<=^)(?:&&|\|\|)', code),
                    lambda match: others[match.group()])


def constant(line, code):
    if re.match(r'\s*return (?:\d+|true|false);', code):
        return []
    truths = {'true': 'false', 'false': 'true'}
    found = re.finditer(r"(?<![\w.'])(?:0x[0-9a-fA-F]+|\d+|true|false)(?=[lLuU]*(?![\w.']))", code)
    return replaced(line, found, lambda match: truths.get(match.group()) or
                    (f'0{int(match.group(), 8) + 1:o}' if re.match(r'0\d', match.group())
                     else str(int(match.group(), 0) + 1)))


def text(line, code):
    return replaced(line, (match for match in STRING.finditer(line) if len(match.group()) > 2 and
                           code[match.start()] == '"'), lambda match: '"X' + match.group()[1:])


def loop(line, code):
    if not re.match(r'\s*for \(.* : .*\) \{$', code):
        return []
    return [f'bool isFirst = true; {line} if (isFirst) {{ isFirst = false; continue; }}',
            f'bool isFirst = true; {line} if (!isFirst) break; isFirst = false;']


def drop(line, code):
    return [' ' * indent(line) + ';'] if STATEMENT.match(code) and not DECLARATION.match(code) else []


def result(line, code):
    match = re.match(r'(\s*return )(.+);$', code)
    if not match or match.group(2) in ('{}', 'nullptr', 'std::nullopt', '""'):
        return []
    value = line[match.end(1):match.end(2)]
    others = {'true': 'false', 'false': 'true'}
    if value in others:
        return [match.group(1) + others[value] + ';']
    if re.fullmatch(r'-?\d+', value):
        return [f'{match.group(1)}{int(value) + 1};']
    return [match.group(1) + '{};']


RULES = {'negate': negate, 'compare': compare, 'logic': logic, 'constant': constant, 'text': text, 'loop': loop,
         'drop': drop, 'result': result}


class Mutation:
    """One change: `lines` of the file, the first of them `number`, become `changed`."""

    def __init__(self, file, number, rule, lines, changed):
        self.file = file
        self.number = number
        self.rule = rule
        self.lines = lines
        self.changed = changed
        self.id = f'{file}:{number}:{rule}'
        # What stays the same while lines come and go above.
        self.key = (file, rule, ' '.join(line.strip() for line in lines))

    def applied_to(self, content):
        lines = content.split('\n')
        lines[self.number - 1:self.number - 1 + len(self.lines)] = self.changed
        return '\n'.join(lines)


def bodies(lines):
    """The numbers and texts of the lines with code that could do something else, and whether a statement begins."""
    begins = True
    for number, line in enumerate(lines, 1):
        code = code_of(line).rstrip()
        if not code.strip():
            continue
        if not NO_BODY.search(code):
            yield number, line, code, begins
        begins = code[-1] in ';{}:'


def mutations_of(file, content):
    lines = content.split('\n')
    found = []
    statements = {}
    for number, line, code, begins in bodies(lines):
        is_statement = begins and (file.endswith('.cpp') or indent(line) > MEMBER_INDENT)
        for rule, changes in RULES.items():
            if rule == 'drop' and not is_statement:
                continue
            for count, changed in enumerate(changes(line, code), 1):
                name = rule if count == 1 else f'{rule}-{count}'
                found.append(Mutation(file, number, name, [line], [changed]))
        if is_statement and drop(line, code):
            statements[number] = line
    for number, line in statements.items():
        follower = statements.get(number + 1)
        if follower and follower != line and indent(follower) == indent(line):
            found.append(Mutation(file, number, 'swap', [line, follower], [follower, line]))
    return found


def in_turn(mutations):
    """One of each rule after the other, in an order that is the same everywhere and goes all over the file."""
    by_rule = {}
    for mutation in sorted(mutations, key=lambda each: sha1(each.id.encode()).digest()):
        by_rule.setdefault(mutation.rule.split('-')[0], []).append(mutation)
    queues = sorted(by_rule.values(), key=lambda queue: sha1(queue[0].id.encode()).digest())
    turns = []
    while any(queues):
        turns += [queue.pop(0) for queue in queues if queue]
    return turns


def spread(by_file):
    """All mutations, so ordered that the first are of every source, and of each file as many as it has to offer."""
    ranked = []
    for mutations in by_file.values():
        turns = in_turn(mutations)
        ranked += [((0, 0) if index == 0 and each.file.endswith('.cpp') else (1, (index + 0.5) / len(turns)), each.id, each)
                   for index, each in enumerate(turns)]
    return [each for _, _, each in sorted(ranked, key=lambda entry: entry[:2])]
