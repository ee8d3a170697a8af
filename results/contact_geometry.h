#ifndef XTALMOTIF_RESULTS_CONTACT_GEOMETRY_H
#define XTALMOTIF_RESULTS_CONTACT_GEOMETRY_H

#include "core/geometry.h"
#include "motif/motif_contact.h"
#include "match/motif_search_resource.h"

#include <string>

namespace xtalmotif {

/// What a contact of a match is to a crystallographer.
enum class ContactKind {
  /// D-H...A with D and A among N, O, S and F (the contact may name H...A, or D...A with the
  /// hydrogen between them).
  HydrogenBond,
  /// Any other contact the motif asks to be short (C-H...O, Ag...O, halogen contacts).
  ShortContact,
  /// A contact that does not ask the atoms to touch (an upper limit beyond the van der Waals
  /// sum, or a lower one above it): it only keeps groups apart or together.
  Constraint,
};

/// "hydrogen bond", "short contact" or "constraint".
const char* contact_kind_name(ContactKind kind);

/// One atom placed in the environment: molecule copy, crystal molecule, atom, lattice shift.
struct PlacedAtom {
  int copy = -1;
  int molecule = -1;
  int atom = -1;
  Translation translation;
  bool valid() const { return atom >= 0; }
  bool operator==(const PlacedAtom& o) const {
    return copy == o.copy && atom == o.atom && translation == o.translation;
  }
};

/// A hydrogen bond's three atoms and its geometry, as in a `_geom_hbond_*` loop.
struct HydrogenBondGeometry {
  PlacedAtom donor, hydrogen, acceptor;
  double d_h = 0, h_a = 0, d_a = 0;
  /// The D-H...A angle, degrees.
  double angle = 0;
};

namespace MotifSearchLibFunctions {

/// Atomic numbers of the atoms a hydrogen bond joins: N, O, F, S.
bool is_hydrogen_bond_atom(const Element& e);

/// Whether `contact` asks its atoms to touch: its upper limit at most 0.5 A beyond their van
/// der Waals sum (a lower limit above the sum keeps them apart).
bool asks_for_contact(const MotifContact& contact, const Element& a, const Element& b);

/// The hydrogen bond that a contact between `a` and `b` stands for, or false: one end a
/// hydrogen bonded to N, O, F or S and the other such an atom; or both ends such atoms with
/// a hydrogen of one between them (H...A within the van der Waals sum, D-H...A at least 110
/// degrees; the nearest such hydrogen).
bool find_hydrogen_bond(const MotifSearchResource& resource, const PlacedAtom& a,
                        const PlacedAtom& b, HydrogenBondGeometry* out);

/// The position of a placed atom, orthogonal (angstrom).
Point placed_position(const MotifSearchResource& resource, const PlacedAtom& atom);

} // namespace MotifSearchLibFunctions

} // namespace xtalmotif

#endif
