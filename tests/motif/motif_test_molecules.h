#ifndef XTALMOTIF_TESTS_MOTIF_MOTIF_TEST_MOLECULES_H
#define XTALMOTIF_TESTS_MOTIF_MOTIF_TEST_MOLECULES_H

// Small placed molecules built atom by atom for the motif tests. Coordinates are orthogonal
// (angstrom); the fractional ones are set equal, which the motif code never reads.

#include "core/geometry.h"
#include "core/handle.h"
#include "chem/molecule.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace xtalmotif::testing {

/// One atom of a placed molecule: element symbol and orthogonal position.
struct PlacedAtom {
  const char* symbol;
  double x, y, z;
};

/// A molecule of the given atoms, each with a site, and no bonds.
inline THandle<Molecule> placed_molecule(std::initializer_list<PlacedAtom> atoms) {
  auto m = make_handle<Molecule3d>();
  int n = 1;
  for (const auto& a : atoms) {
    Point p(a.x, a.y, a.z);
    m->add_atom(make_handle<Atom3d>(Element(a.symbol), std::string(a.symbol) + std::to_string(n++),
                                    make_handle<Site>(p, p, 1.0)));
  }
  return THandle<Molecule>(m);
}

/// Adds an atom without a site (an atom whose position the structure does not give).
inline int add_unplaced_atom(const THandle<Molecule>& m, const char* symbol) {
  return m->add_atom(make_handle<Atom>(Element(symbol), std::string(symbol) + "?"));
}

inline THandle<std::vector<THandle<Molecule>>>
molecule_list(std::initializer_list<THandle<Molecule>> molecules) {
  return make_handle<std::vector<THandle<Molecule>>>(molecules);
}

} // namespace xtalmotif::testing

#endif
