#ifndef XTALMOTIF_MOTIF_MOTIF_SEARCH_LIB_FUNCTIONS_H
#define XTALMOTIF_MOTIF_MOTIF_SEARCH_LIB_FUNCTIONS_H

#include "chem/contact_criterion.h"
#include "crystal/crystal_maker.h"
#include "core/handle.h"
#include "chem/molecule.h"

#include <utility>
#include <vector>

namespace xtalmotif {
class Motif;
}

/// Geometric helpers used to derive motifs from placed molecules, and counts over structures.
namespace xtalmotif::MotifSearchLibFunctions {

/// True when some placed atom of `mol1` lies closer to some placed atom of `mol2` than their van
/// der Waals radius sum plus the criterion's upper offset (strictly): the two molecules touch.
bool is_contact_present(THandle<Molecule> mol1, THandle<Molecule> mol2,
                        const VdWCriterion& criterion);

/// Number of atoms of `molecule` of the same element as `atom`.
int count_natoms(THandle<Molecule> molecule, THandle<Atom> atom);

/// Up to `max_pairs` (and at most the smaller atom count) atom pairs (atom of `mol1`, atom of
/// `mol2`) that fix the two molecules' relative position: repeatedly the closest pair among atoms
/// not yet used. `flag` is accepted for callers and has no effect.
std::vector<std::pair<int, int>> find_atoms_to_define_relationship(THandle<Molecule> mol1,
                                                                   THandle<Molecule> mol2,
                                                                   bool flag, int max_pairs);

/// The closest pair (atom of `atoms1` in `mol1`, atom of `atoms2` in `mol2`), the first in list
/// order on ties; atoms of `atoms1` without a position are skipped. (-1, -1) when no pair lies
/// within 1000 angstrom.
std::pair<int, int> find_closest_contact(THandle<Molecule> mol1, const std::vector<int>& atoms1,
                                         THandle<Molecule> mol2, const std::vector<int>& atoms2);

/// Whether a structure could hold the motif: every substructure of the motif matches some
/// molecule whose size it allows, as the search places it. The entries that can are the
/// candidates against which a motif's propensity is counted.
bool holds_every_substructure(const Motif& motif, const CrystalMaker& crystal);

/// The 95% Wilson score interval of a proportion of `hits` out of `n` (0 to 1 when n is 0).
std::pair<double, double> wilson_interval(int hits, int n);

} // namespace xtalmotif::MotifSearchLibFunctions

#endif
