#ifndef XTALMOTIF_MOTIF_MOTIF_H
#define XTALMOTIF_MOTIF_MOTIF_H

#include "core/archive.h"
#include "chem/contact_criterion.h"
#include "core/handle.h"
#include "chem/molecule.h"
#include "chem/substructure.h"
#include "motif/contact_constraint.h"
#include "motif/motif_angle_constraint.h"
#include "motif/motif_contact.h"
#include "motif/motif_substructure.h"
#include "motif/motif_torsion_constraint.h"
#include "motif/motif_translation_constraint.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace xtalmotif {

class AserBitScreens;

/// An intermolecular motif as a search query: an ordered list of chemical fragments
/// (substructures) joined by contacts between given atoms, plus geometric constraints on the
/// matched atoms (angles, torsions, lattice translations, counts of further contacts).
/// Substructures and contacts are named by their index in these lists, so the order in which
/// they are added is part of the query's meaning.
class Motif {
public:
  /// The lists a motif holds, each shared through a handle.
  using SubstructureList = std::vector<THandle<MotifSubstructure>>;
  using ContactList = std::vector<THandle<MotifContact>>;
  using AngleConstraintList = std::vector<THandle<MotifAngleConstraint>>;
  using TorsionConstraintList = std::vector<THandle<MotifTorsionConstraint>>;
  using TranslationConstraintList = std::vector<THandle<MotifTranslationConstraint>>;
  using ContactConstraintList = std::vector<THandle<ContactConstraint>>;

  /// Orders contacts for searching: intramolecular contacts (type 2) first, then within each
  /// group the contact with the smaller upper distance first.
  struct CompareContacts {
    /// True when `a` is to be tried before `b`.
    bool operator()(THandle<MotifContact> a, THandle<MotifContact> b) const;
  };

  /// An empty query with the given name.
  explicit Motif(std::string name);
  /// The motif realised by a set of molecules in their observed relative positions: each
  /// molecule becomes a substructure, and molecules that touch are tied by contacts whose
  /// distance windows are the observed distances plus and minus `distance_tolerance` (a
  /// fraction of each distance). `angle_tolerance` (degrees) is kept for angle constraints.
  Motif(THandle<std::vector<THandle<Molecule>>> molecules, double distance_tolerance,
        double angle_tolerance);
  /// Shares the substructures, contacts and torsion constraints of `other` in new lists; the
  /// copy carries no angle, translation or contact constraints.
  Motif(const Motif& other);
  /// Not assignable: a motif is built once and then shared by handle.
  Motif& operator=(const Motif&) = delete;
  virtual ~Motif();
  /// Replaces the whole query (name, substructures, contacts, constraints) by the one written
  /// in a connectivity query file; a file that cannot be opened gives an empty query. Defined
  /// with the query-file reader (files/con_file.cpp).
  void read_from_con_file(std::string path);

  /// The query's name.
  const std::string& name() const { return name_; }
  /// Renames the query.
  virtual void set_name(std::string name);
  /// A free value kept with the query for its users; the query model does not interpret it.
  double aux_value() const { return aux_value_; }
  /// Replaces the free value.
  void set_aux_value(double value) { aux_value_ = value; }

  /// The fragments, in index order.
  const THandle<SubstructureList>& substructures() const { return substructures_; }
  /// The contacts, in index order.
  const THandle<ContactList>& contacts() const { return contacts_; }
  /// Angle limits on matched atoms, in the order added.
  const THandle<AngleConstraintList>& angle_constraints() const { return angle_constraints_; }
  /// Torsion limits on matched atoms, in the order added.
  const THandle<TorsionConstraintList>& torsion_constraints() const {
    return torsion_constraints_;
  }
  /// Pairs of motif atoms that must be lattice repeats of one crystal atom.
  const THandle<TranslationConstraintList>& translation_constraints() const {
    return translation_constraints_;
  }
  /// Conditions on the number of further contact partners of motif atoms.
  const THandle<ContactConstraintList>& contact_constraints() const {
    return contact_constraints_;
  }
  /// Number of fragments.
  int nsubstructures() const { return static_cast<int>(substructures_->size()); }
  /// Number of contacts.
  int ncontacts() const { return static_cast<int>(contacts_->size()); }
  /// Fragment `i`; std::out_of_range "vector [] access out of range" for a bad index.
  THandle<MotifSubstructure> substructure(int i) const;
  /// Contact `i`; std::out_of_range "vector [] access out of range" for a bad index.
  THandle<MotifContact> contact(int i) const;

