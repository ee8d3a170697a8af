#!/usr/bin/env python3
"""Applies each deliberate fault of tests/mutations/faults.txt to a copy of the source tree,
builds it and runs the test suite, and reports which faults the suite catches.

    python3 scripts/mutation_check.py [--jobs N] [--only TEXT] [--keep DIR]

A fault is caught when at least one test fails. A fault whose text is not found exactly once, or
that does not compile, is reported as broken: the list must follow the code. The exit status is
0 when every fault is caught, 1 otherwise. The copy lives in a temporary folder (or DIR, kept
for later runs), so the working tree is never touched.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def read_faults(path):
    faults, cur, key = [], None, None
    for line in open(path, encoding="utf-8").read().split("\n"):
        if line.startswith("#"):
            continue
        m = re.match(r"^\[(.*)\]$", line)
        if m:
            cur = {"name": m.group(1), "file": "", "find": "", "replace": ""}
            faults.append(cur)
            key = None
            continue
        if cur is None:
            continue
        m = re.match(r"^(file|find|replace): ?(.*)$", line)
        if m:
            key = m.group(1)
            cur[key] = m.group(2)
        elif key in ("find", "replace") and line.strip():
            cur[key] += "\n" + line
    return faults


def run(cmd, cwd, log):
    with open(log, "a") as out:
        return subprocess.call(cmd, cwd=cwd, stdout=out, stderr=subprocess.STDOUT)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    ap.add_argument("--only", default="", help="run the faults whose name contains this text")
    ap.add_argument("--keep", default="", help="a folder to build in and keep between runs")
    ap.add_argument("--first", type=int, default=1, help="start at the fault of this number")
    args = ap.parse_args()
    faults = [f for f in read_faults(os.path.join(ROOT, "tests/mutations/faults.txt"))
              if args.only in f["name"]]
    work = args.keep or tempfile.mkdtemp(prefix="xtalmotif-mutations-")
    src, build, log = os.path.join(work, "src"), os.path.join(work, "build"), os.path.join(work, "log")
    # A copy of the tracked files and the working changes, and the collections beside it as the
    # checkout has them.
    files = subprocess.check_output(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT,
                                    text=True).split("\n")
    for f in filter(None, files):
        if os.path.isfile(os.path.join(ROOT, f)):
            os.makedirs(os.path.dirname(os.path.join(src, f)) or src, exist_ok=True)
            shutil.copy2(os.path.join(ROOT, f), os.path.join(src, f))
    data = os.path.abspath(os.path.join(ROOT, "..", "shared", "data"))
    cmake = ["cmake", "-S", src, "-B", build, "-DCMAKE_BUILD_TYPE=Release"]
    if os.path.isdir(data):
        cmake.append("-DXTALMOTIF_DATA_DIR=" + data)
    if run(cmake, src, log) or run(["cmake", "--build", build, "-j", str(args.jobs)], src, log):
        print("the unchanged tree does not build; see", log)
        return 1
    ctest = ["ctest", "--test-dir", build, "-j", str(args.jobs), "--timeout", "600"]
    if run(ctest, src, log):
        print("the unchanged tree fails its own tests; see", log)
        return 1
    missed = 0
    for n, f in enumerate(faults, 1):
        if n < args.first:
            continue
        path = os.path.join(src, f["file"])
        text = open(path, encoding="utf-8").read()
        if text.count(f["find"]) != 1:
            print(f"{n:2} BROKEN  {f['name']}: text found {text.count(f['find'])} times")
            missed += 1
            continue
        open(path, "w", encoding="utf-8").write(text.replace(f["find"], f["replace"]))
        try:
            if run(["cmake", "--build", build, "-j", str(args.jobs)], src, log):
                print(f"{n:2} BROKEN  {f['name']}: does not compile")
                missed += 1
                continue
            # The quick tests first; the collections only when they pass. The first failure is
            # enough to call a fault caught.
            caught = any(run(ctest + ["--stop-on-failure", label, "collections"], src, log) != 0
                         for label in ("-LE", "-L"))
            print(f"{n:2} {'caught ' if caught else 'MISSED '} {f['name']}", flush=True)
            missed += 0 if caught else 1
        finally:
            open(path, "w", encoding="utf-8").write(text)
    run(["cmake", "--build", build, "-j", str(args.jobs)], src, log)
    tried = len(faults) - args.first + 1
    print(f"{tried - missed} of {tried} faults caught")
    if not args.keep:
        shutil.rmtree(work, ignore_errors=True)
    return 0 if missed == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
