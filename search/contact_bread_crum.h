#ifndef XTALMOTIF_SEARCH_CONTACT_BREAD_CRUM_H
#define XTALMOTIF_SEARCH_CONTACT_BREAD_CRUM_H

#include "chem/contact_criterion.h"
#include "chem/substructure.h"
#include "core/handle.h"
#include "match/atom_address.h"

#include <utility>
#include <vector>

namespace xtalmotif {

/// Atoms of the symmetry-expanded crystal, each with its molecule copy and lattice translation.
using AtomAddressList = std::vector<THandle<AtomAddress>>;

/// Memory of one search for contact partners: from which atom (copy, atom and cell), for which
/// query atom at the far end and under which contact criterion, and the partners found. A
/// repeated question in the same structure is answered with the very same list.
class ContactBreadCrum {
public:
  /// An empty memory whose criterion is the default contact criterion of a motif contact (within
  /// the van der Waals radius sum, intermolecular).
  ContactBreadCrum();
  /// Remembers a search; all four handles are shared.
  ContactBreadCrum(THandle<AtomAddress> address, THandle<SubstructureAtom> query_atom,
                   THandle<CombinedCriterion> criterion, THandle<AtomAddressList> partners);

  /// Was this memory made from the same atom in the same cell, under an equal criterion and for
  /// an equal query atom (all compared by value)?
  bool been_here_before(const THandle<AtomAddress>& address,
                        const THandle<SubstructureAtom>& query_atom,
                        const THandle<CombinedCriterion>& criterion) const;

  /// The atom from which partners were sought.
  THandle<AtomAddress> address;
  /// The query atom that every partner matched.
  THandle<SubstructureAtom> query_atom;
  /// The contact criterion of the search.
  THandle<CombinedCriterion> criterion;
  /// The partners found, in order of discovery.
  THandle<AtomAddressList> partners;
  /// The sizes (fewest and most atoms) of the molecules the partners were allowed to lie in: the
  /// far substructure's, so that a memory is only reused toward a substructure of equal limits.
  std::pair<int, int> target_size{0, 100000};
};

} // namespace xtalmotif

#endif
