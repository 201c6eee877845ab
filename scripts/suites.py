"""The suites of a build: which cases CTest knows of which test program."""

import json
import re
import subprocess
from pathlib import Path


class Case:
    """One case as CTest starts it."""

    def __init__(self, number, test):
        properties = {entry['name']: entry['value'] for entry in test.get('properties', [])}
        self.number = number
        self.name = test['name']
        self.command = test.get('command', [])
        self.is_long = 'long' in properties.get('LABELS', [])
        self.folder = properties.get('WORKING_DIRECTORY', '.')
        self.environment = dict(pair.split('=', 1) for pair in properties.get('ENVIRONMENT', []))


# Those of the sealed machine and of other builds run nothing of this build's engine that a report could count.
_foreign = re.compile(r'/tests/(rehearsal|consumer|macos)/')


def suites_of(build):
    """The cases of each test program that runs the product, by the program's path below the build. Those that take too
    long for every day are left out: some wait for minutes."""
    listed = subprocess.run(['ctest', '--test-dir', build, '--show-only=json-v1'], check=True, capture_output=True)
    suites = {}
    for number, test in enumerate(json.loads(listed.stdout)['tests'], 1):
        case = Case(number, test)
        programs = [word for word in case.command if word.startswith(f'{build}/tests/')]
        if programs and not _foreign.search(programs[-1]) and not case.is_long:
            suites.setdefault(str(Path(programs[-1]).relative_to(build)), []).append(case)
    return suites


def costs_of(build):
    """How many seconds each case took, as far as CTest has run it."""
    costs = {}
    record = Path(build, 'Testing/Temporary/CTestCostData.txt')
    for line in record.read_text().splitlines() if record.exists() else []:
        if line == '---':
            break
        name, _, seconds = line.rsplit(' ', 2)
        costs[name] = float(seconds)
    return costs
