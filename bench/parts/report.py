#!/usr/bin/env python3
"""usage: report.py RAW RESULTS

Makes parts.json, parts.md and parts-catalog.svg, parts-packages.svg in the folder RESULTS of what the sessions left in
the folder RAW.
"""

import json
import math
import re
import statistics
import subprocess
import sys
import time
from pathlib import Path

SIZES = [1_000, 10_000, 100_000]
ARRANGEMENTS = ['random', 'sorted', 'reversed', 'equal', 'organ pipe']
STEPS = ['selection', 'making the records', 'hash, update', 'hash, installation', 'placement, update',
         'placement, installation', 'ordering']
LIMIT = 1.25
FACTORS = {'ns': 1e-3, 'us': 1, 'ms': 1e3, 's': 1e6}
COLOURS = ['#c8501e', '#1f5fa8', '#3c8c3c', '#8040a0', '#c79a00']


def times_of(file):
    """Microseconds of every run, by the benchmark's name."""
    times = {}
    for run in json.loads(file.read_text())['benchmarks']:
        if run['run_type'] == 'iteration':
            name = run['run_name'].removesuffix('/real_time')
            times.setdefault(name, []).append(run['real_time'] * FACTORS[run['time_unit']])
    return times


def memory_of(file):
    """Kilobytes of every run, by way and number of packages."""
    memory = {}
    for line in file.read_text().splitlines():
        way, packages, kilobytes = line.split()
        memory.setdefault((way, int(packages)), []).append(int(kilobytes))
    return memory


def figure(values, unit, digits=3):
    return {'unit': unit, 'runs': [round(value, digits) for value in values],
            'median': round(statistics.median(values), digits),
            'low': round(min(values), digits), 'high': round(max(values), digits)}


def machine():
    processors = re.findall(r'^model name\s*: (.*)$', Path('/proc/cpuinfo').read_text(), re.M)
    release = Path('/proc/sys/kernel/osrelease').read_text().strip()
    return f'{len(processors)} processors ({processors[0] if processors else "unknown"}), Linux {release}'


def entry(name, title, file, contenders, ratios=()):
    measured = time.strftime('%Y-%m-%d %H:%M UTC', time.gmtime(file.stat().st_mtime))
    return {'workload': name, 'title': title, 'measured': measured, 'contenders': contenders, 'ratios': list(ratios)}


def ratio(metric, contenders, to, limit):
    value = contenders['engine'][metric]['median'] / contenders[to][metric]['median']
    return {'metric': metric, 'to': to, 'ratio': round(value, 3), 'limit': limit, 'held': value <= limit}


def milliseconds(values):
    return figure([value / 1e3 for value in values], 'ms')


def catalogs(raw):
    file = raw / 'catalog.json'
    times, memory = times_of(file), memory_of(raw / 'memory')
    for size in SIZES:
        contenders = {}
        for way in ('engine', 'plain', 'limit'):
            values = times[f'catalog/{way}/{size}']
            contenders[way] = {'wall': milliseconds(values),
                               'per package': figure([value / size for value in values], 'µs'),
                               'memory': figure([value / size for value in memory[way, size]], 'KB a package')}
        yield entry(f'catalog-{size}', f'Reading a catalog of {size:,} hot-fixes', file, contenders,
                    [ratio('wall', contenders, 'limit', LIMIT)])


def products(raw):
    file = raw / 'catalog.json'
    times = times_of(file)
    for size in SIZES:
        contenders = {way: {'wall': milliseconds(times[f'product/{way}/{size}'])} for way in ('engine', 'limit')}
        yield entry(f'product-{size}', f'Reading the product of a catalog of {size:,} hot-fixes', file, contenders,
                    [ratio('wall', contenders, 'limit', LIMIT)])


def families(raw):
    """What was measured in every arrangement: µs a package, and the power of the number that the time grows with."""
    file = raw / 'packages.json'
    times = times_of(file)
    for step in STEPS:
        contenders = {}
        for arrangement in ARRANGEMENTS:
            runs = [times[f'{step}/{arrangement}/{size}'] for size in SIZES]
            contenders[arrangement] = {f'{size:,}': figure([value / size for value in values], 'µs a package')
                                       for size, values in zip(SIZES, runs)}
            ends = [statistics.median(values) for values in (runs[0], runs[-1])]
            power = math.log(ends[1] / ends[0]) / math.log(SIZES[-1] / SIZES[0])
            contenders[arrangement]['power'] = figure([power], '', 2)
        yield entry(step.replace(', ', '-').replace(' ', '-'), step[0].upper() + step[1:], file, contenders)


