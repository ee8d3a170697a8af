import json
import os
import subprocess
from pathlib import Path

import pytest

SOURCE = Path(os.environ.get("XTALMOTIF_SOURCE_DIR", Path(__file__).resolve().parents[2]))
STRUCTURES = SOURCE / "data/structures"
PROGRAM = os.environ.get("XTALMOTIF_PROGRAM", str(SOURCE / "build/apps/xtalmotif"))


@pytest.fixture
def program(tmp_path):
    """The program's search with --all, run from the source tree: (JSON records, TSV, stderr)."""
    def run(motif, sources):
        out = [tmp_path / "hits.jsonl", tmp_path / "hits.tsv"]
        run = subprocess.run([PROGRAM, "search", str(motif), *sources,
                              "--all", "-q", "--json", out[0], "--tsv", out[1]],
                             cwd=SOURCE, capture_output=True, text=True)
        assert run.returncode in (0, 1), run.stderr
        return [json.loads(line) for line in out[0].read_text().splitlines()], out[1], run.stderr
    return run
