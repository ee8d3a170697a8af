#ifndef XTALMOTIF_SEARCH_INDEXED_SCREENS_H
#define XTALMOTIF_SEARCH_INDEXED_SCREENS_H

#include "db/aser_bit_screens.h"
#include "db/aser_database.h"
#include "motif/motif.h"

#include <vector>

namespace xtalmotif {

/// The screens a screen index can record for a set of motifs, so that a later search for any of
/// them reads only the entries that can hold it:
/// - for every substructure, whether some molecule holds it, as the search's matcher finds it;
/// - for every contact that asks two substructures' atoms to touch (a hydrogen bond, a short
///   contact between molecules), whether the entry has that contact: the two substructures
///   placed and the contact found between them as a search of that pair alone finds it.
/// Each is known by a key that spells out the substructures and the contact criterion to the
/// last condition, so that a screen is only ever asked for by a motif with exactly that part.
/// A test that meets its work budget counts as passed: a screen never rejects on a guess.
std::vector<IndexedScreen> motif_screens(const std::vector<THandle<Motif>>& motifs);

/// Adds to `pattern` the screens of `index` that `motif` asks for: those of its substructures
/// and of its contacts that the index records.
void require_indexed_screens(const Motif& motif, const AserDatabase& index,
                             AserBitScreens& pattern);

} // namespace xtalmotif

#endif
