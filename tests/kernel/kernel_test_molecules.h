#ifndef XTALMOTIF_TESTS_KERNEL_TEST_MOLECULES_H
#define XTALMOTIF_TESTS_KERNEL_TEST_MOLECULES_H

// Small molecules built atom by atom, with the atom order written out so that tests can name
// atoms by index.

#include "chem/molecule.h"

#include <string>

namespace xtalmotif::testing {

/// Adds atoms and bonds to a molecule with short calls.
class MoleculeBuilder {
public:
  int atom(const char *symbol, int formal_charge = 0) {
    auto a = make_handle<Atom>(Element(symbol), std::string(symbol) + std::to_string(n_++),
                               formal_charge);
    return molecule_.add_atom(a);
  }
  /// An atom with implied hydrogens (a structure refined without H sites).
  int atom_with_implicit_h(const char *symbol, int implicit_h) {
    int i = atom(symbol);
    molecule_.atom(i)->set_implicit_hydrogens(implicit_h);
    return i;
  }
  MoleculeBuilder &bond(int a, int b, BondType t = BondType::Single) {
    molecule_.add_bond(a, b, t);
    return *this;
  }
  /// Adds n hydrogens bonded to atom `to` by single bonds.
  MoleculeBuilder &hydrogens(int to, int n) {
    for (int i = 0; i < n; ++i)
      bond(to, atom("H"));
    return *this;
  }
  Molecule &molecule() { return molecule_; }

private:
  Molecule molecule_;
  int n_ = 1;
};

/// Acetic acid CH3-C(=O)-O-H with explicit hydrogens:
/// 0 C methyl, 1 C carboxyl, 2 O carbonyl, 3 O hydroxyl, 4 H on O3, 5-7 H on C0.
inline Molecule acetic_acid() {
  MoleculeBuilder b;
  int c0 = b.atom("C"), c1 = b.atom("C"), o2 = b.atom("O"), o3 = b.atom("O"), h4 = b.atom("H");
  b.bond(c0, c1).bond(c1, o2, BondType::Double).bond(c1, o3).bond(o3, h4);
  b.hydrogens(c0, 3);
  return b.molecule();
}

/// Acetate CH3-C(=O)-O(-) without hydrogen atoms: 0 C methyl (3 implied H), 1 C, 2 O, 3 O-.
inline Molecule acetate_without_h() {
  MoleculeBuilder b;
  int c0 = b.atom_with_implicit_h("C", 3), c1 = b.atom("C"), o2 = b.atom("O"), o3 = b.atom("O", -1);
  b.bond(c0, c1).bond(c1, o2, BondType::Double).bond(c1, o3);
  return b.molecule();
}

/// Benzene, ring atoms 0-5 joined by aromatic bonds in ring order; with hydrogens 6-11 when
/// asked (H 6+i on C i).
inline Molecule benzene(bool with_h = false) {
  MoleculeBuilder b;
  for (int i = 0; i < 6; ++i)
    b.atom("C");
  for (int i = 0; i < 6; ++i)
    b.bond(i, (i + 1) % 6, BondType::Aromatic);
  if (with_h)
    for (int i = 0; i < 6; ++i)
      b.hydrogens(i, 1);
  return b.molecule();
}

/// Ethylcyclohexane carbon skeleton: ring 0-5 (single bonds), 6 attached to 0, 7 attached to 6.
inline Molecule ethylcyclohexane() {
  MoleculeBuilder b;
  for (int i = 0; i < 8; ++i)
    b.atom("C");
  for (int i = 0; i < 6; ++i)
    b.bond(i, (i + 1) % 6);
  b.bond(0, 6).bond(6, 7);
  return b.molecule();
}

/// The carbon chain of a linear alkane of n carbons, with its hydrogens when asked (all carbons
/// first, then the hydrogens carbon by carbon).
inline Molecule alkane(int n, bool with_h) {
  MoleculeBuilder b;
  for (int i = 0; i < n; ++i)
    b.atom("C");
  for (int i = 0; i + 1 < n; ++i)
    b.bond(i, i + 1);
  if (with_h)
    for (int i = 0; i < n; ++i)
      b.hydrogens(i, (n == 1) ? 4 : (i == 0 || i == n - 1) ? 3 : 2);
  return b.molecule();
}

} // namespace xtalmotif::testing

#endif