  /// Appends the fragment itself (shared with the caller) and returns its index.
  int add_substructure(THandle<MotifSubstructure> substructure);
  /// Appends a private copy of the contact (criterion included) and returns its index; the
  /// contact's substructures and atoms must already exist (std::out_of_range otherwise, after
  /// the contact has been appended).
  int add_contact(THandle<MotifContact> contact);
  /// Appends an angle limit (shared, not copied).
  void add_angle_constraint(THandle<MotifAngleConstraint> constraint);
  /// Appends a torsion limit (shared, not copied).
  void add_torsion_constraint(THandle<MotifTorsionConstraint> constraint);
  /// Appends a lattice-repeat requirement (shared, not copied).
  void add_translation_constraint(THandle<MotifTranslationConstraint> constraint);
  /// Appends a condition on further contact partners (shared, not copied).
  void add_contact_constraint(THandle<ContactConstraint> constraint);

  /// Every contact with an end in substructure `s`, each once, in index order.
  THandle<ContactList> contacts_for_substructure(unsigned int s) const;
  /// Indices of every contact joining substructures `a` and `b`, in either direction.
  THandle<std::vector<int>> contacts_between_substructures(unsigned int a, unsigned int b) const;
  /// Index of the first contact joining `a` and `b` in either direction, or -1.
  int motif_contact(unsigned int a, unsigned int b) const;
  /// Every contact whose criterion equals `criterion` in value.
  THandle<ContactList> motif_contacts(const CombinedCriterion& criterion) const;
  /// The substructures joined to `s`, one entry per contact end (repeats kept).
  THandle<std::vector<int>> substructure_neighbours(int s) const;
  /// A copy of the query atom at the end of contact `contact_index` that lies in substructure
  /// `s` (the `to` end when both do), or an any-element atom when neither does.
  THandle<SubstructureAtom> substruct_atom(int s, int contact_index) const;
  /// The same for a contact given by handle.
  THandle<SubstructureAtom> substruct_atom(int s, THandle<MotifContact> contact) const;

  /// Re-derives, for every contact, the criterion's two element sets (atomic numbers) from the
  /// query atoms at its two ends, so that candidate partner atoms are rejected cheaply.
  void set_contact_elements();
  /// The same for one contact, which need not be one of the motif's yet.
  void set_contact_elements(MotifContact& contact) const;
  /// Lets every query bond match any bond type (useful where bond orders are unreliable).
  void remove_bondtype_info();
  /// Sorts the contacts with CompareContacts. Contacts are renumbered; constraints naming
  /// contacts by index are not adjusted.
  void sort_contacts();

  /// Ties substructures `sub1` and `sub2` by contacts between the closest atom pairs of `mol1`
  /// and `mol2` (at most 10), each with a window of the observed distance plus and minus
  /// `distance_tolerance` times it; with `add_angles`, also four angle constraints of width
  /// plus and minus `angle_tolerance` degrees on atoms 0 to 2 (suited to three-atom molecules
  /// such as water).
  void connect_substructures(int sub1, int sub2, THandle<Molecule> mol1, THandle<Molecule> mol2,
                             double distance_tolerance, double angle_tolerance, bool add_angles);
  /// Adds two angle constraints across three substructures, each plus and minus
  /// `angle_tolerance` degrees around the angle observed in `mol1`, `mol2` and `mol3`: one on
  /// atom 0 of each, one on a further atom chosen from the smallest molecule.
  /// `distance_tolerance` is not used.
  void connect_substructures(int sub1, int sub2, int sub3, THandle<Molecule> mol1,
                             THandle<Molecule> mol2, THandle<Molecule> mol3,
                             double distance_tolerance, double angle_tolerance);
  /// How many separate molecules the motif spans: substructures joined by a contact that is not
  /// intermolecular are counted as one molecule.
  int nmolecules_spanned() const;
  /// The screen bits a database entry must carry to hold this motif: the elements, element
  /// counts and simple bonds of its substructures, as a new pattern.
  THandle<AserBitScreens> aser_bit_screens() const;

  /// Prints the substructures and the torsion constraints; the section line of the torsion
  /// constraints (and the substructures' size lines) always go to standard output.
  void print(std::ostream& os) const;

  /// Persistence hook; reads nothing yet.
  void read(Archive& archive);
  /// Persistence hook; writes nothing yet.
  void write(Archive& archive) const;

private:
  std::string name_;
  double aux_value_ = 0.0;
  THandle<SubstructureList> substructures_;
  THandle<ContactList> contacts_;
  THandle<AngleConstraintList> angle_constraints_;
  THandle<TorsionConstraintList> torsion_constraints_;
  THandle<TranslationConstraintList> translation_constraints_;
  THandle<ContactConstraintList> contact_constraints_;
};

} // namespace xtalmotif

#endif