def many(raw):
    """A thousand packages over many records, or with many names."""
    file = raw / 'packages.json'
    for name, values in sorted(times_of(file).items()):
        group, _, step = name.partition('/')
        if group.startswith('1000 '):
            yield re.sub(r'(\d+)(000)\b', r'\1,\2', group), step, figure(values, 'µs', 1)


def text_of(value):
    digits = 0 if value['median'] >= 100 else 1 if value['median'] >= 10 else 2
    median, low, high = (f'{value[key]:,.{digits}f}' for key in ('median', 'low', 'high'))
    return median if low == high else f'{median} ({low}–{high})'


def table(workload):
    metrics = next(iter(workload['contenders'].values()))
    heads = [f'{name}, {metric["unit"]}' if metric['unit'] else name for name, metric in metrics.items()]
    lines = [f'### {workload["title"]}', '', '| | ' + ' | '.join(heads) + ' |', '|---|' + '---:|' * len(heads)]
    for contender, figures in workload['contenders'].items():
        lines.append(f'| {contender} | ' + ' | '.join(text_of(value) for value in figures.values()) + ' |')
    for one in workload['ratios']:
        lines += ['', f'The engine takes {one["ratio"]:.2f} of the {one["to"]}, at most {one["limit"]:.2f}: '
                      f'{"held" if one["held"] else "**missed**"}.']
    return '\n'.join(lines) + '\n'


def table_of_many(rows):
    lines = []
    for group in dict.fromkeys(row[0] for row in rows):
        lines += [f'### {group}', '', '| | all, µs |', '|---|---:|']
        lines += [f'| {step} | {text_of(value)} |' for known, step, value in rows if known == group] + ['']
    return '\n'.join(lines)


def draw(file, title, label, lines):
    """Lines over the number of packages: [(name, [(size, value)])]."""
    blocks = ''.join(f'$d{i} << EOD\n' + ''.join(f'{x} {y}\n' for x, y in points) + 'EOD\n'
                     for i, (_, points) in enumerate(lines))
    plots = ', '.join(f'$d{i} with linespoints lw 2 pt 7 lc rgb "{COLOURS[i % len(COLOURS)]}" title "{name}"'
                      for i, (name, _) in enumerate(lines))
    script = f'''set terminal svg size 840,420 font "sans,13" background "white"
set output "{file}"
set title "{title}"
set key outside right center Left reverse samplen 1.5
set grid ytics lc rgb "#d0d0d0"
set border 3
set tics nomirror
set logscale x
set xrange [700:140000]
set xtics ("1,000" 1000, "10,000" 10000, "100,000" 100000)
set yrange [0:*]
set xlabel "packages"
set ylabel "{label}"
{blocks}plot {plots}
'''
    subprocess.run(['gnuplot'], input=script, text=True, check=True)


def main(raw, results):
    reading = [*catalogs(raw), *products(raw)] if (raw / 'catalog.json').exists() else []
    steps, rows = (list(families(raw)), list(many(raw))) if (raw / 'packages.json').exists() else ([], [])
    extra = [entry('many', 'A thousand packages', raw / 'packages.json',
                   {f'{group}: {step}': {'all': value} for group, step, value in rows})] if rows else []
    (results / 'parts.json').write_text(json.dumps(
        {'group': 'parts', 'machine': machine(), 'workloads': reading + steps + extra}, indent=1) + '\n')
    (results / 'parts.md').write_text('\n'.join([
        '# Inside the process', '',
        f'Measured on {machine()}. Medians of all runs in one session, with the lowest and the highest.', '',
        *(table(workload) for workload in reading + steps), table_of_many(rows)]))
    if reading:
        draw(results / 'parts-catalog.svg', 'Reading a catalog', 'µs a package',
             [(way, [(size, workload['contenders'][way]['per package']['median'])
                     for size, workload in zip(SIZES, reading[:len(SIZES)])]) for way in ('engine', 'plain', 'limit')])
    if steps:
        draw(results / 'parts-packages.svg', 'Steps, in the arrangement that takes longest', 'µs a package',
             [(workload['title'], [(size, max(figures[f'{size:,}']['median']
                                              for figures in workload['contenders'].values())) for size in SIZES])
              for workload in steps])


if __name__ == '__main__':
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(Path(sys.argv[1]), Path(sys.argv[2]))
