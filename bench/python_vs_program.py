"""Times one collection search run by the program and by the Python module.

    python3 bench/python_vs_program.py [BUILD] [COLLECTION]

BUILD defaults to build and COLLECTION to ../shared/data/bulk, both relative to the repository;
run it with the interpreter the module was built for (the system's python3). The program runs
`xtalmotif search MOTIF COLLECTION -j 2 --all -q`; Python runs
xtalmotif.search(xtalmotif.motif(MOTIF), COLLECTION, jobs=2, all=True) in a fresh interpreter,
its start and the import counted. The two take turns, REPEATS times each (default 3), and the
fastest wall time and the least processor time (user + system, every thread) of each count, so
that a burst of other work on the machine spoils one run rather than the figure. Then both write
their hits as JSON Lines once more, and the two must be identical. MOTIF is "carboxylic acid
dimer" unless the environment sets it. Exit status 1 when the hits differ or Python takes more
than 5% longer than the program by both measures.
"""
import json
import os
import resource
import subprocess
import sys
import tempfile
import time
from pathlib import Path

REPO = Path(__file__).resolve().parents[1]
BUILD = Path(sys.argv[1]) if len(sys.argv) > 1 else REPO / "build"
COLLECTION = sys.argv[2] if len(sys.argv) > 2 else str(REPO / "../shared/data/bulk")
MOTIF = os.environ.get("MOTIF", "carboxylic acid dimer")
REPEATS = int(os.environ.get("REPEATS", "3"))
PROGRAM = BUILD / "apps/xtalmotif"

PYTHON_SEARCH = """
import json, sys
import xtalmotif
hits = xtalmotif.search(xtalmotif.motif(sys.argv[1]), sys.argv[2], jobs=2, all=True)
if len(sys.argv) > 3:
    with open(sys.argv[3], "w") as out:
        for i, hit in enumerate(hits):
            if i == 0 or hits[i - 1].entry != hit.entry:
                print(json.dumps(hit.entry_record), file=out)
            print(json.dumps(hit.record), file=out)
        print(json.dumps(hits.summary), file=out)
"""


def timed(command, env=None):
    """Wall time and processor time (user + system) of one run of a command."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    run = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, env=env)
    wall = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if run.returncode not in (0, 1):  # 1: no hit
        sys.exit(f"python_vs_program: {command[0]} failed:\n{run.stderr.decode()}")
    return wall, after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def main():
    if not PROGRAM.exists() or not list((BUILD / "python").glob("xtalmotif*.so")):
        sys.exit(f"python_vs_program: build the program and the module in {BUILD}")
    env = dict(os.environ, PYTHONPATH=os.pathsep.join(
        filter(None, [str(BUILD / "python"), os.environ.get("PYTHONPATH")])))
    program = [str(PROGRAM), "search", MOTIF, COLLECTION, "-j", "2", "--all", "-q"]
    python = [sys.executable, "-c", PYTHON_SEARCH, MOTIF, COLLECTION]
    best = {"program": [1e9, 1e9], "python": [1e9, 1e9]}
    for _ in range(REPEATS):
        for name, command in [("program", program), ("python", python)]:
            best[name] = [min(b, t) for b, t in zip(best[name], timed(command, env))]
    print(f"collection: {COLLECTION} ({os.cpu_count()} cores, load {os.getloadavg()[0]:.1f})")
    print(f"motif:      {MOTIF}, 2 threads, every match; fastest of {REPEATS} runs each")
    for name, (wall, cpu) in best.items():
        print(f"{name + ':':11} {wall:.2f} s wall, {cpu:.2f} s processor")
    with tempfile.TemporaryDirectory() as work:
        subprocess.run(program + ["--json", f"{work}/program.jsonl"], capture_output=True)
        subprocess.run(python + [f"{work}/python.jsonl"], env=env, check=True)
        hits = [[json.loads(line) for line in open(f"{work}/{name}.jsonl")]
                for name in ("program", "python")]
    matches = sum(r["record"] == "match" for r in hits[0])
    print(f"same hits:  {'yes' if hits[0] == hits[1] else 'no'} ({matches} matches)")
    slower = all(q > p * 1.05 for p, q in zip(best["program"], best["python"]))
    if slower:
        print("python_vs_program: Python is slower than the program", file=sys.stderr)
    return 1 if hits[0] != hits[1] or slower else 0


if __name__ == "__main__":
    sys.exit(main())
