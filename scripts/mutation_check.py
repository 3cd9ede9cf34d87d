#!/usr/bin/env python3
"""Mutation check: how many small faults planted in src/ does the test suite catch?

Each mutant changes one token in one library source file: a comparison flipped
(== and !=, < and >=, > and <=), a logical operator swapped (&& and ||), or an
integer constant moved by one. The script builds the tests with the mutant in
place, runs them (stopping at the first failure), and counts the mutant as
caught when a test fails, crashes or runs past the time limit. Mutants that do
not compile are replaced by the next candidate and not counted.

The sample is drawn with a fixed seed from every candidate in src/, so two runs
over the same tree test the same mutants, and runs over two versions of the
tree test samples drawn the same way.

    python3 scripts/mutation_check.py [--mutants 200] [--seed 17] [--build build-mutation]
                                      [--report mutation-report.tsv] [--recheck OLD-REPORT.tsv]

With --attribute, every test runs for every mutant (no stop at the first
failure) and the report gains a column naming the tests that failed; the
summary then lists, for each test, how many mutants it caught and how many
only it caught. That shows which tests carry weight before the suite changes.

With --near-kept N, the candidates are only those in the first N lines of
code after each `Kept:` comment: the deliberately kept behaviours. A sample
of them shows whether every kept behaviour still has a test that fails when
it breaks.

With --recheck, the mutants that an earlier report lists as caught are tested
again instead of a new sample (for a change to the tests over the same src/):
every one of them must still be caught. With --recheck and --outcome survived,
the mutants it lists as survivors are tested instead (for tests added since).

The working tree is restored after every mutant (also on Ctrl-C or SIGTERM). Expect about
ten seconds per mutant on two cores.
"""
import argparse
import os
import random
import re
import signal
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

COMPARISONS = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">", "&&": "||", "||": "&&"}
# Longest operators first, and never part of <<, >>, ->, <<=, >>= or a template bracket
# (a space on both sides is required for < and >).
OPERATOR = re.compile(r"(?<![<>=!&|-])(==|!=|<=|>=|&&|\|\|)(?![=&|>])|(?<=\s)(<|>)(?=\s)")
INTEGER = re.compile(r"(?<![\w.])(\d+)(?![\w.'])")


def strip_line(line):
    """The line with string and character literals and comments blanked, same length."""
    out = []
    i = 0
    quote = None
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                out.append("  ")
                i += 2
                continue
            if c == quote:
                quote = None
                out.append(c)
            else:
                out.append(" ")
        elif c in "\"'":
            quote = c
            out.append(c)
        elif line.startswith("//", i):
            out.append(" " * (len(line) - i))
            break
        else:
            out.append(c)
        i += 1
    return "".join(out)[: len(line)]


def kept_lines(path, count):
    """Numbers of the first `count` code lines after each Kept: comment."""
    chosen = set()
    left = 0
    with open(os.path.join(ROOT, path), encoding="utf-8") as handle:
        for number, line in enumerate(handle, 1):
            stripped = line.strip()
            if "Kept:" in stripped:
                left = count
                continue
            if not stripped or stripped.startswith("//") or stripped.startswith("*") or stripped.startswith("/*"):
                continue
            if left > 0:
                chosen.add(number)
                left -= 1
    return chosen


def candidates(near_kept=0):
    found = []
    for folder, _, files in os.walk(os.path.join(ROOT, "src")):
        for name in sorted(files):
            if not name.endswith(".cpp"):
                continue
            path = os.path.relpath(os.path.join(folder, name), ROOT)
            wanted_lines = kept_lines(path, near_kept) if near_kept else None
            in_block_comment = False
            with open(os.path.join(ROOT, path), encoding="utf-8") as handle:
                for number, line in enumerate(handle, 1):
                    text = strip_line(line.rstrip("\n"))
                    if in_block_comment:
                        if "*/" not in text:
                            continue
                        in_block_comment = False
                        text = " " * (text.index("*/") + 2) + text[text.index("*/") + 2:]
                    if "/*" in text:
                        in_block_comment = "*/" not in text[text.index("/*"):]
                        text = text[: text.index("/*")]
                    stripped = text.strip()
                    if not stripped or stripped.startswith("#") or stripped.startswith("*"):
                        continue
                    if wanted_lines is not None and number not in wanted_lines:
                        continue
                    for match in OPERATOR.finditer(text):
                        token = match.group(0)
                        found.append((path, number, match.start(), token, COMPARISONS[token]))
                    for match in INTEGER.finditer(text):
                        value = int(match.group(1))
                        found.append((path, number, match.start(), match.group(1), str(value + 1 if value == 0 else value - 1)))
    found.sort()
    return found


