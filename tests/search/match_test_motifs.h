#ifndef XTALMOTIF_TESTS_SEARCH_MATCH_TEST_MOTIFS_H
#define XTALMOTIF_TESTS_SEARCH_MATCH_TEST_MOTIFS_H

// Small motifs for the match-record tests: the contacts and constraints only name substructure
// and atom indices, so the fragments are plain two- or three-atom chains.

#include "motif/motif.h"

#include <string>
#include <vector>

namespace xtalmotif::testing {

/// A fragment that is a chain of the given elements (single bonds).
inline THandle<MotifSubstructure> chain_fragment(const std::vector<std::string> &elements) {
  Molecule m;
  for (const auto &e : elements)
    m.add_atom(make_handle<Atom>(Element(e), e));
  for (int i = 1; i < m.natoms(); ++i)
    m.add_bond(i - 1, i, BondType::Single);
  return make_handle<MotifSubstructure>(m);
}

/// An absolute intermolecular distance window of 0 to `upper` angstrom.
inline THandle<CombinedCriterion> window(double upper) {
  return make_handle<CombinedCriterion>(false, upper, 0.0, ContactType::Inter, 4, 999, true,
                                        THandle<ElementSet>(), THandle<ElementSet>());
}

/// Three O-H fragments joined round a ring and a contact inside fragment 0:
/// contact 0: 0/1 -> 1/0, contact 1: 1/1 -> 2/0, contact 2: 2/1 -> 0/0, contact 3: 0/0 -> 0/1.
inline THandle<Motif> three_fragment_ring() {
  auto motif = make_handle<Motif>("ring");
  for (int i = 0; i < 3; ++i)
    motif->add_substructure(chain_fragment({"O", "H"}));
  motif->add_contact(make_handle<MotifContact>(0, 1, 1, 0, window(3.0)));
  motif->add_contact(make_handle<MotifContact>(1, 1, 2, 0, window(3.0)));
  motif->add_contact(make_handle<MotifContact>(2, 1, 0, 0, window(3.0)));
  motif->add_contact(make_handle<MotifContact>(0, 0, 0, 1, window(3.0)));
  return motif;
}

/// Fresh list of atom indices, as the search gives for each placement.
inline THandle<std::vector<int>> atom_list(std::vector<int> atoms) {
  return make_handle<std::vector<int>>(std::move(atoms));
}

} // namespace xtalmotif::testing

#endif
