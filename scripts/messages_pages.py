"""The pages that are made of share/messages.json."""

import re

from messages import ENGINE, TRACE

DOCUMENT = 'docs/messages.md'
MANUAL = 'tools/messages/downloadManager-messages.7'
# Names every text of the project's own documents.
INTRODUCTION = '''Every line that the engine, its installer script, and the tools and libraries whose words they pass on can write: to
the log, `/var/log/DownloadManager.log`, to standard output and to standard error.'''
HOW_TO_READ = [
    'The engine begins each message of the log with the time, "YYYY-MM-DD.hh:mm:ss : ". The installer script writes its '
    'lines without.',
    'No line names its process: the lines of two jobs may stand among each other, though mostly one waits for the other.',
    'Some messages hold line ends, at their beginning or in what they quote of a reply.',
    'What is written says nothing about how bad it is: texts with INFO are written at the level of an error, and the '
    'other way round. Each entry tells whether its line is normal.',
    'libcurl, libxml2 and libplist write nothing themselves.',
]


def plain(text):
    """A message's text as a reader sees it, with the names of what varies."""
    return re.sub(r'\{(\w+):\w+\}', r'{\1}', text.strip('\n'))


def where(entry, levels):
    if entry.by == ENGINE and entry.stream == TRACE:
        return f'log, level {entry.level} ({levels[str(entry.level)]})'
    writer = {'tool': entry.value.get('tool')}.get(entry.by, entry.by)
    return f'{"log" if entry.stream == TRACE else entry.stream}, by the {writer}' if entry.by != 'tool' else \
        f'{entry.stream}, by {writer}'


def verdict(entry):
    return 'normal' if entry.value['normal'] else 'not normal'


def parts(entry):
    return ', '.join(f'{{{name}}}: {kind}' for name, kind in entry.placeholders())


def preceded(catalogue, entry):
    """What this line says about lines before it."""
    return [(other, following) for other in catalogue.entries for following in other.value.get('followed', [])
            if following['by'] == entry.id]


def values_of(case):
    return ', '.join(f'{{{name}}} is {value or "empty"}' for name, value in case['with'].items())


def joined(causes):
    return ' '.join(causes)


# --- docs/messages.md

def code(text):
    return f'`` {text} ``' if '`' in text else f'`{text}`'


def rests_in_markdown(value):
    rests = [f'[limit](limits.md): "{row}"' for row in value.get('limits', [])]
    rests += [f'[fault](faults.md): `{row}`' for row in value.get('faults', [])]
    return '; '.join(rests)


def entry_in_markdown(catalogue, entry):
    value = entry.value
    lines = [f'### <a id="{entry.id}"></a>{code(plain(entry.text).strip())}', '',
             f'*{entry.id}; {where(entry, catalogue.document["levels"])}; {verdict(entry)}'
             + (f'; {parts(entry)}' if entry.placeholders() else '') + '*', '', value['happened'], '']
    if value['causes']:
        lines.append(f'- Causes: {joined(value["causes"])}')
    lines.append(f'- To do: {value["remedy"]}')
    for case in value.get('cases', []):
        lines.append(f'- Where {values_of(case)}: {case["happened"]} {case["remedy"]}')
        if rests_in_markdown(case):
            lines[-1] += f' ({rests_in_markdown(case)})'
    for following in value.get('followed', []):
        other = catalogue.by_id[following['by']]
        lines.append(f'- Followed by [{code(plain(other.text).strip())}](#{other.id}): {following["says"]}')
    for other, following in preceded(catalogue, entry):
        lines.append(f'- Behind [{code(plain(other.text).strip())}](#{other.id}): {following["says"]}')
    if rests_in_markdown(value):
        lines.append(f'- Rests on: {rests_in_markdown(value)}')
    lines.append(f'- Set off by: `{value["test"]}`' if 'test' in value else f'- Never seen: {value["unreachable"]}')
    return lines + ['']


