#!/usr/bin/env python3
"""usage: instructions.py [--update] BASELINE COUNTED

Compares the instructions that callgrind counted with those of a baseline, or writes the baseline. COUNTED is a folder
that holds callgrind's dumps, one for each call of a step, and in "versions" what the counts depend on beside the
project's sources.
"""

import json
import re
import sys
from collections import Counter
from pathlib import Path

LIMIT = 5  # per cent
# libc takes other ones of these on other processors.
BY_PROCESSOR = re.compile(r'_(avx|evex|sse|ssse|erms|unaligned)')
# What the baseline names of a step, so that it stays short; the rest is counted together.
NAMED = 0.005
REST = 'all others'


def read_dump(file):
    """The step of a dump, and the instructions of each function in it, without those that it calls."""
    step, function, is_call, counts = None, None, False, Counter()
    for line in file.read_text(errors='replace').splitlines():
        if line.startswith('desc: Trigger: --dump-after='):
            step = line.split('=', 1)[1]
        elif line.startswith('fn='):
            function = line[3:]
        elif line.startswith('calls='):
            is_call = True
        elif line[:1].isdigit():
            if not is_call and not BY_PROCESSOR.search(function):
                counts[function] += int(line.split()[1])
            is_call = False
    return step, counts


def read_counts(folder):
    steps = {}
    for file in sorted(folder.glob('steps*')):
        step, counts = read_dump(file)
        if step:
            steps[step] = steps.get(step, Counter()) + counts
    return steps


def shortened(counts):
    least = NAMED * sum(counts.values())
    named = {function: count for function, count in counts.items() if count >= least}
    rest = sum(counts.values()) - sum(named.values())
    return dict(sorted(named.items(), key=lambda item: (-item[1], item[0]))) | {REST: rest}


def grown(before, after):
    """The functions that took most of the growth, by what they took."""
    functions = Counter(after)
    functions.subtract(before)
    return [(function, count) for function, count in functions.most_common(5) if count > 0]


def compare(baseline, steps):
    """Prints what differs; whether a step grew beyond the limit."""
    failed = False
    for step in sorted(baseline.keys() | steps.keys()):
        before, after = baseline.get(step), steps.get(step)
        if before is None or after is None:
            print(f'{step}: {"not counted any more" if after is None else "not counted before"}')
            failed = True
            continue
        was, now = sum(before.values()), sum(after.values())
        change = now / was - 1
        print(f'{step}: {now:,} instructions, {abs(change):.1%} {"more" if change > 0 else "fewer"} than {was:,}')
        if now * 100 < was * (100 - LIMIT):
            print('  Fewer are no failure: keep them by --update.')
        if now * 100 > was * (100 + LIMIT):
            failed = True
            for function, count in grown(before, after):
                print(f'  +{count:,} in {function}')
    return failed


def main(arguments):
    update = arguments[:1] == ['--update']
    baseline_file, folder = (Path(argument) for argument in arguments[update:])
    versions = (folder / 'versions').read_text().splitlines()
    steps = {step: shortened(counts) for step, counts in sorted(read_counts(folder).items())}
    if not steps or not all(sum(counts.values()) for counts in steps.values()):
        sys.exit(f'{folder}: no step was counted, or nothing in a step')
    if update:
        baseline_file.write_text(json.dumps({'versions': versions, 'steps': steps}, indent=1) + '\n')
        print(f'{baseline_file}: {len(steps)} steps')
        return 0
    baseline = json.loads(baseline_file.read_text())
    if versions != baseline['versions']:
        print(f'Not compared: {baseline_file} was counted with other versions.')
        for mark, these, those in (('-', baseline['versions'], versions), ('+', versions, baseline['versions'])):
            for line in these:
                if line not in those:
                    print(f'  {mark} {line}')
        return 0
    if compare(baseline['steps'], steps):
        print(f'Over {LIMIT}% more, or other steps. If that is meant: scripts/count-instructions --update')
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
