#ifndef XTALMOTIF_MATCH_MOTIF_MATCH_H
#define XTALMOTIF_MATCH_MOTIF_MATCH_H

#include "core/geometry.h"
#include "core/handle.h"
#include "motif/motif.h"
#include "match/atom_address.h"
#include "match/motif_search_resource.h"

#include <iosfwd>
#include <vector>

namespace xtalmotif {

/// Where one substructure of a motif has been placed: which molecule copy of the environment,
/// which molecule atom for each query atom, and in which cell.
class SubstructureMatch {
public:
  SubstructureMatch();
  /// Deep copy: a new atom list and a new translation.
  SubstructureMatch(const SubstructureMatch& other);
  SubstructureMatch& operator=(const SubstructureMatch&) = delete;

  int nmol_in_msr = -1;
  int nmol_in_cm = -1;
  THandle<std::vector<int>> atoms;
  THandle<Translation> translation;
  bool found = false;
};

/// The two atoms that realise one contact of a motif, and their coordinates when it was set.
class ContactMatch {
public:
  ContactMatch();
  /// Deep copy of both addresses.
  ContactMatch(const ContactMatch& other);
  ContactMatch& operator=(const ContactMatch&) = delete;

  THandle<AtomAddress> from;
  THandle<AtomAddress> to;
  bool found = false;
  Point from_point;
  Point to_point;
};

/// How far a motif has been realised in one crystal structure: a placement per substructure and a
/// pair of atoms per contact, filled and withdrawn step by step as the search goes, and tested
/// against the motif's angle, torsion and translation constraints.
class MotifMatch {
public:
  /// A match of an empty unnamed motif.
  MotifMatch();
  /// One empty entry per substructure and per contact of the motif (shared, not copied).
  explicit MotifMatch(const THandle<Motif>& motif);
  /// Shares the motif; deep-copies every entry. This is how a finished match is stored.
  MotifMatch(const MotifMatch& other);
  MotifMatch& operator=(const MotifMatch&) = delete;

  // ---- filling and emptying ----
  /// Entry `i` shares the atom list and the translation and is marked found.
  void set_substructure_match(int i, int nmol_in_msr, int nmol_in_cm,
                              const THandle<std::vector<int>>& atoms,
                              const THandle<Translation>& translation);
  /// The contact is found by identity in the motif's list (std::out_of_range when absent).
  void set_contact_match(const THandle<MotifContact>& contact, const THandle<AtomAddress>& from,
                         const THandle<AtomAddress>& to, const Point& from_point,
                         const Point& to_point);
  void set_contact_match(int j, const THandle<AtomAddress>& from, const THandle<AtomAddress>& to,
                         const Point& from_point, const Point& to_point);
  void ditch_substruct_match(int i);
  void ditch_contact_match(int j);
  void ditch_contact_match(const THandle<MotifContact>& contact);
  /// Clears every found flag; nothing else is reset.
  void clear();

  // ---- queries ----
  /// Every substructure placed and every contact realised.
  bool is_found() const;
  /// Unrealised contacts touching substructure `s`, ascending.
  THandle<std::vector<int>> remaining_contacts(int s);
  void matched_contact_info(int j, int& from_mol, int& from_atom, int& to_mol, int& to_atom) const;
  void matched_contact_info(int j, Point& from_point, Point& to_point) const;
  void matched_contact_info(int j, const THandle<AtomAddress>& from,
                            const THandle<AtomAddress>& to) const;
  void matched_contact_info(const THandle<MotifContact>& contact, const THandle<AtomAddress>& from,
                            const THandle<AtomAddress>& to) const;
  /// A new address for atom `a` of substructure `s` (its own copy of the translation).
  THandle<AtomAddress> atom_address2(int s, int a) const;
  /// The address of contact `j`'s atom in substructure `s`.
  THandle<AtomAddress> atom_address(int s, int j);
  bool is_atom_already_used(const THandle<AtomAddress>& address);
  bool are_atoms_already_used(int nmol_in_msr, const THandle<Translation>& translation,
                              const THandle<std::vector<int>>& atoms);
  /// Both placed and the same atom of the same molecule copy; translations deliberately not
  /// compared, so lattice repeats of one atom count as repeats.
  bool are_atoms_repeat_atoms(int s1, int a1, int s2, int a2) const;
  double atom_distance(int s1, int a1, int s2, int a2,
                       const THandle<MotifSearchResource>& resource) const;
  /// The angle at the second atom, in radians as the kernel gives it (not degrees).
  double atom_angle(int s1, int a1, int s2, int a2, int s3, int a3,
                    const THandle<MotifSearchResource>& resource) const;
  /// Whether every atom placed for substructure `s` can be present together with every atom
  /// placed for the other substructures on other molecules (CoexistenceRule): no two atoms of
  /// a match closer than a real contact, no two orientations of one disordered site.
  bool can_coexist(int s, const MotifSearchResource& resource) const;
  /// Number of distinct contact points (points closer than 0.5 angstrom are one).
  int nvertices();

  // ---- constraint tests (constraints on unplaced substructures are skipped) ----
  bool test_angle_constraints(const THandle<MotifSearchResource>& resource);
  /// With `either_sign`, a torsion also passes when its mirror image does.
  bool test_torsion_constraints(const THandle<MotifSearchResource>& resource, bool either_sign);
  bool test_translation_constraints();

  // ---- listings ----
  void print(std::ostream& os) const;
  /// Realised contacts with their end points recomputed from the environment.
  void print_contact_points(const THandle<MotifSearchResource>& resource, std::ostream& os,
                            bool fractional) const;
  /// Realised contacts with the points stored when they were set.
  void print_contact_points(std::ostream& os);

  THandle<Motif> motif;
  std::vector<THandle<SubstructureMatch>> substructure_matches;
  std::vector<THandle<ContactMatch>> contact_matches;

private:
  int contact_index(const THandle<MotifContact>& contact) const;
  Point orthogonal_point(int s, int a, const THandle<MotifSearchResource>& resource) const;
};

} // namespace xtalmotif

#endif