def markdown(catalogue):
    lines = ['<!-- Written by scripts/write-messages from share/messages.json. -->', '# Messages', '', INTRODUCTION, '']
    lines += [f'- {sentence}' for sentence in HOW_TO_READ]
    lines += ['', f'The same for programs: `share/messages.json`. {catalogue.document["notation"]}', '',
              '| Kind | What stands there |', '|---|---|']
    lines += [f'| {kind} | {meaning} |' for kind, meaning in catalogue.document['kinds'].items()]
    lines.append('')
    for step, title in catalogue.steps.items():
        lines += [f'## {title}', '']
        for entry in catalogue.entries:
            if entry.value['step'] == step:
                lines += entry_in_markdown(catalogue, entry)
    return '\n'.join(lines).rstrip('\n') + '\n'


# --- the manual page

def roff(text):
    """Text that the formatter takes as it is."""
    text = text.replace('\\', '\\e').replace('"', '\\(dq').replace('`', '\\(ga').replace("'", '\\(aq').replace('-', '\\-')
    return text.replace('^', '\\(ha').replace('~', '\\(ti')


def sentence(text):
    """A line of text, of which no word is taken for a command."""
    return '\\&' + roff(text)


def literal(text):
    return '"\\&' + re.sub('^ |  ', lambda found: '\\ ' * len(found[0]), roff(text)) + '"'


def entry_in_roff(catalogue, entry):
    value = entry.value
    lines = [f'.It Li {literal(plain(entry.text))}',
             sentence(f'{entry.id}; {where(entry, catalogue.document["levels"])}; {verdict(entry)}.'), '.Pp',
             sentence(value['happened'])]
    if value['causes']:
        lines.append(sentence(f'Causes: {joined(value["causes"])}'))
    lines.append(sentence(f'To do: {value["remedy"]}'))
    for case in value.get('cases', []):
        lines += ['.Pp', sentence(f'Where {values_of(case)}: {case["happened"]} {case["remedy"]}')]
    for following in value.get('followed', []):
        other = plain(catalogue.by_id[following['by']].text).strip()
        lines += ['.Pp', sentence(f'Followed by "{other}": {following["says"]}')]
    return lines


def manual(catalogue):
    lines = ['.\\" Written by scripts/write-messages from share/messages.json.', '.Dd November 22, 2026',
             '.Dt DOWNLOADMANAGER-MESSAGES 7', '.Os', '.Sh NAME', '.Nm downloadManager-messages',
             '.Nd every line that the suite\'s update engine writes', '.Sh DESCRIPTION']
    lines += [sentence(line) for line in INTRODUCTION.replace('`', '').split('\n')]
    for each in HOW_TO_READ:
        lines += ['.Pp', sentence(each)]
    for step, title in catalogue.steps.items():
        lines += [f'.Ss {title}', '.Bl -tag -width Ds']
        for entry in catalogue.entries:
            if entry.value['step'] == step:
                lines += entry_in_roff(catalogue, entry)
        lines.append('.El')
    lines += ['.Sh FILES', '.Bl -tag -width Ds', '.It Pa /var/log/DownloadManager.log', 'the log',
              '.It Pa share/downloadManager/messages.json',
              'the same for programs, with the rows of the two lists below on which each remedy rests;',
              '.Pa messages.schema.json', 'beside it tells its form', '.It Pa share/doc/downloadManager/messages.md',
              'the same with links',
              '.It Pa share/doc/downloadManager/limits.md', 'what looks wrong in the engine and is kept',
              '.It Pa share/doc/downloadManager/faults.md', 'what it does when the world around it fails', '.El',
              '.Sh SEE ALSO', '.Xr freshinstall 1 ,', '.Xr productUpdater 8']
    return '\n'.join(lines) + '\n'


def pages(catalogue):
    return [(DOCUMENT, markdown(catalogue)), (MANUAL, manual(catalogue))]
