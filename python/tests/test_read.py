import math

import pytest
import xtalmotif
from conftest import STRUCTURES


def test_a_structure_per_block_with_complete_molecules_on_their_sites(tmp_path):
    (tmp_path / "two.cif").write_text((STRUCTURES / "4022630.cif").read_text() +
                                      (STRUCTURES / "2009480.cif").read_text())
    s, other = xtalmotif.read(tmp_path / "two.cif")
    assert (s.name, s.block, other.name, s.file) == ("4022630", "4022630", "2009480",
                                                     str(tmp_path / "two.cif"))
    assert s.cell == pytest.approx([5.2387, 34.215, 6.2694, 90, 109.54, 90])
    assert s.operators == ["x,y,z", "-x+1/2,y+1/2,-z+1/2", "-x,-y,-z", "x-1/2,-y-1/2,z-1/2"]
    [mol] = s.molecules
    assert mol.formula == "C11 H16 O4" and len(mol) == len(s.atoms) == 31
    a, b, c, _, beta, _ = s.cell
    cos, sin = math.cos(math.radians(beta)), math.sin(math.radians(beta))
    for atom in s.atoms:  # a along x, b along y in a monoclinic cell
        x, y, z = atom.fract
        assert atom.cart == pytest.approx([a * x + c * cos * z, b * y, c * sin * z], abs=1e-6)
        assert (atom.symmetry, atom.occupancy) == ("1_555", 1) and atom.site >= 1
    assert all(math.dist(mol.atoms[i].cart, mol.atoms[j].cart) < 1.9 for i, j, _ in mol.bonds)


@pytest.mark.parametrize("text, error", [
    (None, FileNotFoundError),
    ("data_empty\n_cell_length_a 5.0\n", xtalmotif.CifError),
    ("data_b\nloop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n"
     "_atom_site_fract_z\nC1 0.1 0.2 0.3\n", xtalmotif.CifError),
])
def test_files_that_cannot_be_read_raise_naming_the_file(tmp_path, text, error):
    if text is not None:
        (tmp_path / "x.cif").write_text(text)
    with pytest.raises(error, match="x.cif"):
        xtalmotif.read(tmp_path / "x.cif")