def run(command, cwd, timeout=None):
    try:
        result = subprocess.run(command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=timeout)
        return result.returncode
    except subprocess.TimeoutExpired:
        return "timeout"


def run_shards(command, cwd, shards, timeout):
    """The test binary in `shards` processes at once (GoogleTest sharding): a
    few tests wait on alarms and child processes, so the shards overlap those
    waits. 0 when every shard passes; the first failure stops the others."""
    processes = []
    for index in range(shards):
        environment = dict(os.environ, GTEST_TOTAL_SHARDS=str(shards), GTEST_SHARD_INDEX=str(index))
        processes.append(subprocess.Popen(command, cwd=cwd, env=environment, stdout=subprocess.DEVNULL,
                                          stderr=subprocess.DEVNULL, start_new_session=True))
    deadline = time.time() + timeout
    status = 0
    while processes and status == 0:
        for process in list(processes):
            code = process.poll()
            if code is not None:
                processes.remove(process)
                if code != 0:
                    status = code
        if time.time() > deadline:
            status = "timeout"
        time.sleep(0.05)
    for process in processes:
        try:
            os.killpg(process.pid, 9)
        except ProcessLookupError:
            pass
        process.wait()
    return status


def run_shards_attributed(command, cwd, shards, timeout):
    """Every test in `shards` processes, none stopping at a failure. Returns
    the names of the tests that failed, crashed or were running at the time
    limit (a crash ends its shard, so later tests of that shard don't run)."""
    processes = []
    for index in range(shards):
        environment = dict(os.environ, GTEST_TOTAL_SHARDS=str(shards), GTEST_SHARD_INDEX=str(index))
        processes.append(subprocess.Popen(command, cwd=cwd, env=environment, stdout=subprocess.PIPE,
                                          stderr=subprocess.DEVNULL, start_new_session=True, text=True,
                                          errors="replace"))
    failed = set()
    deadline = time.time() + timeout
    for process in processes:
        try:
            output, _ = process.communicate(timeout=max(1, deadline - time.time()))
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            output, _ = process.communicate()
        running = None
        for line in output.splitlines():
            if line.startswith("[ RUN      ] "):
                running = line[13:].strip()
            elif line.startswith("[       OK ] ") or line.startswith("[  SKIPPED ] "):
                running = None
            elif line.startswith("[  FAILED  ] ") and running:
                failed.add(running)
                running = None
        if running:
            failed.add(running)
        if process.returncode not in (0, None) and not failed:
            failed.add("(shard %d exited %s)" % (processes.index(process), process.returncode))
    return sorted(failed)


