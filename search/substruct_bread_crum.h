#ifndef XTALMOTIF_SEARCH_SUBSTRUCT_BREAD_CRUM_H
#define XTALMOTIF_SEARCH_SUBSTRUCT_BREAD_CRUM_H

#include "core/handle.h"
#include "motif/motif_substructure.h"

#include <map>
#include <vector>

namespace xtalmotif {

/// Placements of one substructure in one molecule: each a list of molecule atom indices, one per
/// query atom, in the query's atom order.
using SubstructureHitList = std::vector<THandle<std::vector<int>>>;

/// Memory of one substructure placement made while a structure is searched: the substructure,
/// the crystal molecule it was placed on, the query atoms that were pinned to molecule atoms,
/// and the placements found. Placing the same substructure on the same molecule with the same
/// pinned atoms again (once per path of the recursive search) is answered from here.
class SubstructBreadCrum {
public:
  /// Remembers a search; the substructure and the hit list are shared, the pinned atoms copied.
  SubstructBreadCrum(int molecule, THandle<MotifSubstructure> substructure,
                     const std::map<int, int>& fixed_atoms, THandle<SubstructureHitList> hits);

  /// Was this memory made for an equal substructure (by value), the same crystal molecule and the
  /// same pinned query atom to molecule atom pairs?
  bool are_search_params_equal(const THandle<MotifSubstructure>& substructure, int molecule,
                               const std::map<int, int>& fixed) const;

  /// Crystal-maker index of the molecule that was searched.
  int molecule;
  /// The substructure that was placed.
  THandle<MotifSubstructure> substructure;
  /// Pinned query atom to molecule atom pairs of that search.
  std::map<int, int> fixed_atoms;
  /// The placements found; shared with every caller, who must not change them.
  THandle<SubstructureHitList> hits;
};

} // namespace xtalmotif

#endif
