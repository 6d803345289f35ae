#!/usr/bin/env python3
"""Runs the cases of a GoogleTest program, several at a time where the program mostly waits.

usage: run_shards.py COUNT COMMAND...

Prints what each of the COUNT processes printed, one after the other. What the cases printed that failed
stands before that and behind it, so that a log that is cut at either end still has the cause. Processes
that do not end are ended before CTest would end this script without a word. The exit code is 1 when one
of the processes failed.
"""

import os
import re
import subprocess
import sys
import tempfile
import time

# Below the time that CTest gives a test program.
MAX_SECONDS = 570
# Of one case, half of them from its beginning.
MAX_LINES = 60
MAX_LINE = 500

BEGIN = re.compile(r"\[ RUN      \] (\S+)")
END = re.compile(r"\[(       OK |  SKIPPED |  FAILED  )\] (\S+?)(,| \(|$)")


def start(command, index, count, output):
    environment = dict(os.environ, GTEST_TOTAL_SHARDS=str(count), GTEST_SHARD_INDEX=str(index))
    return subprocess.Popen(command, env=environment, stdout=output, stderr=subprocess.STDOUT)


def wait_or_kill(shard, end):
    try:
        return shard.wait(timeout=max(0, end - time.monotonic()))
    except subprocess.TimeoutExpired:
        shard.kill()
        return shard.wait()


def failed_cases(text):
    """Name and lines of each case that failed or that the process did not end."""
    failed, name, lines = [], None, []
    for line in text.splitlines():
        begin, end = BEGIN.match(line), END.match(line)
        if begin:
            name, lines = begin[1], []
        if name is None:
            continue
        lines.append(line)
        if end and end[2] == name:
            if end[1] == "  FAILED  ":
                failed.append((name, lines))
            name = None
    return failed + ([(name, lines)] if name else [])


def bounded(lines):
    if len(lines) > MAX_LINES:
        half = MAX_LINES // 2
        lines = [*lines[:half], f"({len(lines) - MAX_LINES} lines are left out)", *lines[-half:]]
    return [line[:MAX_LINE] for line in lines]


def summary(outputs, codes):
    """What failed, and why; empty when nothing did."""
    causes, names = [], []
    for index, (output, code) in enumerate(zip(outputs, codes)):
        if code == 0:
            continue
        # A process that fails outside its cases says why at its end.
        for name, lines in failed_cases(output) or [("no case", output.splitlines()[-MAX_LINES:])]:
            causes += bounded(lines)
            names.append(f"shard {index + 1} failed with exit code {code}: {name}")
    return causes + names


def main(arguments):
    count, command = int(arguments[0]), arguments[1:]
    files = [tempfile.TemporaryFile() for _ in range(count)]
    shards = [start(command, index, count, file) for index, file in enumerate(files)]
    end = time.monotonic() + MAX_SECONDS
    codes = [wait_or_kill(shard, end) for shard in shards]
    outputs = []
    for file in files:
        file.seek(0)
        outputs.append(file.read())
    told = "\n".join(summary([output.decode(errors="replace") for output in outputs], codes)).encode()
    if told:
        sys.stdout.buffer.write(b"What failed:\n" + told + b"\n\n")
    for index, (output, code) in enumerate(zip(outputs, codes)):
        sys.stdout.buffer.write(output)
        print(f"shard {index + 1} of {count}: exit code {code}", flush=True)
    if told:
        sys.stdout.buffer.write(b"\nWhat failed, once more:\n" + told + b"\n")
    return 1 if any(codes) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
