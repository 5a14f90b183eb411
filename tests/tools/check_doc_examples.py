"""Runs the examples of the qsfpctl manual and compares their output.

usage: check_doc_examples.py QSFPCTL REPO DOCUMENT...

Every fenced block of each DOCUMENT is a terminal session: a line "$ COMMAND" is run
with bash (qsfpctl on the PATH, in a scratch directory where `tests` leads to
REPO's tests, so the image paths of the manual resolve), and the lines up to
the next "$ " line are its expected output, standard output and standard
error together. "$ echo $?" expects the exit code of the command before it.
A line "... (N more lines)" stands for exactly N further lines, a last line
"..." for any number. The README's main command runs what its script runs
once the tool is built (ALIASES). The commands
of a block run in order in one directory, so a block may use a file an
earlier command of the manual wrote.

A few examples cannot be repeated byte for byte and are skipped, each for the
reason in SKIPPED; the count of commands checked and skipped is printed.
Exit 0 when every checked command printed what the manual shows.
"""
import os
import re
import subprocess
import sys
import tempfile

ELISION = re.compile(r"^\.\.\. \((\d+) more lines\)$")
ALIASES = {"./scripts/qsfpctl.sh": "qsfpctl list && echo && qsfpctl show 1"}
# A file under /tmp is this machine's, not the reader's: an example makes
# the files it uses in its own directory.
MACHINE_FILE = re.compile(r"(^|[\s=])/tmp/")
# The event trace prints a port's opaque pointer, which differs each run.
POINTER = re.compile(r"0x0x[0-9a-f]+")

SKIPPED = [
    (re.compile(r"qsfpctl serve|curl |^wait"), "serve takes a free port, so its address differs each run"),
    (re.compile(r"qsfpctl watch"), "watch stamps its views with real elapsed time"),
    (re.compile(r"fw-2\.1\.bin"), "the firmware image of the example is not kept in the repository"),
    (re.compile(r"broken\.jsonl"), "the broken log of the example was edited by hand"),
]


def sessions(manual):
    """Every fenced block's (command, expected lines, line number) list."""
    blocks, block, inside = [], None, False
    with open(manual, encoding="utf-8") as f:
        for number, raw in enumerate(f, 1):
            line = raw.rstrip("\n")
            if line.startswith("```"):
                if inside:
                    blocks.append(block)
                inside, block = not inside, []
                continue
            if not inside:
                continue
            if line.startswith("$ "):
                block.append((line[2:], [], number))
            elif block:
                block[-1][1].append(line)
    return [b for b in blocks if b]


def matches(expected, actual):
    """Why `actual` differs from `expected`, or None."""
    for i, line in enumerate(expected):
        if line == "..." and i == len(expected) - 1:
            return None if len(actual) > i else f"output ends at line {i + 1}; the manual shows more"
        elided = ELISION.match(line)
        if elided:
            rest = len(actual) - i
            if i != len(expected) - 1 or rest != int(elided.group(1)):
                return f"line {i + 1}: {rest} more lines, the manual says {elided.group(1)}"
            return None
        if i >= len(actual):
            return f"output ends at line {i + 1}; the manual goes on with {line!r}"
        if POINTER.sub("0x0xPTR", actual[i]) != POINTER.sub("0x0xPTR", line):
            return f"line {i + 1}: {actual[i]!r}, the manual says {line!r}"
    if len(actual) > len(expected):
        return f"{len(actual) - len(expected)} lines more than the manual shows, from {actual[len(expected)]!r}"
    return None


def skip_reason(command):
    for pattern, reason in SKIPPED:
        if pattern.search(command):
            return reason
    return None


def main():
    qsfpctl, repo, documents = sys.argv[1], sys.argv[2], sys.argv[3:]
    env = dict(os.environ, PATH=os.path.dirname(os.path.abspath(qsfpctl)) + os.pathsep + os.environ["PATH"])
    checked, skipped, failures = 0, 0, []
    with tempfile.TemporaryDirectory() as work:
        os.symlink(os.path.join(repo, "tests"), os.path.join(work, "tests"))
        for manual, block in ((m, b) for m in documents for b in sessions(m)):
            last_code = None
            for command, expected, number in block:
                command = ALIASES.get(command, command)
                if skip_reason(command):
                    skipped += 1
                    last_code = None
                    continue
                if MACHINE_FILE.search(command):
                    failures.append(f"{manual}:{number}: $ {command}: uses a file under /tmp, "
                                    "which a reader's machine does not have")
                    last_code = None
                    continue
                if command == "echo $?":
                    if last_code is None:
                        continue
                    actual = [str(last_code)]
                else:
                    run = subprocess.run(["bash", "-c", command + " 2>&1"], cwd=work, env=env,
                                         stdout=subprocess.PIPE, timeout=120)
                    last_code = run.returncode
                    actual = run.stdout.decode("utf-8", "replace").split("\n")
                    if actual and actual[-1] == "":
                        actual.pop()
                checked += 1
                why = matches(expected, actual)
                if why:
                    failures.append(f"{manual}:{number}: $ {command}: {why}")
    for failure in failures:
        print(failure, file=sys.stderr)
    print(f"{checked} commands checked, {skipped} skipped, {len(failures)} differ")
    return 1 if failures or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
