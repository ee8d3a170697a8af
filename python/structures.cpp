// xtalmotif.read(): crystal structures as the search sees them.

#include "python/binding.h"

#include "crystal/cif_reader.h"
#include "db/database.h"
#include "results/match_description.h"

#include <pybind11/stl.h>

#include <array>
#include <filesystem>
#include <optional>
#include <sstream>
#include <tuple>

namespace xtalmotif::python {

namespace {

using Triple = std::array<double, 3>;

struct StructureAtom {
  std::string label, element;
  int molecule = 0, index = 0;
  int site = 0; // row of the atom-site loop, from 1; 0 when unknown
  std::string symmetry;
  Triple fract{}, cart{};
  double occupancy = 1.0;
};

struct StructureMolecule {
  int index = 0;
  std::string formula;
  std::vector<StructureAtom> atoms;
  std::vector<std::tuple<int, int, std::string>> bonds;
};

struct Structure {
  std::string name, block, file;
  std::array<double, 6> cell{};
  std::vector<std::string> operators;
  std::string symmetry_source, space_group;
  std::vector<StructureMolecule> molecules;
  std::vector<std::string> notices, warnings, errors;
  bool polymeric = false, disordered = false, hydrogen_sites = false;
  std::optional<double> r_factor;
};

Triple triple(const Point& p) { return {p[0], p[1], p[2]}; }

Structure describe(const CrystalStructureDatabaseEntry& entry, const CrystalMaker& c) {
  Structure s;
  s.name = entry.identifier().str();
  s.block = entry.block_name();
  s.file = entry.source_file();
  s.cell = {c.a(), c.b(), c.c(), c.alpha(), c.beta(), c.gamma()};
  for (const auto& op : c.listed_operators())
    s.operators.push_back(op.to_xyz());
  s.symmetry_source = c.symmetry_source();
  s.space_group = c.space_group_name();
  s.notices = c.notices();
  s.warnings = c.warnings();
  s.errors = c.errors();
  s.polymeric = c.is_polymeric();
  s.disordered = c.has_disorder();
  s.hydrogen_sites = c.has_hydrogen_sites();
  if (c.r_factor() >= 0)
    s.r_factor = c.r_factor();
  for (int i = 0; i < c.nmolecules(); ++i) {
    const Molecule& mol = *c.molecule(i);
    const std::vector<AtomOrigin>& origins = c.atom_origins(i);
    StructureMolecule m;
    m.index = i;
    m.formula = mol.formula();
    for (int k = 0; k < mol.natoms(); ++k) {
      const Atom& atom = *mol.atom(k);
      StructureAtom a;
      a.label = atom.label();
      a.element = atom.element().symbol();
      a.molecule = i;
      a.index = k;
      if (atom.has_site()) {
        a.fract = triple(atom.site()->fractional());
        a.cart = triple(atom.site()->orthogonal());
        a.occupancy = atom.site()->occupancy();
      }
      if (k < static_cast<int>(origins.size())) {
        // The code numbers the operators as the file lists them, as every hit's codes do.
        const AtomOrigin& o = origins[static_cast<std::size_t>(k)];
        const CrystalMaker::ListedCode code = c.listed_code(o.op, o.translation);
        a.site = o.site + 1;
        a.symmetry = MotifSearchLibFunctions::symmetry_code(code.listed, code.translation);
        a.occupancy = o.occupancy;
      }
      m.atoms.push_back(std::move(a));
    }
    for (const auto& b : mol.bonds())
      m.bonds.emplace_back(b->atom1(), b->atom2(), bond_type_name(b->type()));
    s.molecules.push_back(std::move(m));
  }
  return s;
}

std::vector<Structure> read_structures(const py::object& path_argument) {
  const std::vector<std::string> paths = path_arguments(path_argument);
  if (paths.size() != 1)
    throw py::type_error("read() takes one CIF file or folder");
  const std::string& path = paths[0];
  std::error_code ec;
  if (!std::filesystem::exists(path, ec))
    throw MissingFile(path);
  std::vector<Structure> out;
  py::gil_scoped_release release;
  CifDatabase db({path});
  if (!db.problems().empty())
    throw CifError(db.problems().front());
  if (db.nentries() == 0)
    throw CifError(path + ": no data block with atom sites");
  // The blocks of one file read in one pass, as a search reads them.
  for (int first : run_starts(db)) {
    CifFileReader reader(db.entry(first)->source_file());
    for (int i = first; i < db.run_end(first); ++i) {
      const auto entry = db.entry(i);
      out.push_back(describe(*entry, *entry->crystal(reader)));
    }
  }
  return out;
}

std::string cell_text(const std::array<double, 6>& cell) {
  std::ostringstream os;
  os << cell[0] << ' ' << cell[1] << ' ' << cell[2] << ' ' << cell[3] << ' ' << cell[4] << ' '
     << cell[5];
  return os.str();
}

} // namespace

void bind_structures(py::module_& m) {
  py::class_<StructureAtom>(m, "Atom", "An atom of a structure's molecule, on its site.")
      .def_readonly("label", &StructureAtom::label, "The site's label in the CIF file.")
      .def_readonly("element", &StructureAtom::element, "Element symbol.")
      .def_readonly("molecule", &StructureAtom::molecule, "Index of its molecule.")
      .def_readonly("index", &StructureAtom::index, "Index within its molecule.")
      .def_readonly("site", &StructureAtom::site,
                    "Row of the file's atom-site loop, from 1 (0 when unknown).")
      .def_readonly("symmetry", &StructureAtom::symmetry,
                    "Symmetry code n_klm putting the site here: operator n of "
                    "Structure.operators and k-5, l-5, m-5 cells along a, b, c.")
      .def_readonly("fract", &StructureAtom::fract, "Fractional coordinates (x, y, z).")
      .def_readonly("cart", &StructureAtom::cart, "Cartesian coordinates in angstrom.")
      .def_readonly("occupancy", &StructureAtom::occupancy,
                    "Fraction of unit cells in which the site holds this atom.")
      .def("__repr__", [](const StructureAtom& a) {
        return "<Atom " + a.label + " " + a.element + " " + a.symmetry + ">";
      });

  py::class_<StructureMolecule>(m, "Molecule",
                                "A complete molecule of a structure: atoms and bonds.")
      .def_readonly("index", &StructureMolecule::index, "Index within the structure.")
      .def_readonly("formula", &StructureMolecule::formula, "Hill formula, e.g. 'C13 H18 O2'.")
      .def_readonly("atoms", &StructureMolecule::atoms, "The atoms, as a list of Atom.")
      .def_readonly("bonds", &StructureMolecule::bonds,
                    "The bonds as (atom, atom, type) tuples of atom indices and the bond type "
                    "('single', 'double', 'aromatic', ...).")
      .def("__len__", [](const StructureMolecule& mol) { return mol.atoms.size(); },
           "Number of atoms.")
      .def("__repr__", [](const StructureMolecule& mol) {
        return "<Molecule " + std::to_string(mol.index) + " " + mol.formula + ">";
      });

  py::class_<Structure>(m, "Structure",
                        "One data block of a CIF file as the search sees it: cell, symmetry "
                        "operators and complete symmetry-independent molecules.")
      .def_readonly("name", &Structure::name,
                    "The entry's name, as a search names it (the data block; with the file's "
                    "stem where block names repeat).")
      .def_readonly("block", &Structure::block, "The data block name.")
      .def_readonly("file", &Structure::file, "The CIF file.")
      .def_readonly("cell", &Structure::cell,
                    "(a, b, c, alpha, beta, gamma) in angstrom and degrees.")
      .def_readonly("operators", &Structure::operators,
                    "Symmetry operators as the file lists them; symmetry codes number these.")
      .def_readonly("symmetry_source", &Structure::symmetry_source,
                    "Where the operators come from: the loop's tag or a space-group symbol.")
      .def_readonly("space_group", &Structure::space_group, "Space-group name from the file.")
      .def_readonly("molecules", &Structure::molecules, "The molecules, as a list of Molecule.")
      .def_property_readonly(
          "atoms",
          [](const Structure& s) {
            std::vector<StructureAtom> atoms;
            for (const auto& mol : s.molecules)
              atoms.insert(atoms.end(), mol.atoms.begin(), mol.atoms.end());
            return atoms;
          },
          "Every atom of every molecule, molecule by molecule.")
      .def_readonly("notices", &Structure::notices,
                    "What a reader must know to check symmetry codes against the file.")
      .def_readonly("warnings", &Structure::warnings, "Notes made while reading.")
      .def_readonly("errors", &Structure::errors,
                    "Problems met while building the structure (missing H sites, clashes...).")
      .def_readonly("polymeric", &Structure::polymeric,
                    "Whether a chain repeating by a lattice translation was cut.")
      .def_readonly("disordered", &Structure::disordered, "Whether the file has disorder.")
      .def_readonly("hydrogen_sites", &Structure::hydrogen_sites,
                    "Whether the file gives hydrogen positions.")
      .def_readonly("r_factor", &Structure::r_factor, "R1 as a fraction, or None.")
      .def("__repr__", [](const Structure& s) {
        return "<Structure " + s.name + " (" + s.file + "): cell " + cell_text(s.cell) + ", " +
               std::to_string(s.molecules.size()) + " molecules>";
      });

  m.def("read", &read_structures, py::arg("path"),
        R"(Reads a CIF file (plain or gzipped), or every CIF file under a folder.

Returns a list of Structure, one per data block with atom sites, named as a search names its
entries. Raises FileNotFoundError for a path that does not exist and CifError, naming the file,
the block and the reason, for one that cannot be read.)");
}

} // namespace xtalmotif::python
