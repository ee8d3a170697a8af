#ifndef XTALMOTIF_CHEM_RINGS_H
#define XTALMOTIF_CHEM_RINGS_H

#include "chem/molecule.h"

#include <vector>

namespace xtalmotif {

/// Every ring (simple cycle of the bond graph) of at most `max_size` atoms, each given once as
/// its atoms in ring order starting from the lowest index. Atoms flagged in `excluded` (for
/// instance metals, whose chelate rings are not part of the organic ring system) are left out;
/// an empty `excluded` leaves out nothing. Rings are listed by size, then by atoms.
std::vector<std::vector<int>> find_small_rings(const Molecule& molecule, int max_size,
                                               const std::vector<char>& excluded = {});

} // namespace xtalmotif

#endif
