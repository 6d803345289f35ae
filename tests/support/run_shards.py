#!/usr/bin/env python3
"""Runs the cases of a GoogleTest program several at a time: for programs that mostly wait.

usage: run_shards.py COUNT COMMAND...

Prints what each of the COUNT processes printed, one after the other. The exit code is 1 when one of
them failed.
"""

import os
import subprocess
import sys
import tempfile


def start(command, index, count, output):
    environment = dict(os.environ, GTEST_TOTAL_SHARDS=str(count), GTEST_SHARD_INDEX=str(index))
    return subprocess.Popen(command, env=environment, stdout=output, stderr=subprocess.STDOUT)


def main(arguments):
    count, command = int(arguments[0]), arguments[1:]
    outputs = [tempfile.TemporaryFile() for _ in range(count)]
    shards = [start(command, index, count, output) for index, output in enumerate(outputs)]
    codes = [shard.wait() for shard in shards]
    for index, (output, code) in enumerate(zip(outputs, codes)):
        output.seek(0)
        sys.stdout.buffer.write(output.read())
        print(f"shard {index + 1} of {count}: exit code {code}", flush=True)
    return 1 if any(codes) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
