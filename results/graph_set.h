#ifndef XTALMOTIF_RESULTS_GRAPH_SET_H
#define XTALMOTIF_RESULTS_GRAPH_SET_H

#include "results/contact_geometry.h"

#include <string>
#include <vector>

namespace xtalmotif {

/// One hydrogen bond of a pattern: its hydrogen and its acceptor, where they are placed.
struct PatternBond {
  PlacedAtom hydrogen;
  PlacedAtom acceptor;
};

namespace MotifSearchLibFunctions {

/// Etter's graph-set descriptor of a pattern of hydrogen bonds, written G a,d (n) without
/// spaces: "R2,2(8)", "C(4)", "S(6)", "D", with a the number of distinct acceptor atoms, d the
/// number of donor hydrogens (both left out when 1) and n the number of atoms in the ring or
/// in the chain's repeat. Bonds within one molecule are S; bonds that close a ring among the
/// molecules are R; a single bond joining a molecule to an image of itself gives the pattern
/// that symmetry makes of it: a chain C where the symmetry has no finite order (a
/// translation, screw axis or glide plane), a ring where it has (the centrosymmetric pair
/// of an acid's O-H...O is R2,2(8)); any other open pattern is D. A pattern of several separate parts gives one descriptor per part, in
/// the order of their first bonds, separated by spaces.
std::string graph_set(const MotifSearchResource& resource, const std::vector<PatternBond>& bonds);

/// Bonds on the shortest path between atoms a and b of a molecule; -1 when they are not joined.
int bonds_between(const Molecule& molecule, int a, int b);

} // namespace MotifSearchLibFunctions

} // namespace xtalmotif

#endif
