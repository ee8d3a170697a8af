import shutil
from threading import get_ident

import pytest
import xtalmotif
from conftest import SOURCE, STRUCTURES


def records(hits):
    """The hits as the program's JSON Lines: entry records before their matches, the summary."""
    first = [i == 0 or hits[i - 1].entry != hit.entry for i, hit in enumerate(hits)]
    return [r for f, h in zip(first, hits) for r in [h.entry_record] * f + [h.record]] + \
        [hits.summary]


@pytest.mark.filterwarnings("ignore::UserWarning")
@pytest.mark.parametrize("motif", ["carboxylic acid dimer", "water ring of six", "silver pattern4",
                                   "data/queries/amide_chain.con",
                                   "data/queries/silver_carboxylate.con"])
def test_hits_are_the_records_of_the_program(program, monkeypatch, motif):
    expected, _, _ = program(motif, ["data/structures"])
    monkeypatch.chdir(SOURCE)
    hits = xtalmotif.search(motif, "data/structures", all=True)
    assert records(hits) == expected and len(hits) == expected[-1]["matches"] > 0


def test_threads_limits_and_progress(tmp_path):
    for copy in range(3):  # twelve entries, three of each structure
        shutil.copytree(STRUCTURES, tmp_path / str(copy))
    one, calls = xtalmotif.search("water ring of six", tmp_path, all=True), []
    assert records(xtalmotif.search("water ring of six", tmp_path, all=True, jobs=3,
                                    progress=lambda *done: calls.append((*done, get_ident())))) \
        == records(one)
    assert calls[-1] == (12, 12, get_ident()) and calls == sorted(calls)
    firsts = xtalmotif.search("water ring of six", tmp_path, jobs=2)
    assert [h.record for h in firsts] == [h.record for h in one if h.match == 1] != []
    with pytest.raises(KeyError, match="stop"):
        xtalmotif.search("water ring of six", tmp_path, progress=lambda *_: {}["stop"])
    stopped = xtalmotif.search("water chain", STRUCTURES / "4504659.cif", all=True, work_budget=50)
    assert stopped.summary["aborted_entries"] == ["4504659"]


def test_a_motif_put_together_finds_what_the_ready_made_one_does():
    m = xtalmotif.Motif("carboxylic acid dimer")
    acid = xtalmotif.Substructure.predefined("carboxylic acid")  # O= 0, O 1, C 2, C 3, H 4
    first, second = m.add_substructure(acid), m.add_substructure(acid)
    for a, b in [(first, second), (second, first)]:
        m.add_contact(a, 4, b, 0)  # H...O=C closer than the van der Waals sum
        m.add_angle((a, 1), (a, 4), (b, 0), 120, 180)
    assert records(xtalmotif.search(m, STRUCTURES, all=True)) == \
        records(xtalmotif.search("carboxylic acid dimer", STRUCTURES, all=True))


def test_entries_that_cannot_be_read_are_refused_as_the_program_refuses_them(program, tmp_path):
    shutil.copy(STRUCTURES / "4022630.cif", tmp_path)
    (tmp_path / "broken.cif").write_text("data_b\nloop_\n_atom_site_label\n_atom_site_fract_x\n"
                                         "C1 0.1\n")
    (tmp_path / "empty.cif").write_text("data_empty\n")
    _, _, stderr = program("carboxylic acid dimer", [tmp_path])
    hits = xtalmotif.search("carboxylic acid dimer", tmp_path)
    assert ["refused: " + r for r in hits.refused] == stderr.splitlines()
    assert len(hits.refused) == 2 and hits.entries == ["4022630"]


@pytest.mark.parametrize("call, error, text", [
    (lambda _: xtalmotif.motif("carboxylic acid dimmer"), xtalmotif.MotifError,
     'nearest names: "carboxylic acid dimer"'),
    (lambda _: xtalmotif.Motif.from_con_file("none.con"), FileNotFoundError, "none.con"),
    (lambda tmp: (tmp / "x.con").write_text("AT1 O 1 0 T1 0 0 0\nVDW 1 0\nCONT INTER 1 TO 7\n")
     and xtalmotif.Motif.from_con_file(tmp / "x.con"), xtalmotif.MotifError, "x.con: line 2"),
    (lambda _: xtalmotif.Motif("m").add_contact(0, 0, 0, 0), xtalmotif.MotifError,
     "substructure 0: the motif has 0"),
    (lambda _: xtalmotif.search("carboxylic acid dimer", "none"), FileNotFoundError, "none"),
    (lambda _: xtalmotif.search("carboxylic acid dimer", index=STRUCTURES / "4022630.cif"),
     xtalmotif.ScreenIndexError, "4022630.cif: not a screen index"),
])
def test_mistakes_raise_saying_what_is_wrong(tmp_path, call, error, text):
    with pytest.raises(error, match=text):
        call(tmp_path)


def test_records_make_the_table_the_program_writes(program, monkeypatch):
    pandas = pytest.importorskip("pandas")
    _, tsv, _ = program("water ring of six", ["data/structures"])
    monkeypatch.chdir(SOURCE)
    table = pandas.DataFrame(xtalmotif.search("water ring of six", "data/structures", all=True)
                             .to_records())
    written = pandas.read_csv(tsv, sep="\t", dtype={"entry": str}, keep_default_na=False,
                              na_values=[""])
    assert list(table.columns) == ["entry", "file", "block", *written.columns[2:]]
    assert len(table) == len(written) > 0
    for column in written.columns:
        pandas.testing.assert_series_equal(table[column], written[column], check_dtype=False,
                                           atol=1e-4)