def summarise(report_path):
    """Per test: mutants caught, and mutants caught by no other test."""
    caught, alone = {}, {}
    with open(report_path, encoding="utf-8") as handle:
        rows = [line.rstrip("\n").split("\t") for line in handle][1:]
    for row in rows:
        names = [name for name in (row[6].split(",") if len(row) > 6 else []) if name]
        for name in names:
            caught[name] = caught.get(name, 0) + 1
        if len(names) == 1:
            alone[names[0]] = alone.get(names[0], 0) + 1
    with open(report_path + ".tests", "w", encoding="utf-8") as handle:
        handle.write("test\tcaught\talone\n")
        for name in sorted(caught, key=lambda n: (-alone.get(n, 0), -caught[n], n)):
            handle.write(f"{name}\t{caught[name]}\t{alone.get(name, 0)}\n")
    print(f"{len(caught)} tests catch a mutant, {len(alone)} of them one that no other test catches "
          f"(per test: {report_path}.tests)")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--mutants", type=int, default=200)
    parser.add_argument("--seed", type=int, default=17)
    parser.add_argument("--build", default="build-mutation")
    parser.add_argument("--report", default="mutation-report.tsv")
    parser.add_argument("--test-timeout", type=int, default=120)
    parser.add_argument("--recheck", help="report of an earlier run; test again the mutants it lists as caught")
    parser.add_argument("--outcome", default="caught", choices=["caught", "survived", "all"],
                        help="with --recheck: which of the report's mutants to test again")
    parser.add_argument("--near-kept", type=int, default=0,
                        help="draw only from the first N code lines after each Kept: comment")
    parser.add_argument("--attribute", action="store_true",
                        help="run every test for every mutant and report which tests catch it")
    arguments = parser.parse_args()
    # A stop by SIGTERM unwinds like Ctrl-C, so that the mutated file is put back.
    signal.signal(signal.SIGTERM, lambda number, frame: sys.exit(f"stopped by signal {number}"))

    build = os.path.join(ROOT, arguments.build)
    jobs = str(os.cpu_count() or 2)
    if run(["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS=-O1"], ROOT) != 0:
        sys.exit("configure failed")
    build_command = ["cmake", "--build", build, "-j", jobs, "--target", "invoice_extract_tests"]
    test_command = [os.path.join(build, "invoice_extract_tests"), "--gtest_fail_fast", "--gtest_brief=1"]
    attributed_command = [os.path.join(build, "invoice_extract_tests")]
    if run(build_command, ROOT) != 0 or run_shards(test_command, build, 4, arguments.test_timeout) != 0:
        sys.exit("the unmutated tree does not build or pass its tests")

    pool = candidates(arguments.near_kept)
    if arguments.recheck:
        with open(arguments.recheck, encoding="utf-8") as handle:
            rows = [line.rstrip("\n").split("\t") for line in handle][1:]
        wanted = {(row[0], int(row[1]), int(row[2]), row[3], row[4]) for row in rows
                  if arguments.outcome in ("all", row[5]) and row[5] != "no-build"}
        chosen = [index for index, mutant in enumerate(pool) if mutant in wanted]
        if len(chosen) != len(wanted):
            sys.exit(f"{len(wanted) - len(chosen)} mutants of the report no longer match src/")
        arguments.mutants = len(chosen)
        print(f"testing again the {len(chosen)} mutants that {arguments.outcome} before", flush=True)
    else:
        order = list(range(len(pool)))
        random.Random(arguments.seed).shuffle(order)
        print(f"{len(pool)} candidate mutants in src/; testing {arguments.mutants}", flush=True)
        # Mutants of one file run one after another, so that each costs one
        # compile. The sample is padded for the mutants that will not compile.
        chosen = sorted(order[: arguments.mutants * 5 // 4])
        chosen += order[arguments.mutants * 5 // 4:]

    outcomes = []
    report = open(os.path.join(ROOT, arguments.report), "w", encoding="utf-8")
    report.write("file\tline\tcolumn\tfrom\tto\toutcome" + ("\ttests" if arguments.attribute else "") + "\n")
    try:
        for index in chosen:
            if len(outcomes) == arguments.mutants:
                break
            path, number, column, old, new = pool[index]
            full = os.path.join(ROOT, path)
            with open(full, encoding="utf-8") as handle:
                original = handle.read()
            lines = original.split("\n")
            line = lines[number - 1]
            assert line[column: column + len(old)] == old, (path, number, column, old)
            lines[number - 1] = line[:column] + new + line[column + len(old):]
            try:
                with open(full, "w", encoding="utf-8") as handle:
                    handle.write("\n".join(lines))
                started = time.time()
                failed = []
                if run(build_command, ROOT) != 0:
                    outcome = "no-build"
                elif arguments.attribute:
                    failed = run_shards_attributed(attributed_command, build, 4, arguments.test_timeout)
                    outcome = "caught" if failed else "survived"
                else:
                    status = run_shards(test_command, build, 4, arguments.test_timeout)
                    outcome = "survived" if status == 0 else "caught"
            finally:
                with open(full, "w", encoding="utf-8") as handle:
                    handle.write(original)
            extra = ("\t" + ",".join(failed)) if arguments.attribute else ""
            report.write(f"{path}\t{number}\t{column}\t{old}\t{new}\t{outcome}{extra}\n")
            report.flush()
            if outcome != "no-build":
                outcomes.append(outcome)
            print(f"{len(outcomes):4d} {outcome:9s} {path}:{number} {old} -> {new} ({time.time() - started:.1f} s)",
                  flush=True)
    finally:
        report.close()
        run(build_command, ROOT)

    if arguments.attribute:
        summarise(os.path.join(ROOT, arguments.report))
    caught = outcomes.count("caught")
    print(f"caught {caught} of {len(outcomes)} mutants ({100.0 * caught / max(1, len(outcomes)):.1f}%)")


if __name__ == "__main__":
    main()
