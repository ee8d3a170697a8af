#ifndef XTALMOTIF_RESULTS_MATCH_DESCRIPTION_H
#define XTALMOTIF_RESULTS_MATCH_DESCRIPTION_H

#include "core/geometry.h"
#include "results/contact_geometry.h"
#include "match/motif_match.h"
#include "match/motif_search_resource.h"

#include <string>
#include <vector>

namespace xtalmotif {

/// One matched atom as a crystallographer checks it against the CIF it came from: its site
/// (label and row of the atom-site loop) and the symmetry code that carries that site onto
/// the atom where the match has it.
struct DescribedAtom {
  int substructure = -1;
  /// The query atom it matched: its index within the substructure (as `show` numbers them)
  /// and the query's own name for it, when it has one ("AT4").
  int query_atom = -1;
  std::string query_label;
  /// The site's label; a label that names two sites carries "#row".
  std::string label;
  std::string element;
  /// Row of the atom-site loop, counted from 1; 0 when unknown.
  int site_row = 0;
  /// Operator of the structure's listed operators (from 0) and lattice translation: the atom
  /// is at listed_operators()[op](site) + translation.
  int op = 0;
  Translation translation;
  /// "n_klm": n = op + 1, k, l, m = 5 + translation (written out in full beyond -5..4).
  std::string code;
  Point fractional;
  Point orthogonal;
};

/// One realised contact: its two atoms (indices into the description's atoms), distance and
/// kind; for a hydrogen bond its donor, hydrogen and acceptor (which need not all be atoms of
/// the query) and their geometry.
struct DescribedContact {
  int contact = -1;
  int from = -1;
  int to = -1;
  double distance = 0;
  ContactKind kind = ContactKind::ShortContact;
  DescribedAtom donor, hydrogen, acceptor;
  double d_h = 0, h_a = 0, d_a = 0;
  /// D-H...A, degrees.
  double angle = 0;
};

/// Everything a listing of one match prints, with the numbers it prints computed in one place.
struct MatchDescription {
  /// Substructure by substructure, each in query atom order.
  std::vector<DescribedAtom> atoms;
  std::vector<DescribedContact> contacts;
  /// The graph-set descriptor of the match's hydrogen bonds ("R2,2(8)"); empty without any.
  std::string graph_set;
};

/// One molecule of a match where the match has it: every atom with its label, element, code
/// and coordinates.
struct DescribedMolecule {
  int copy = -1;
  int molecule = -1;
  Translation translation;
  std::vector<DescribedAtom> atoms;
};

namespace MotifSearchLibFunctions {

/// The symmetry code "n_klm" of operator `op` (from 0) and lattice translation `t`; a
/// translation outside -5..4 is written out: "2_(-6,0,0)".
std::string symmetry_code(int op, const Translation& t);

/// The operator of the structure's listed operators, and the lattice translation, that carry
/// the asymmetric-unit site of atom `atom` of crystal molecule `molecule` to where copy `copy`
/// of the environment, moved by `t`, places it.
CrystalMaker::ListedCode placed_atom_code(const MotifSearchResource& resource, int copy,
                                          int molecule, int atom, const Translation& t);

/// A placed atom with its label, site and symmetry code; no query atom.
DescribedAtom describe_atom(const MotifSearchResource& resource, const PlacedAtom& atom);

/// The molecules a match places, each once (two substructures may share one), in the order
/// of the substructures.
std::vector<DescribedMolecule> describe_molecules(const MotifSearchResource& resource,
                                                  const MotifMatch& match);

/// The match's atoms and contacts, each atom's symmetry code referring to the structure's
/// listed operators (CrystalMaker::listed_operators).
MatchDescription describe_match(const MotifSearchResource& resource, const MotifMatch& match);

} // namespace MotifSearchLibFunctions

} // namespace xtalmotif

#endif
