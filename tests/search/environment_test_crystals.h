#ifndef XTALMOTIF_TESTS_SEARCH_ENVIRONMENT_TEST_CRYSTALS_H
#define XTALMOTIF_TESTS_SEARCH_ENVIRONMENT_TEST_CRYSTALS_H

// Small crystals built in code, with every coordinate written out, so that the expected symmetry
// copies and positions can be worked out by hand.

#include "crystal/crystal_maker.h"
#include "chem/molecule.h"

#include <string>
#include <utility>
#include <vector>

namespace xtalmotif::testing {

/// One atom of a hand-made molecule: element symbol, label and fractional coordinates.
struct FractionalAtom {
  const char *element;
  const char *label;
  Point fractional;
};

/// The operators of P2(1)/c (unique axis b, cell choice 1) in the order of International Tables.
inline std::vector<std::string> p21c_operators() {
  return {"x,y,z", "-x,y+1/2,-z+1/2", "-x,-y,-z", "x,-y+1/2,z+1/2"};
}

/// The operators of P-1.
inline std::vector<std::string> p1bar_operators() { return {"x,y,z", "-x,-y,-z"}; }

/// A crystal with the given cell and operators and no molecules yet.
inline THandle<CrystalMaker> make_crystal(double a, double b, double c, double alpha, double beta,
                                          double gamma, const std::vector<std::string> &ops) {
  auto cm = make_handle<CrystalMaker>();
  cm->set_cell(a, b, c, alpha, beta, gamma);
  std::vector<CrystalSymmetryOperator> operators;
  for (const auto &op : ops)
    operators.push_back(CrystalSymmetryOperator::from_xyz(op));
  cm->set_symmetry_operators(operators);
  return cm;
}

/// A molecule whose atoms sit at the given fractional coordinates of the crystal's cell
/// (orthogonal coordinates from the crystal's own matrix, occupancy `occupancy`), bonded in a
/// chain 0-1-2-... so that it is one connected piece.
inline THandle<Molecule> sited_molecule(const CrystalMaker &cm,
                                        const std::vector<FractionalAtom> &atoms,
                                        double occupancy = 1.0) {
  auto mol = make_handle<Molecule>();
  for (const auto &fa : atoms) {
    auto atom = make_handle<Atom>(Element(fa.element), fa.label);
    atom->set_site(make_handle<Site>(fa.fractional, cm.to_orthogonal(fa.fractional), occupancy));
    mol->add_atom(atom);
  }
  for (int i = 1; i < mol->natoms(); ++i)
    mol->add_bond(i - 1, i, BondType::Single);
  return mol;
}

/// Adds a molecule built by sited_molecule to the crystal and returns its crystal-maker index.
inline int add_sited_molecule(CrystalMaker &cm, const std::vector<FractionalAtom> &atoms,
                              double occupancy = 1.0) {
  cm.add_molecule(sited_molecule(cm, atoms, occupancy));
  return cm.nmolecules() - 1;
}

/// A three-atom molecule O-C-N in a general position (no atom on a symmetry element of P-1 or
/// P2(1)/c).
inline std::vector<FractionalAtom> general_ocn() {
  return {{"O", "O1", Point(0.12, 0.21, 0.33)},
          {"C", "C1", Point(0.18, 0.27, 0.41)},
          {"N", "N1", Point(0.25, 0.22, 0.47)}};
}

/// A centrosymmetric four-atom molecule O1-C1-C1'-O1' centred on the inversion centre at the
/// origin: atoms 2 and 3 are the inverses of atoms 1 and 0.
inline std::vector<FractionalAtom> centrosymmetric_at_origin() {
  return {{"O", "O1", Point(0.10, 0.05, 0.12)},
          {"C", "C1", Point(0.04, 0.02, 0.05)},
          {"C", "C1'", Point(-0.04, -0.02, -0.05)},
          {"O", "O1'", Point(-0.10, -0.05, -0.12)}};
}

} // namespace xtalmotif::testing

#endif
