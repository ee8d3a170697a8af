import os
import re
import subprocess
import sys
from collections import defaultdict

from conftest import SOURCE


def test_the_readme_example_prints_what_it_shows_and_the_program_finds(program):
    section = (SOURCE / "README.md").read_text().split("\n## Python\n")[1].split("\n## ")[0]
    code, shown = re.findall(r"```(?:python|text)\n(.*?)```", section, re.S)
    run = subprocess.run([sys.executable, "-c", code], cwd=SOURCE, capture_output=True,
                         text=True, env=os.environ)
    assert (run.stdout, run.stderr) == (shown, "")
    expected = []
    for motif in ["carboxylic acid dimer", "water ring of six"]:
        groups = defaultdict(list)  # the matches' H...A distances by entry and graph set
        for r in program(motif, ["data/structures"])[0]:
            if r["record"] == "match":
                groups[r["entry"], r.get("graph_set", "-")].append(
                    [c["hydrogen_bond"]["h_a"] for c in r["contacts"] if "hydrogen_bond" in c])
        for (entry, graph_set), matches in sorted(groups.items()):
            h_a = [d for m in matches for d in m]
            expected.append([motif, entry, graph_set, str(len(matches)),
                             f"{min(h_a):.2f}-{max(h_a):.2f}"])
    assert [re.split(r"\s{2,}", line) for line in run.stdout.splitlines()[1:]] == expected
